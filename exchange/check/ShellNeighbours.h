#pragma once

#include <compare>
#include <cstddef>
#include <span>
#include <vector>

#include "ORQExcCheck.h"
#include "ORQExcPoint.h"

namespace orq::exchange {

/// Shells that continue each other's surface across an edge. Shells are counted from 0 as they are
/// added. Takes some 100 bytes for each.
class ShellNeighbours {
  public:
    struct Neighbour {
        int shell;
        int other;
        bool isAgainst;  ///< both go along the edge in one direction
        auto operator<=>(const Neighbour&) const = default;
    };

    /// The planes of neighbours differ by so many degrees at most: at a fold, as between a web and
    /// a flange, neither surface goes on.
    explicit ShellNeighbours(double degrees);

    /// Elements of other dimensions are left out.
    void Add(const ORQExcCheckedElements& elements);
    /// Finds neighbours in both directions, ascending. Where more than two shells meet, as at a
    /// stiffener, none is the neighbour of another; two with several edges in common lie upon each
    /// other.
    std::vector<Neighbour> Find();

    /// Ordinals of elements, by shell.
    const std::vector<int>& Elements() const { return m_elements; }

  private:
    struct Edge {
        int low;
        int high;
        int shell;
        bool isUpward;  // from the lower node to the higher one
        auto operator<=>(const Edge&) const = default;
    };

    static Point NormalOf(std::span<const double> corners);
    bool ContinueEachOther(int a, int b) const;
    static void EraseDoubled(std::vector<Neighbour>& neighbours);

    double m_cosine;
    std::vector<int> m_elements;
    std::vector<Point> m_normals;  // by shell
    std::vector<Edge> m_edges;
};

}  // namespace orq::exchange
