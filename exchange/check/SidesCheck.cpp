#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "ORQExcCheck.h"
#include "check/Checks.h"
#include "check/CountedSides.h"
#include "check/FreeEdgeRules.h"
#include "check/MeetingElements.h"
#include "check/MeetingSides.h"
#include "check/NodeForest.h"

namespace orq::exchange {
namespace {

const ORQExcRule kCrowded = {
    .id = "ELM016",
    .level = ORQExcLevel::Warning,
    .title = "more than two solids on a face",
    .meaning = "a face can have one solid on either side; this one has more, so that some overlap",
    .breaks = "stiffness and mass count twice there",
    .mending = "remove the solids that are too many"};
const ORQExcRule kInner = {.id = "SET006",
                           .level = ORQExcLevel::Note,
                           .title = "surface on an inner face",
                           .meaning = "solids lie on both sides of a face of the surface",
                           .breaks = "pressure pulls the solids apart there; contact never closes",
                           .mending = "nothing, where a section through the part is meant"};

/// The rules that go by how many elements have a side, which are counted once for all of them.
class SidesRun : public ORQExcCheckRun {
  public:
    explicit SidesRun(const ORQExcCheckedModel& model)
        : m_model(model.Model()), m_checked(model), m_sides(m_model), m_shells(0) {}

    bool VisitsElements() const override { return true; }
    bool NeedsAllElements() const override { return true; }

    void Visit(const ORQExcCheckedElements& elements) override {
        const int dimension = elements.block.shape->dimension;
        if (dimension == 2) {
            JoinShells(elements);
        }
        if (dimension >= 2) {
            m_sides.Add(elements);
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        m_sides.Count();
        ReportCrowded(findings);
        ReportInnerFaces(findings);
        const std::vector<CountedSides::FreeEdge> edges = m_sides.TakeFreeEdges();
        ReportHanging(m_checked, edges, findings);
        ReportLoops(m_shells, edges, findings);
    }

  private:
    void JoinShells(const ORQExcCheckedElements& elements) {
        if (m_shells.Size() == 0) {
            m_shells = NodeForest(static_cast<std::size_t>(m_model.NumNodes()));
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            m_shells.Join(elements.NodesOf(i));
        }
    }

    void ReportCrowded(std::vector<ORQExcFinding>& findings) const {
        std::set<int> asked;
        for (const auto& [first, element] : m_sides.Crowded()) {
            asked.insert(first);
            asked.insert(element);
        }
        std::map<int, std::set<std::vector<int>>> facesOf;
        ForEachOf(m_model, {asked.begin(), asked.end()},
                  [&](const ORQExcModel::Block& block, int element, std::span<const int> nodes) {
                      for (const MeetingSide& side : MeetingSidesOf(*block.shape)) {
                          std::vector<int> face = CornersOf(side, nodes);
                          std::ranges::sort(face);
                          facesOf[element].insert(std::move(face));
                      }
                  });
        // A hash may stand for two faces, the nodes tell.
        std::set<int> members;
        for (const auto& [first, element] : m_sides.Crowded()) {
            const bool isShared = std::ranges::any_of(
                facesOf[element],
                [&, a = first](const auto& face) { return facesOf[a].contains(face); });
            if (isShared && first != element) {
                members.insert(element);
            }
        }
        if (!members.empty()) {
            findings.push_back({.rule = kCrowded.id,
                                .message = "stands on a face that has two solids",
                                .place = ORQExcFinding::Place::Element,
                                .members = {members.begin(), members.end()}});
        }
    }

    void ReportInnerFaces(std::vector<ORQExcFinding>& findings) {
        for (const ORQExcModel::Surface& surface : m_model.Surfaces()) {
            std::set<int> members;
            std::map<int, std::vector<int>> sidesOf;
            for (const ORQExcModel::Face& face : surface.faces) {
                sidesOf[face.element].push_back(face.side);
            }
            std::vector<int> elements;
            for (const auto& [element, sides] : sidesOf) {
                elements.push_back(element);
            }
            ForEachOf(
                m_model, elements,
                [&](const ORQExcModel::Block& block, int element, std::span<const int> nodes) {
                    const auto sides = MeetingSidesOf(*block.shape);
                    for (const int side : sidesOf[element]) {
                        if (block.shape->dimension == 3 && side >= 0 && side < std::ssize(sides) &&
                            m_sides.NumElementsOf(
                                CornersOf(sides[static_cast<std::size_t>(side)], nodes)) > 1) {
                            members.insert(element);
                        }
                    }
                });
            if (!members.empty()) {
                findings.push_back({.rule = kInner.id,
                                    .object = fmt::format("surface \"{}\"", surface.name),
                                    .message = "has faces with solids on both sides",
                                    .place = ORQExcFinding::Place::Element,
                                    .members = {members.begin(), members.end()}});
            }
        }
    }

    const ORQExcModel& m_model;
    const ORQExcCheckedModel& m_checked;
    CountedSides m_sides;
    NodeForest m_shells;  // of no nodes before the first shell
};

}  // namespace

ORQExcCheck SidesCheck() {
    std::vector<ORQExcRule> rules = FreeEdgeRules();
    rules.insert(rules.end(), {kCrowded, kInner});
    return {std::move(rules), BeginRun<SidesRun>};
}

}  // namespace orq::exchange
