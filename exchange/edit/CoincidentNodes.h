#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ORQExcPoint.h"

namespace orq::exchange {

/// A division of space into cubes, and the points of it within a tolerance of a place.
class PointCells {
  public:
    PointCells(double tolerance, double cellsPerTolerance)
        : m_tolerance(tolerance),
          m_perLength(1 / (cellsPerTolerance * tolerance)),
          m_nearSide((1 + kRounding) / cellsPerTolerance) {}

    /// A hash of the cell of a point.
    std::uint64_t KeyOf(const Point& at) const;
    struct Place {
        std::uint64_t key;
        /// Whether all points within the tolerance of this one surely lie in its own cell.
        bool isAmid;
    };
    Place PlaceOf(const Point& at) const;
    /// Calls use(key) once for each cell that has points within the tolerance of one: eight at most.
    template <class Use>
    void ForEachAround(const Point& at, const Use& use) const {
        // Along each axis the surroundings lie in one cell or in two.
        std::array<std::array<double, 2>, 3> cells{};
        std::array<unsigned, 3> count{};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            cells[axis] = {CellOf(at[axis] - m_tolerance), CellOf(at[axis] + m_tolerance)};
            count[axis] = cells[axis][0] == cells[axis][1] ? 1 : 2;
        }
        for (unsigned x = 0; x < count[0]; ++x) {
            for (unsigned y = 0; y < count[1]; ++y) {
                for (unsigned z = 0; z < count[2]; ++z) {
                    use(Hash(cells[0][x], cells[1][y], cells[2][z]));
                }
            }
        }
    }

  private:
    double CellOf(double coordinate) const {
        const double cells = coordinate * m_perLength;
        // A coordinate stays as it is without a tolerance, too, where the product is infinite or
        // not a number. The sum makes 0 of -0.
        return std::abs(cells) < kMostCells ? Nearest(cells) : coordinate + 0.0;
    }
    /// The nearest integer, of numbers below kMostCells: a sum so large has no bits for less.
    static double Nearest(double value) {
        // The half on top keeps the sum of a negative number above 2^52, where the bits are those.
        constexpr double kIntegersOnly = 0x1.8p52;
        return (value + kIntegersOnly) - kIntegersOnly;
    }
    static std::uint64_t Hash(double x, double y, double z);

    // Beyond this many cells from the origin coordinates are further apart than the tolerance, or
    // equal.
    static constexpr double kMostCells = 1e15;
    // Up to this many cells from the origin the place within a cell is known well.
    static constexpr double kMostCellsOfPlaces = 1e9;
    // Part of a cell by which rounding may move the place of a point within it.
    static constexpr double kRounding = 1e-3;

    double m_tolerance;
    double m_perLength;  // cells; infinite without a tolerance
    double m_nearSide;   // the tolerance, as a part of a cell
};

/// Of the given nodes, all that have another one within the tolerance and some that have none, in
/// their order. Nodes with a coordinate that is not finite are left out. `points` has the places of
/// all nodes. Takes some ten bytes for each node.
std::vector<int> PossiblyCoincident(std::span<const Point> points, std::span<const int> nodes,
                                    double tolerance);

/// Points that stay, and finds for another one the nearest of them within a tolerance. They lie in
/// cells some tolerances wide, so that few are compared: points that stay are further apart than
/// the tolerance. Takes some 12 bytes for each point.
class CoincidentNodes {
  public:
    /// The points, in an order by which they are named from here on; they have to stay. The
    /// tolerance is not below 0.
    CoincidentNodes(std::span<const Point> points, double tolerance);

    /// The nearest point that stays, of equals the last; -1 when none is within the tolerance.
    int Find(int point) const;
    /// Makes the point one that stays.
    void Add(int point);

  private:
    std::size_t BucketOf(std::uint64_t key) const { return key & (m_first.size() - 1); }

    std::span<const Point> m_points;
    double m_tolerance;
    PointCells m_cells;
    std::vector<int> m_first;  // by bucket: a point of it that stays, -1 for none
    std::vector<int> m_next;   // by point: another one of its bucket, -1 for none
};

}  // namespace orq::exchange
