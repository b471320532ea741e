#include "check/CountedSides.h"

#include <algorithm>
#include <utility>

#include "check/Checks.h"
#include "check/MeetingSides.h"
#include "check/MembersHash.h"

namespace orq::exchange {
namespace {

std::uint64_t KeyOfSide(std::span<const int> corners) {
    MembersHash hash;
    for (const int node : corners) {
        hash.Add(node);
    }
    return hash.Value();
}

}  // namespace

std::vector<int> CornersOf(const MeetingSide& side, std::span<const int> nodes) {
    std::vector<int> corners;
    for (const std::size_t place : side) {
        corners.push_back(nodes[place]);
    }
    return corners;
}

CountedSides::CountedSides(const ORQExcModel& model)
    : m_model(model), m_sums(static_cast<std::size_t>(model.NumNodes())) {}

void CountedSides::Add(const ORQExcCheckedElements& elements) {
    const ORQExcShape& shape = *elements.block.shape;
    const std::vector<MeetingSide> sides = MeetingSidesOf(shape);
    for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
        const std::span<const int> nodes = elements.NodesOf(i);
        const CornerHashes hashes(shape, nodes);
        for (const MeetingSide& side : sides) {
            m_sums[static_cast<std::size_t>(LowestOf(side, nodes))] += hashes.TurnOf(side);
        }
    }
}

/// Counts the elements of the sides at whose lowest node not all sides cancel out: free ones,
/// those of more than two elements, and those of two that go around them in one direction.
void CountedSides::Count() {
    for (const ORQExcModel::Block& block : m_model.Blocks()) {
        const std::vector<MeetingSide> sides = MeetingSidesOf(*block.shape);
        const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> nodes;
        for (int begin = 0; begin < block.elements.Size() && !sides.empty();
             begin += kElementsAtOnce) {
            const int end = std::min(begin + kElementsAtOnce, block.elements.Size());
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

void CountedSides::CountSidesOf(const ORQExcModel::Block& block, int place,
                                const std::vector<MeetingSide>& sides, std::span<const int> nodes) {
    std::uint64_t open = 0;
    for (const int node : nodes.first(static_cast<std::size_t>(block.shape->nCorners))) {
        open |= m_sums[static_cast<std::size_t>(node)];
    }
    if (open == 0) {
        return;  // as most elements are
    }
    const CornerHashes hashes(*block.shape, nodes);
    for (const MeetingSide& side : sides) {
        if (m_sums[static_cast<std::size_t>(LowestOf(side, nodes))] == 0) {
            continue;
        }
        Side counted{hashes.KeyOf(side),
                     block.elements[place],
                     block.shape->dimension == 2,
                     side.size(),
                     {}};
        for (std::size_t k = 0; k < side.size(); ++k) {
            counted.corners[k] = nodes[side[k]];
        }
        const SideTable::Met met = m_table.Add(counted.key, counted.element);
        if (met.count == 1) {
            m_counted.push_back(counted);
        } else if (met.count > 2 && !counted.isOfShell) {
            m_crowded.emplace_back(met.first, counted.element);
        }
    }
}

unsigned CountedSides::NumElementsOf(std::span<const int> corners) {
    const int lowest = *std::ranges::min_element(corners);
    return m_sums[static_cast<std::size_t>(lowest)] == 0 ? 2 : m_table.Count(KeyOfSide(corners));
}

std::vector<CountedSides::FreeEdge> CountedSides::TakeFreeEdges() {
    std::vector<FreeEdge> edges;
    for (const Side& side : m_counted) {
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

}  // namespace orq::exchange
