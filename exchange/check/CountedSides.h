#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "ORQExcCheck.h"
#include "check/MeetingSides.h"
#include "check/SideTable.h"

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
    /// Pairs of the first solid on a face and one beyond the second. A hash stands for the face, so
    /// that a pair may have no face in common.
    const std::vector<std::pair<int, int>>& Crowded() const { return m_crowded; }
    /// Ascending, each once, as that of a shell where it is of both. Forgets the sides.
    std::vector<FreeEdge> TakeFreeEdges();

  private:
    /// A side that was counted, as the first element has it.
    struct Side {
        std::uint64_t key;
        int element;
        bool isOfShell;
        std::size_t nCorners;
        std::array<int, 4> corners;
    };

    void CountSidesOf(const ORQExcModel::Block& block, int place,
                      const std::vector<MeetingSide>& sides, std::span<const int> nodes);

    const ORQExcModel& m_model;
    // By node, of the sides of which it is the lowest, how elements go around them. The two elements
    // of an inner side do so in opposite directions, which cancels out.
    std::vector<std::uint64_t> m_sums;
    SideTable m_table;
    std::vector<Side> m_counted;
    std::vector<std::pair<int, int>> m_crowded;
};

}  // namespace orq::exchange
