#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQExcCheck.h"
#include "ORQExcSections.h"
#include "check/Checks.h"
#include "check/ElementFindings.h"
#include "model/ShellColumns.h"

namespace orq::exchange {
namespace {

const ORQExcRule kOther = {
    .id = "LAY010",
    .level = ORQExcLevel::Warning,
    .title = "layers that are not as thick together as their shell",
    .meaning =
        "the block has an attribute for the thickness of its shells, and the layers of their "
        "section have another thickness in all",
    .breaks = "some programs go by the layers and some by the shell: stiffness and mass differ",
    .mending = "correct the layers or the attribute",
    .limit = 0.01,
    .limitOf = "of the shell's thickness, either way",
    .isByBlock = true};

/// Thicknesses at the corners (T1 to T4), which bulk data has to replace those of a property, are
/// no thickness of the shell as such.
class ThicknessRun : public ORQExcCheckRun {
  public:
    explicit ThicknessRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const auto& blocks = m_model.Model().Blocks();
        if (std::ranges::none_of(blocks, [](const auto& block) { return ColumnOf(block) >= 0; })) {
            return;
        }
        ElementFindings found;
        const ORQExcSections sections(m_model.Document());
        for (const ORQExcSections::Section& section : sections.Sections()) {
            CheckSection(sections, section, found);
        }
        found.Report(
            kOther, false,
            [](double ratio) {
                return fmt::format("layers differ from the shell's thickness by {:.3g} of it",
                                   ratio);
            },
            findings);
    }

  private:
    /// The attribute that is the thickness, -1 for none.
    static int ColumnOf(const ORQExcModel::Block& block) {
        for (std::size_t i = 0; i < block.attributes.size(); ++i) {
            if (block.shape->dimension == 2 && IsThicknessAttribute(block, i)) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }

    void CheckSection(const ORQExcSections& sections, const ORQExcSections::Section& section,
                      ElementFindings& found) const {
        ORQExcSections::Stack stack{};
        try {
            stack = sections.Read(section);
        } catch (const ORQBasFailure&) {
            return;  // a finding of the rules of layers
        }
        if (!stack.Total()) {
            return;
        }
        for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
            const ORQSimCSet some = block.elements.Intersection(section.elements);
            if (ColumnOf(block) >= 0 && !some.IsEmpty()) {
                CheckElements(block, some, section, stack, found);
            }
        }
    }

    void CheckElements(const ORQExcModel::Block& block, const ORQSimCSet& elements,
                       const ORQExcSections::Section& section, const ORQExcSections::Stack& stack,
                       ElementFindings& found) const {
        const std::size_t nEach = block.attributes.size();
        std::vector<double> attributes(static_cast<std::size_t>(elements.Size()) * nEach);
        m_model.Model().ReadAttributes(block, elements, attributes);
        const double limit = m_model.Limit(kOther, block.name);
        for (int i = 0; i < elements.Size(); ++i) {
            const double own = attributes[static_cast<std::size_t>(i) * nEach +
                                          static_cast<std::size_t>(ColumnOf(block))];
            double ofLayers = 0;
            const auto row = static_cast<std::size_t>(section.elements.SeekMember(elements[i]));
            for (const ORQExcSections::Layer& layer : stack.layers) {
                ofLayers += layer.thickness.At(row);
            }
            const double ratio = std::abs(ofLayers - own) / own;
            if (own > 0 && ratio > limit) {
                found.Add(block, elements[i], ratio);
            }
        }
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck ThicknessCheck() {
    return {{kOther}, BeginRun<ThicknessRun>};
}

}  // namespace orq::exchange
