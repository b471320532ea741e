#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "ORQBasAllocator.h"
#include "ORQExcCheck.h"
#include "check/ByNode.h"
#include "check/MeetingSides.h"

namespace orq::exchange {

/// The corners of a side of an element.
std::vector<int> CornersOf(const MeetingSide& side, std::span<const int> nodes);

/// How many elements have each side by which elements meet: faces of solids, edges of shells. Sees
/// all elements once, and reads the connectivity once more for those at sides that not two elements
/// share. Holds 8 bytes for each node, and the sides that it counted.
class CountedSides {
  public:
    /// An edge of shells that one has, or of a face that one solid has.
    struct FreeEdge {
        int low;
        int high;
        bool isOfSolid;
        int element;
        auto operator<=>(const FreeEdge&) const = default;
    };

    explicit CountedSides(const ORQExcModel& model);

    void Add(const ORQExcCheckedElements& elements);
    /// REQUIRES, of this and what follows: all elements were added.
    void Count();

    /// The elements of a side with corners that some element has: of one that two share as they
    /// should, 2.
    unsigned NumElementsOf(std::span<const int> corners);
    /// Pairs of the lowest solid on a face and one beyond the second. A hash stands for the face, so
    /// that a pair may have no face in common.
    const std::vector<std::pair<int, int>>& Crowded() const { return m_crowded; }
    /// Ascending, each once, as that of a shell where it is of both. Forgets the sides.
    std::vector<FreeEdge> TakeFreeEdges();

  private:
    /// A side as one element has it. Its hash stands for it. Beyond the last corner the first is
    /// there again.
    struct Side {
        std::uint64_t key;
        int element;
        std::array<int, 4> corners;
        std::uint8_t nCorners;
        bool isOfShell;

        int Lowest() const { return *std::ranges::min_element(corners); }
    };
    using Sides = ORQBasLargeVector<Side>;

    void AddOpenSidesOf(const ORQExcModel::Block& block, int place,
                        const std::vector<MeetingSide>& sides, std::span<const int> nodes,
                        Sides& open) const;
    void FindCrowded();
    /// Calls use(sides) for those of each hash that sides with the lowest node have.
    template <class Use>
    void ForEachShared(std::size_t lowest, const Use& use);

    const ORQExcModel& m_model;
    // Sums, by the lowest node of a side, of how elements go around it. The two elements of an
    // inner side do so in opposite directions, which cancels out.
    ORQBasLargeVector<std::uint64_t> m_sums;
    // Whether a node's sum was not 0 when all elements were added.
    std::vector<char> m_isOpen;
    // The sides whose lowest node is open, by that node: sides of one hash one after the other, by
    // element.
    ByNode<Side> m_open;
    std::vector<std::pair<int, int>> m_crowded;
};

}  // namespace orq::exchange
