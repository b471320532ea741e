#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <utility>

#include "ORQExcCheck.h"
#include "ORQExcPoint.h"
#include "ORQSimCollection.h"
#include "check/Checks.h"
#include "check/MeetingSides.h"
#include "check/MembersHash.h"
#include "check/NodeForest.h"
#include "check/SideTable.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

const ORQExcRule kCrowded = {
    .id = "ELM016",
    .level = ORQExcLevel::Warning,
    .title = "more than two solids on a face",
    .meaning = "a face can have one solid on either side; this one has more, so that some overlap",
    .breaks = "stiffness and mass count twice there",
    .mending = "remove the solids that are too many"};
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
const ORQExcRule kInner = {.id = "SET006",
                           .level = ORQExcLevel::Note,
                           .title = "surface on an inner face",
                           .meaning = "solids lie on both sides of a face of the surface",
                           .breaks = "pressure pulls the solids apart there; contact never closes",
                           .mending = "nothing, where a section through the part is meant"};

/// A corner may be off the straight line between two others by so much of their distance.
constexpr double kStraight = 1e-3;

constexpr std::size_t kLeastLoop = 3;  // edges

constexpr int kSlice = 1 << 15;  // elements read at a time; bounds the memory

class SidesRun : public ORQExcCheckRun {
  public:
    explicit SidesRun(const ORQExcCheckedModel& model)
        : m_model(model.Model()),
          m_checked(model),
          m_sums(static_cast<std::size_t>(m_model.NumNodes())),
          m_shells(0) {}

    bool VisitsElements() const override { return true; }
    bool NeedsAllElements() const override { return true; }

    void Visit(const ORQExcCheckedElements& elements) override {
        const ORQExcShape& shape = *elements.block.shape;
        if (shape.dimension < 2) {
            return;
        }
        if (shape.dimension == 2) {
            JoinShells(elements);
        }
        const std::vector<std::vector<int>> sides = MeetingSidesOf(shape);
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            const std::span<const int> nodes = elements.NodesOf(i);
            const CornerHashes hashes(shape, nodes);
            for (const std::vector<int>& side : sides) {
                m_sums[static_cast<std::size_t>(LowestOf(side, nodes))] += hashes.TurnOf(side);
            }
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        CountSides();
        ReportCrowded(findings);
        ReportInnerFaces(findings);
        const std::vector<FreeEdge> edges = FreeEdges();
        ReportHanging(edges, findings);
        ReportLoops(edges, findings);
    }

  private:
    /// A side that was counted, as the first element has it.
    struct CountedSide {
        std::uint64_t key;
        int element;
        bool isOfShell;
        std::size_t nCorners;
        std::array<int, 4> corners;
    };
    /// An edge of shells that one has, or of a face that one solid has.
    struct FreeEdge {
        int low;
        int high;
        bool isOfSolid;
        int element;
        auto operator<=>(const FreeEdge&) const = default;
    };

    void JoinShells(const ORQExcCheckedElements& elements) {
        if (m_shells.Size() == 0) {
            m_shells = NodeForest(static_cast<std::size_t>(m_model.NumNodes()));
        }
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            m_shells.Join(elements.NodesOf(i));
        }
    }

    /// Counts the elements of the sides at whose lowest node not all sides cancel out: free ones,
    /// those of more than two elements, and those of two that go around them in one direction.
    void CountSides() {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            const std::vector<std::vector<int>> sides = MeetingSidesOf(*block.shape);
            const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
            std::vector<int> nodes;
            for (int begin = 0; begin < block.elements.Size() && !sides.empty(); begin += kSlice) {
                const int end = std::min(begin + kSlice, block.elements.Size());
                nodes.resize(static_cast<std::size_t>(end - begin) * nEach);
                m_model.ReadConnectivity(block, begin, end, nodes);
                for (int i = begin; i < end; ++i) {
                    CountSidesOf(block, i, sides,
                                 std::span<const int>(nodes).subspan(
                                     static_cast<std::size_t>(i - begin) * nEach, nEach));
                }
            }
        }
    }

    void CountSidesOf(const ORQExcModel::Block& block, int place,
                      const std::vector<std::vector<int>>& sides, std::span<const int> nodes) {
        std::uint64_t open = 0;
        for (const int node : nodes.first(static_cast<std::size_t>(block.shape->nCorners))) {
            open |= m_sums[static_cast<std::size_t>(node)];
        }
        if (open == 0) {
            return;  // as most elements are
        }
        const CornerHashes hashes(*block.shape, nodes);
        for (const std::vector<int>& side : sides) {
            if (m_sums[static_cast<std::size_t>(LowestOf(side, nodes))] == 0) {
                continue;
            }
            CountedSide counted{hashes.KeyOf(side),
                                block.elements[place],
                                block.shape->dimension == 2,
                                side.size(),
                                {}};
            for (std::size_t k = 0; k < side.size(); ++k) {
                counted.corners[k] = nodes[static_cast<std::size_t>(side[k])];
            }
            const SideTable::Met met = m_table.Add(counted.key, counted.element);
            if (met.count == 1) {
                m_counted.push_back(counted);
            } else if (met.count > 2 && !counted.isOfShell) {
                m_crowded.emplace_back(met.first, counted.element);
            }
        }
    }

    /// Of a side that no element has 0, of one that was not counted 2.
    unsigned NumElementsOf(std::span<const int> corners) {
        const int lowest = *std::ranges::min_element(corners);
        return m_sums[static_cast<std::size_t>(lowest)] == 0 ? 2 : m_table.Count(KeyOf(corners));
    }

    static std::uint64_t KeyOf(std::span<const int> corners) {
        MembersHash hash;
        for (const int node : corners) {
            hash.Add(node);
        }
        return hash.Value();
    }

    /// Calls use(block, element, nodes) for some elements, ascending, that stand in no block twice.
    template <class Use>
    void ForEachOf(const std::vector<int>& elements, const Use& use) const {
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            std::vector<int> ofBlock;
            for (const int element : elements) {
                if (block.shape->dimension >= 2 && block.elements.SeekMember(element) >= 0) {
                    ofBlock.push_back(element);
                }
            }
            if (ofBlock.empty()) {
                continue;
            }
            const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
            std::vector<int> nodes(ofBlock.size() * nEach);
            m_model.ReadConnectivity(
                block, OrdinalSet(ORQSimCollection(block.elements.CollectionID()), ofBlock), nodes);
            for (std::size_t i = 0; i < ofBlock.size(); ++i) {
                use(block, ofBlock[i], std::span<const int>(nodes).subspan(i * nEach, nEach));
            }
        }
    }

    // --- More than two solids ---------------------------------------------------------------------

    void ReportCrowded(std::vector<ORQExcFinding>& findings) const {
        std::set<int> asked;
        for (const auto& [first, element] : m_crowded) {
            asked.insert(first);
            asked.insert(element);
        }
        std::map<int, std::set<std::vector<int>>> facesOf;
        ForEachOf({asked.begin(), asked.end()},
                  [&](const ORQExcModel::Block& block, int element, std::span<const int> nodes) {
                      for (const std::vector<int>& side : MeetingSidesOf(*block.shape)) {
                          std::vector<int> face = CornersOf(side, nodes);
                          std::ranges::sort(face);
                          facesOf[element].insert(std::move(face));
                      }
                  });
        // A hash may stand for two faces, the nodes tell.
        std::set<int> members;
        for (const auto& [first, element] : m_crowded) {
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

    static std::vector<int> CornersOf(const std::vector<int>& side, std::span<const int> nodes) {
        std::vector<int> corners;
        for (const int place : side) {
            corners.push_back(nodes[static_cast<std::size_t>(place)]);
        }
        return corners;
    }

    // --- Surfaces ---------------------------------------------------------------------------------

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
            ForEachOf(elements, [&](const ORQExcModel::Block& block, int element,
                                    std::span<const int> nodes) {
                const auto sides = MeetingSidesOf(*block.shape);
                for (const int side : sidesOf[element]) {
                    if (block.shape->dimension == 3 && side >= 0 && side < std::ssize(sides) &&
                        NumElementsOf(CornersOf(sides[static_cast<std::size_t>(side)], nodes)) >
                            1) {
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

    // --- Free edges -------------------------------------------------------------------------------

    /// Ascending, each once, as that of a shell where it is of both.
    std::vector<FreeEdge> FreeEdges() {
        std::vector<FreeEdge> edges;
        for (const CountedSide& side : m_counted) {
            if (m_table.Count(side.key) != 1) {
                continue;
            }
            for (std::size_t k = 0; k < (side.isOfShell ? 1 : side.nCorners); ++k) {
                const auto [low, high] =
                    std::minmax(side.corners[k], side.corners[(k + 1) % side.nCorners]);
                if (low != high) {
                    edges.push_back({low, high, !side.isOfShell, side.element});
                }
            }
        }
        m_counted = {};
        std::ranges::sort(edges);
        edges.erase(std::unique(edges.begin(), edges.end(),
                                [](const FreeEdge& a, const FreeEdge& b) {
                                    return a.low == b.low && a.high == b.high;
                                }),
                    edges.end());
        return edges;
    }

    void ReportHanging(const std::vector<FreeEdge>& edges,
                       std::vector<ORQExcFinding>& findings) const {
        if (m_model.Dimension() == 0) {
            return;
        }
        std::vector<std::pair<int, int>> ways;  // both ways, ascending
        for (const FreeEdge& edge : edges) {
            ways.emplace_back(edge.low, edge.high);
            ways.emplace_back(edge.high, edge.low);
        }
        std::ranges::sort(ways);
        std::map<int, std::vector<int>> found;  // by element
        for (const FreeEdge& edge : edges) {
            auto way = std::ranges::lower_bound(ways, std::pair(edge.low, -1));
            for (; way != ways.end() && way->first == edge.low; ++way) {
                const int node = way->second;
                if (node != edge.high && IsBetween(node, edge) &&
                    std::ranges::binary_search(ways, std::pair(node, edge.high))) {
                    found[edge.element].push_back(node);
                }
            }
        }
        std::vector<int> members = NotOfElement(found);
        if (!members.empty()) {
            findings.push_back({.rule = kHanging.id,
                                .message = "stands on an edge of an element that does not have it",
                                .place = ORQExcFinding::Place::Node,
                                .members = std::move(members)});
        }
    }

    /// A node in the middle of an edge of an element of second order may be a corner of others.
    std::vector<int> NotOfElement(const std::map<int, std::vector<int>>& found) const {
        std::vector<int> elements;
        for (const auto& [element, nodes] : found) {
            elements.push_back(element);
        }
        std::set<int> members;
        ForEachOf(elements, [&](const ORQExcModel::Block&, int element, std::span<const int> own) {
            for (const int node : found.at(element)) {
                if (std::ranges::find(own, node) == own.end()) {
                    members.insert(node);
                }
            }
        });
        return {members.begin(), members.end()};
    }

    bool IsBetween(int node, const FreeEdge& edge) const {
        const auto at = [&](int one) { return m_checked.Points()[static_cast<std::size_t>(one)]; };
        const double length = Length(at(edge.high) - at(edge.low));
        const double toLow = Length(at(node) - at(edge.low));
        const double toHigh = Length(at(node) - at(edge.high));
        // A detour grows with the square of the height above the line.
        return toLow > kStraight * length && toHigh > kStraight * length &&
               toLow + toHigh <= length * (1 + kStraight * kStraight);
    }

    void ReportLoops(const std::vector<FreeEdge>& edges, std::vector<ORQExcFinding>& findings) {
        NodeForest loops(m_shells.Size());
        for (const FreeEdge& edge : edges) {
            if (!edge.isOfSolid) {
                loops.Join(std::array{edge.low, edge.high});
            }
        }
        // By surface, the elements at each of its loops.
        std::map<int, std::map<int, std::vector<int>>> surfaces;
        for (const FreeEdge& edge : edges) {
            if (!edge.isOfSolid) {
                surfaces[m_shells.Root(edge.low)][loops.Root(edge.low)].push_back(edge.element);
            }
        }
        for (auto& [surface, ofSurface] : surfaces) {
            // Fewer edges enclose nothing: shells meet others there that go on beside them.
            std::erase_if(ofSurface,
                          [](const auto& loop) { return loop.second.size() < kLeastLoop; });
            if (ofSurface.size() > 1) {
                AddLoops(ofSurface, findings);
            }
        }
    }

    /// The loop of most edges is the rim.
    static void AddLoops(const std::map<int, std::vector<int>>& loops,
                         std::vector<ORQExcFinding>& findings) {
        const auto rim = std::ranges::max_element(
            loops, {}, [](const auto& loop) { return loop.second.size(); });
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

    const ORQExcModel& m_model;
    const ORQExcCheckedModel& m_checked;
    // By node, of the sides of which it is the lowest, how elements go around them. The two elements
    // of an inner side do so in opposite directions, which cancels out.
    std::vector<std::uint64_t> m_sums;
    NodeForest m_shells;  // of no nodes before the first shell
    SideTable m_table;
    std::vector<CountedSide> m_counted;
    std::vector<std::pair<int, int>> m_crowded;
};

}  // namespace

ORQExcCheck SidesCheck() {
    return {{kHanging, kCrowded, kLoops, kInner}, BeginRun<SidesRun>};
}

}  // namespace orq::exchange
