#include "check/FreeEdgeRules.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <span>
#include <utility>

#include "ORQExcPoint.h"
#include "check/ByNode.h"
#include "check/MeetingElements.h"

namespace orq::exchange {
namespace {

using FreeEdge = CountedSides::FreeEdge;

const ORQExcRule kLoops = {
    .id = "ELM017",
    .level = ORQExcLevel::Note,
    .title = "surface of shells with holes or cracks",
    .meaning = "the free edges of connected shells are more than one loop: the rim and others",
    .breaks =
        "nothing, where the holes are meant; shells that do not share nodes are cracked there",
    .mending = "merge coincident nodes along a crack"};
const ORQExcRule kHanging = {
    .id = "NOD005",
    .level = ORQExcLevel::Warning,
    .title = "hanging node",
    .meaning =
        "the node stands on the edge of an element that does not have it, between two edges "
        "that together are that one",
    .breaks = "the mesh opens there: the element does not follow the node",
    .mending = "mesh the place with elements that fit, or tie the node to the edge"};
/// A corner may be off the straight line between two others by so much of their distance.
constexpr double kStraight = 1e-3;

constexpr std::size_t kLeastLoop = 3;  // edges

/// A node in the middle of an edge of an element of second order may be a corner of others.
std::vector<int> NotOfElement(const ORQExcModel& model,
                              const std::map<int, std::vector<int>>& found) {
    std::vector<int> elements;
    for (const auto& [element, nodes] : found) {
        elements.push_back(element);
    }
    std::set<int> members;
    ForEachOf(model, elements,
              [&](const ORQExcModel::Block&, int element, std::span<const int> own) {
                  for (const int node : found.at(element)) {
                      if (std::ranges::find(own, node) == own.end()) {
                          members.insert(node);
                      }
                  }
              });
    return {members.begin(), members.end()};
}

bool IsBetween(std::span<const Point> points, int node, const FreeEdge& edge) {
    const auto at = [&](int one) { return points[static_cast<std::size_t>(one)]; };
    if (!(Dot(at(node) - at(edge.low), at(edge.high) - at(edge.low)) > 0)) {
        return false;  // as most are, which saves the roots
    }
    const double length = Length(at(edge.high) - at(edge.low));
    const double toLow = Length(at(node) - at(edge.low));
    const double toHigh = Length(at(node) - at(edge.high));
    // A detour grows with the square of the height above the line.
    return toLow > kStraight * length && toHigh > kStraight * length &&
           toLow + toHigh <= length * (1 + kStraight * kStraight);
}

/// The loop of most edges is the rim.
void AddLoops(const std::map<int, std::vector<int>>& loops, std::vector<ORQExcFinding>& findings) {
    const auto rim =
        std::ranges::max_element(loops, {}, [](const auto& loop) { return loop.second.size(); });
    std::vector<int> members;
    std::size_t nEdges = 0;
    for (const auto& [node, elements] : loops) {
        nEdges += elements.size();
        if (node != rim->first) {
            members.insert(members.end(), elements.begin(), elements.end());
        }
    }
    std::ranges::sort(members);
    members.erase(std::unique(members.begin(), members.end()), members.end());
    findings.push_back({.rule = kLoops.id,
                        .message = fmt::format("{} loops of {} free edges; at those beside the "
                                               "longest",
                                               loops.size(), nEdges),
                        .place = ORQExcFinding::Place::Element,
                        .members = std::move(members)});
}

}  // namespace

std::vector<ORQExcRule> FreeEdgeRules() {
    return {kHanging, kLoops};
}

void ReportHanging(const ORQExcCheckedModel& model, const std::vector<FreeEdge>& edges,
                   std::vector<ORQExcFinding>& findings) {
    if (model.Model().Dimension() == 0) {
        return;
    }
    struct Way {
        int from;
        int to;
    };
    std::vector<Way> ways;
    for (const FreeEdge& edge : edges) {
        ways.push_back({edge.low, edge.high});
        ways.push_back({edge.high, edge.low});
    }
    const std::span<const Point> points = model.Points();
    ByNode<Way> byFrom(ways, points.size(), [](const Way& way) { return way.from; });
    const auto waysFrom = [&](int node) { return byFrom.Of(static_cast<std::size_t>(node)); };
    std::map<int, std::vector<int>> found;  // by element
    for (const FreeEdge& edge : edges) {
        for (const Way& way : waysFrom(edge.low)) {
            if (way.to != edge.high && IsBetween(points, way.to, edge) &&
                std::ranges::find(waysFrom(way.to), edge.high, &Way::to) !=
                    waysFrom(way.to).end()) {
                found[edge.element].push_back(way.to);
            }
        }
    }
    std::vector<int> members = NotOfElement(model.Model(), found);
    if (!members.empty()) {
        findings.push_back({.rule = kHanging.id,
                            .message = "stands on an edge of an element that does not have it",
                            .place = ORQExcFinding::Place::Node,
                            .members = std::move(members)});
    }
}

void ReportLoops(NodeForest& shells, const std::vector<FreeEdge>& edges,
                 std::vector<ORQExcFinding>& findings) {
    NodeForest loops(shells.Size());
    for (const FreeEdge& edge : edges) {
        if (!edge.isOfSolid) {
            loops.Join(std::array{edge.low, edge.high});
        }
    }
    // The elements at each loop of each surface.
    std::map<int, std::map<int, std::vector<int>>> surfaces;
    for (const FreeEdge& edge : edges) {
        if (!edge.isOfSolid) {
            surfaces[shells.Root(edge.low)][loops.Root(edge.low)].push_back(edge.element);
        }
    }
    for (auto& [surface, ofSurface] : surfaces) {
        // Fewer edges enclose nothing: shells meet others there that go on beside them.
        std::erase_if(ofSurface, [](const auto& loop) { return loop.second.size() < kLeastLoop; });
        if (ofSurface.size() > 1) {
            AddLoops(ofSurface, findings);
        }
    }
}

}  // namespace orq::exchange
