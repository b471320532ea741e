#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcCheck.h"
#include "ORQExcSections.h"
#include "check/Checks.h"
#include "check/ShellNeighbours.h"

namespace orq::exchange {
namespace {

const ORQExcRule kDropped = {
    .id = "LAY011",
    .level = ORQExcLevel::Note,
    .title = "many plies that end at one edge",
    .meaning =
        "a laminate goes on beyond an edge with many plies less: the neighbours' sections "
        "differ by more layers than the limit",
    .breaks = "stress peaks between the plies, which come apart there; a real part is tapered",
    .mending = "let the plies end at several edges, one after another",
    .limit = 4.0,
    .limitOf = "layers at most"};

/// Shells whose planes differ by more do not go on in each other.
constexpr double kLargestBend = 60;  // degrees

/// A section of one layer is no laminate: it may stand beside any other.
class DroppedPliesRun : public ORQExcCheckRun {
  public:
    explicit DroppedPliesRun(const ORQExcCheckedModel& model)
        : m_model(model), m_shells(kLargestBend), m_sections(model.Document()) {
        for (const ORQExcSections::Section& section : m_sections.Sections()) {
            m_nLayers.push_back(NumLayersOf(section));
        }
        m_mayDrop = m_model.Model().Dimension() > 0 && MayDrop();
    }

    bool VisitsElements() const override { return m_mayDrop; }
    void Visit(const ORQExcCheckedElements& elements) override { m_shells.Add(elements); }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        if (!m_mayDrop) {
            return;
        }
        const std::vector<int> sectionOf = SectionsOfElements();
        // The elements of the section of fewer layers, by the sections of more and of fewer.
        std::map<std::pair<int, int>, std::set<int>> found;
        for (const auto& [shell, other, isAgainst] : m_shells.Find()) {
            const int element = m_shells.Elements()[static_cast<std::size_t>(other)];
            const int thicker = sectionOf[static_cast<std::size_t>(
                m_shells.Elements()[static_cast<std::size_t>(shell)])];
            const int thinner = sectionOf[static_cast<std::size_t>(element)];
            if (thicker >= 0 && thinner >= 0 && IsDrop(thicker, thinner)) {
                found[{thicker, thinner}].insert(element);
            }
        }
        for (const auto& [sections, elements] : found) {
            const auto& [thicker, thinner] = sections;
            findings.push_back(
                {.rule = kDropped.id,
                 .object = fmt::format("section \"{}\"", NameOf(thinner)),
                 .message = fmt::format("{} layers beside {} of section \"{}\"", NumLayers(thinner),
                                        NumLayers(thicker), NameOf(thicker)),
                 .place = ORQExcFinding::Place::Element,
                 .members = {elements.begin(), elements.end()}});
        }
    }

  private:
    /// 0 where its layers cannot be read, which the rules of layers tell.
    int NumLayersOf(const ORQExcSections::Section& section) const {
        try {
            return section.elements.IsEmpty()
                       ? 0
                       : static_cast<int>(
                             m_sections.ReadAt(section, section.elements[0]).layers.size());
        } catch (const ORQBasFailure&) {
            return 0;
        }
    }

    int NumLayers(int section) const { return m_nLayers[static_cast<std::size_t>(section)]; }
    const std::string& NameOf(int section) const {
        return m_sections.Sections()[static_cast<std::size_t>(section)].name;
    }

    bool IsDrop(int thicker, int thinner) const {
        return NumLayers(thinner) > 1 &&
               NumLayers(thicker) - NumLayers(thinner) > m_model.Limit(kDropped);
    }

    /// Whether some sections differ enough.
    bool MayDrop() const {
        int most = 0;
        int fewest = 0;  // of laminates
        for (const int count : m_nLayers) {
            most = std::max(most, count);
            fewest = count > 1 && (fewest == 0 || count < fewest) ? count : fewest;
        }
        return fewest > 0 && most - fewest > m_model.Limit(kDropped);
    }

    /// The section of each element, -1 for none.
    std::vector<int> SectionsOfElements() const {
        std::vector<int> sections(static_cast<std::size_t>(m_model.Model().NumElements()), -1);
        int place = 0;
        for (const ORQExcSections::Section& section : m_sections.Sections()) {
            for (ORQSimCSetIterator element{section.elements}; !element.IsDone(); element.Next()) {
                sections[static_cast<std::size_t>(element.CurrentValue())] = place;
            }
            ++place;
        }
        return sections;
    }

    const ORQExcCheckedModel& m_model;
    ShellNeighbours m_shells;
    ORQExcSections m_sections;
    std::vector<int> m_nLayers;  // by section
    bool m_mayDrop;
};

}  // namespace

ORQExcCheck DroppedPliesCheck() {
    return {{kDropped}, BeginRun<DroppedPliesRun>};
}

}  // namespace orq::exchange
