#include "check/CountedSides.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "check/ByNode.h"
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
        const CornerHashes hashes(shape, elements.HashesOf(i));
        for (const MeetingSide& side : sides) {
            m_sums[static_cast<std::size_t>(LowestOf(side, nodes))] += hashes.TurnOf(side);
        }
    }
}

/// Looks at the sides at whose lowest node not all sides cancel out: free ones, those of more than two
/// elements, those of two that go around them in one direction, and others that meet there.
void CountedSides::Count() {
    m_isOpen.resize(m_sums.size());
    for (std::size_t node = 0; node < m_sums.size(); ++node) {
        m_isOpen[node] = m_sums[node] != 0 ? 1 : 0;
    }
    m_sums = {};
    Sides open;
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
                AddOpenSidesOf(block, i, sides,
                               std::span<const int>(nodes).subspan(
                                   static_cast<std::size_t>(i - begin) * nEach, nEach),
                               open);
            }
        }
    }
    m_open = ByNode<Side>(open, m_isOpen.size(), [](const Side& side) { return side.Lowest(); });
    for (std::size_t node = 0; node < m_open.NumNodes(); ++node) {
        std::ranges::sort(m_open.Of(node), {},
                          [](const Side& side) { return std::pair(side.key, side.element); });
    }
    FindCrowded();
}

void CountedSides::AddOpenSidesOf(const ORQExcModel::Block& block, int place,
                                  const std::vector<MeetingSide>& sides, std::span<const int> nodes,
                                  Sides& open) const {
    int isOpen = 0;
    for (const int node : nodes.first(static_cast<std::size_t>(block.shape->nCorners))) {
        isOpen |= m_isOpen[static_cast<std::size_t>(node)];
    }
    if (isOpen == 0) {
        return;  // as most elements are
    }
    std::array<std::uint64_t, 8> ofCorners;
    std::ranges::transform(nodes.first(static_cast<std::size_t>(block.shape->nCorners)),
                           ofCorners.begin(), MembersHash::Of);
    const CornerHashes hashes(*block.shape, ofCorners);
    for (const MeetingSide& side : sides) {
        if (m_isOpen[static_cast<std::size_t>(LowestOf(side, nodes))] != 0) {
            open.push_back({hashes.KeyOf(side),
                            block.elements[place],
                            {nodes[side[0]], nodes[side[1]], nodes[side[2]], nodes[side[3]]},
                            static_cast<std::uint8_t>(side.size()),
                            block.shape->dimension == 2});
        }
    }
}

template <class Use>
void CountedSides::ForEachShared(std::size_t lowest, const Use& use) {
    std::span<Side> rest = m_open.Of(lowest);
    while (!rest.empty()) {
        const auto next = std::ranges::find_if(
            rest, [&](const Side& side) { return side.key != rest.front().key; });
        const auto size = static_cast<std::size_t>(next - rest.begin());
        use(rest.first(size));
        rest = rest.subspan(size);
    }
}

void CountedSides::FindCrowded() {
    constexpr int kMost = 2;  // solids on a face
    for (std::size_t node = 0; node < m_open.NumNodes(); ++node) {
        ForEachShared(node, [&](std::span<const Side> shared) {
            int nSolids = 1;
            for (std::size_t i = 1; i < shared.size(); ++i) {
                // An element of two blocks has its sides twice.
                nSolids += shared[i].element != shared[i - 1].element ? 1 : 0;
                if (nSolids > kMost && !shared[i].isOfShell) {
                    m_crowded.emplace_back(shared.front().element, shared[i].element);
                }
            }
        });
    }
}

unsigned CountedSides::NumElementsOf(std::span<const int> corners) {
    const auto lowest = static_cast<std::size_t>(*std::ranges::min_element(corners));
    if (m_isOpen[lowest] == 0) {
        return 2;
    }
    return static_cast<unsigned>(
        std::ranges::count(m_open.Of(lowest), KeyOfSide(corners), &Side::key));
}

std::vector<CountedSides::FreeEdge> CountedSides::TakeFreeEdges() {
    std::vector<FreeEdge> edges;
    for (std::size_t node = 0; node < m_open.NumNodes(); ++node) {
        ForEachShared(node, [&](std::span<const Side> shared) {
            const Side& side = shared.front();
            const std::size_t nEdges = side.isOfShell ? 1 : side.nCorners;
            for (std::size_t k = 0; shared.size() == 1 && k < nEdges; ++k) {
                const auto [low, high] =
                    std::minmax(side.corners[k], side.corners[(k + 1) % side.nCorners]);
                if (low != high) {
                    edges.push_back({low, high, !side.isOfShell, side.element});
                }
            }
        });
    }
    m_open = {};
    ByNode<FreeEdge> byLow(edges, m_isOpen.size(), [](const FreeEdge& edge) { return edge.low; });
    edges.clear();
    for (std::size_t node = 0; node < byLow.NumNodes(); ++node) {
        const std::span<FreeEdge> ofNode = byLow.Of(node);
        std::ranges::sort(ofNode);
        std::ranges::unique_copy(ofNode, std::back_inserter(edges), {}, &FreeEdge::high);
    }
    return edges;
}

}  // namespace orq::exchange
