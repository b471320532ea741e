#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ORQExcShapes.h"
#include "check/MembersHash.h"

namespace orq::exchange {

/// The sides by which elements meet: faces of solids, edges of shells, as places of corners.
inline std::vector<std::vector<int>> MeetingSidesOf(const ORQExcShape& shape) {
    std::vector<std::vector<int>> sides;
    if (shape.dimension >= 2) {
        for (const ORQExcShape::Side& side : shape.dimension == 3 ? shape.sides : shape.edges) {
            sides.emplace_back(side.nodes.begin(), side.nodes.begin() + side.nCorners);
        }
    }
    return sides;
}

/// The lowest node of a side.
inline int LowestOf(const std::vector<int>& side, std::span<const int> nodes) {
    int lowest = nodes[static_cast<std::size_t>(side[0])];
    for (const int corner : side) {
        lowest = std::min(lowest, nodes[static_cast<std::size_t>(corner)]);
    }
    return lowest;
}

/// Hashes of the corners of an element, and of its sides by them.
class CornerHashes {
  public:
    CornerHashes(const ORQExcShape& shape, std::span<const int> nodes) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(shape.nCorners); ++i) {
            m_hashes[i] = MembersHash::Of(nodes[i]);
        }
    }
    /// The sum of the hashes of its corners stands for a side.
    std::uint64_t KeyOf(const std::vector<int>& side) const {
        std::uint64_t key = 0;
        for (const int corner : side) {
            key += m_hashes[static_cast<std::size_t>(corner)];
        }
        return key;
    }
    /// Stands for a side as the element goes around it, from whichever corner; the other way around
    /// it is the same with the opposite sign.
    std::uint64_t TurnOf(const std::vector<int>& side) const {
        const auto at = [&](std::size_t k) { return m_hashes[static_cast<std::size_t>(side[k])]; };
        if (side.size() == 2) {
            return at(0) - at(1);
        }
        std::uint64_t turn = 0;
        std::uint64_t last = at(side.size() - 1);
        for (std::size_t k = 0; k < side.size(); ++k) {
            turn += last * at(k) * (last - at(k));
            last = at(k);
        }
        return turn;
    }

  private:
    std::array<std::uint64_t, 8> m_hashes;
};

}  // namespace orq::exchange
