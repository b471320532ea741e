#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcEdit.h"
#include "ORQExcModel.h"
#include "ORQExcNearNames.h"
#include "ORQObjMesh.h"
#include "ORQSrvNodalCoordinates.h"
#include "edit/CoincidentNodes.h"
#include "edit/InstanceNodes.h"
#include "edit/KeptParts.h"
#include "edit/MemberReplacement.h"
#include "edit/NamedObjects.h"

using namespace orq::exchange;

namespace {

constexpr int kNodesAtOnce = 100'000;  // about a chunk; some megabytes of coordinates
// How much of the progress stands for finding the nodes; the rest is rewriting.
constexpr double kFinding = 0.3;

/// The places of all nodes; of a plane mesh the third coordinate is 0.
std::vector<Point> PointsOf(const ORQExcModel& model) {
    const auto dimension = static_cast<std::size_t>(model.Dimension());
    std::vector<Point> points(static_cast<std::size_t>(model.NumNodes()), Point{});
    std::vector<double> some;
    for (int begin = 0; begin < model.NumNodes() && dimension > 0; begin += kNodesAtOnce) {
        const int end = std::min(begin + kNodesAtOnce, model.NumNodes());
        some.resize(static_cast<std::size_t>(end - begin) * dimension);
        model.ReadCoordinates(begin, end, some);
        for (std::size_t i = 0; i < some.size(); ++i) {
            points[static_cast<std::size_t>(begin) + i / dimension][i % dimension] = some[i];
        }
    }
    return points;
}

/// Whether each node has a finite place.
std::vector<char> HavePlaces(const ORQExcModel& model, const std::vector<Point>& points) {
    std::vector<char> have(points.size(), 0);
    if (model.Dimension() == 0) {
        return have;
    }
    const ORQSimCSet placed =
        ORQSrvNodalCoordinates(ORQObjMesh(model.Document().GetMesh()).GetCoordinates(),
                               kNodesAtOnce)
            .Nodes();
    for (ORQSimCSetIterator node(placed); !node.IsDone(); node.Next()) {
        const auto place = static_cast<std::size_t>(node.CurrentValue());
        have[place] = std::ranges::all_of(points[place], [](double x) { return std::isfinite(x); });
    }
    return have;
}

/// Sets the targets of nodes of an instance that lie near one of a lower label. A node that several
/// instances label is one of the first: its place is used up.
void FindTargets(const LabelledMembers& of, const std::vector<Point>& all,
                 std::vector<char>& havePlaces, double tolerance, std::vector<int>& targets) {
    std::vector<Point> points;
    std::vector<int> nodes;
    for (const int node : of.ordinals) {
        if (havePlaces[static_cast<std::size_t>(node)] != 0) {
            points.push_back(all[static_cast<std::size_t>(node)]);
            nodes.push_back(node);
            havePlaces[static_cast<std::size_t>(node)] = 0;
        }
    }
    CoincidentNodes coincident(points, tolerance);
    for (int i = 0; i < std::ssize(nodes); ++i) {
        const int near = coincident.Find(i);
        if (near < 0) {
            coincident.Add(i);
        } else {
            targets[static_cast<std::size_t>(nodes[static_cast<std::size_t>(i)])] =
                nodes[static_cast<std::size_t>(near)];
        }
    }
}

/// Lets nodes stay that an element has together with another one of their target: the element would
/// have a node twice. One of them may follow, unless it is the target itself that is there. Answers
/// how many stay.
int KeepElementsWhole(const ORQObjDocument& document, std::vector<int>& targets) {
    int nKept = 0;
    const auto targetOf = [&](int node) -> int& { return targets[static_cast<std::size_t>(node)]; };
    ForEachConnectivity(document, [&](int nNodes, std::span<const int> nodes) {
        const auto perElement = static_cast<std::size_t>(nNodes);
        for (std::size_t at = 0; at < nodes.size(); at += perElement) {
            const std::span element = nodes.subspan(at, perElement);
            for (std::size_t i = 0; i < perElement; ++i) {
                const int node = element[i];
                if (node < 0 || targetOf(node) == node) {
                    continue;
                }
                const bool clashes = std::ranges::any_of(element, [&](int other) {
                    return other >= 0 && other != node && targetOf(other) == targetOf(node);
                });
                if (clashes) {
                    targetOf(node) = node;
                    ++nKept;
                }
            }
        }
    });
    return nKept;
}

std::vector<LabelledMembers> InstancesToMerge(const ORQObjDocument& document,
                                              const std::string& instance) {
    std::vector<LabelledMembers> instances = LabelledMembersOf(document, ORQObjLabelerType::Node);
    if (!instance.empty()) {
        FindObject(ORQExcObjectKind::Instance, instance, document);
        std::erase_if(instances,
                      [&](const LabelledMembers& of) { return of.instance != instance; });
    }
    return instances;
}

}  // namespace

void ORQExcMergeNodes(const ORQObjDocument& document, const ORQExcMerging& merging,
                      ORQExcReport& report) {
    if (!(merging.tolerance >= 0) || std::isinf(merging.tolerance)) {
        ORQBasThrowUsage(
            fmt::format("a tolerance is a length, 0 or more, not {}", merging.tolerance));
    }
    const std::vector<LabelledMembers> instances = InstancesToMerge(document, merging.instance);
    const ORQExcModel model(document);
    std::vector<int> targets(static_cast<std::size_t>(model.NumNodes()));
    std::iota(targets.begin(), targets.end(), 0);
    {
        const std::vector<Point> points = PointsOf(model);
        std::vector<char> havePlaces = HavePlaces(model, points);
        for (std::size_t i = 0; i < instances.size(); ++i) {
            FindTargets(instances[i], points, havePlaces, merging.tolerance, targets);
            merging.progress(kFinding * static_cast<double>(i + 1) /
                             static_cast<double>(instances.size()));
        }
    }
    const int nOfOneElement = KeepElementsWhole(document, targets);
    const MemberNumbering numbering = Compacted(std::move(targets));
    const auto nMerged = static_cast<std::int64_t>(model.NumNodes()) -
                         static_cast<std::int64_t>(numbering.kept.size());
    report.Keep("nodes", "", static_cast<std::int64_t>(numbering.kept.size()));
    if (nOfOneElement > 0) {
        report.Note("nodes", "", nOfOneElement,
                    "within the tolerance of another one of the same element; not merged");
    }
    if (nMerged == 0) {
        return;
    }
    report.Change("nodes", "", nMerged, "merged into others within the tolerance");
    ReportCardsNaming(LabelsThatGo(instances, numbering), document, report);
    DropArraysOverNodes(document, report);
    ReplaceMembers(ORQObjMesh(document.GetMesh()).GetNodeCollection(), numbering,
                   [&](double done) { merging.progress(kFinding + (1 - kFinding) * done); });
}
