#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ORQExcShapes.h"

namespace orq::exchange {

/// A side by which elements meet, a face of a solid or an edge of a shell: the places of its corners
/// in the element.
class MeetingSide {
  public:
    explicit MeetingSide(const ORQExcShape::Side& side)
        : m_size(static_cast<std::size_t>(side.nCorners)) {
        m_places.fill(static_cast<std::size_t>(side.nodes[0]));
        std::copy_n(side.nodes.begin(), m_size, m_places.begin());
    }

    std::size_t size() const { return m_size; }
    /// A place beyond the last corner, up to 3, is the first one again: a triangle can be taken for
    /// a quadrilateral.
    std::size_t operator[](std::size_t corner) const { return m_places[corner]; }
    const std::size_t* begin() const { return m_places.data(); }
    const std::size_t* end() const { return m_places.data() + m_size; }

  private:
    std::size_t m_size;
    std::array<std::size_t, 4> m_places;
};

inline std::vector<MeetingSide> MeetingSidesOf(const ORQExcShape& shape) {
    if (shape.dimension < 2) {
        return {};
    }
    const auto& sides = shape.dimension == 3 ? shape.sides : shape.edges;
    return {sides.begin(), sides.end()};
}

/// The lowest node of a side.
inline int LowestOf(const MeetingSide& side, std::span<const int> nodes) {
    return std::min(std::min(nodes[side[0]], nodes[side[1]]),
                    std::min(nodes[side[2]], nodes[side[3]]));
}

/// Hashes of the corners of an element, and of its sides by them.
class CornerHashes {
  public:
    /// `hashes` are those of its nodes, and have to stay.
    CornerHashes(const ORQExcShape& shape, std::span<const std::uint64_t> hashes)
        : m_hashes(hashes) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(shape.nCorners); ++i) {
            m_turned[i] = std::rotl(m_hashes[i], 32);
        }
    }
    /// The sum of the hashes of its corners stands for a side.
    std::uint64_t KeyOf(const MeetingSide& side) const {
        std::uint64_t key = 0;
        for (const std::size_t corner : side) {
            key += m_hashes[corner];
        }
        return key;
    }
    /// Stands for a side as the element goes around it, from whichever corner; the other way around
    /// it is the same with the opposite sign. It is twice the area of a polygon in a plane where a
    /// corner has its hash and the turned hash as coordinates, by the diagonals.
    std::uint64_t TurnOf(const MeetingSide& side) const {
        if (side.size() == 2) {
            return m_hashes[side[0]] - m_hashes[side[1]];
        }
        return (m_hashes[side[2]] - m_hashes[side[0]]) * (m_turned[side[3]] - m_turned[side[1]]) -
               (m_turned[side[2]] - m_turned[side[0]]) * (m_hashes[side[3]] - m_hashes[side[1]]);
    }

  private:
    std::span<const std::uint64_t> m_hashes;
    std::array<std::uint64_t, 8> m_turned;
};

}  // namespace orq::exchange
