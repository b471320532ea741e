#include "edit/CoincidentNodes.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace orq::exchange {
namespace {

// Wide enough that the surroundings of most points lie in one cell or two, and narrow enough that a
// cell has few points.
constexpr double kCellsPerTolerance = 4;
// Beyond this many cells from the origin coordinates are further apart than the tolerance, or
// equal.
constexpr double kMostCells = 1e15;

}  // namespace

CoincidentNodes::CoincidentNodes(std::span<const Point> points, double tolerance)
    : m_points(points),
      m_tolerance(tolerance),
      m_width(kCellsPerTolerance * tolerance),
      m_first(std::bit_ceil(points.size() + 1), -1),
      m_next(points.size(), -1) {}

double CoincidentNodes::CellOf(double coordinate) const {
    const double cell = std::floor(coordinate / m_width);
    // Also where the width is 0, and the quotient infinite or not a number. The sum makes 0 of -0.
    return std::abs(cell) < kMostCells ? cell : coordinate + 0.0;
}

std::size_t CoincidentNodes::BucketOf(double x, double y, double z) const {
    std::uint64_t hash = 0;
    for (const double cell : {x, y, z}) {
        // The finalizer of SplitMix64, over each coordinate in turn.
        hash += std::bit_cast<std::uint64_t>(cell + 0.0) + 0x9E3779B97F4A7C15U;
        hash = (hash ^ (hash >> 30U)) * 0xBF58476D1CE4E5B9U;
        hash = (hash ^ (hash >> 27U)) * 0x94D049BB133111EBU;
        hash ^= hash >> 31U;
    }
    return hash & (m_first.size() - 1);
}

int CoincidentNodes::Find(int point) const {
    const Point& at = m_points[static_cast<std::size_t>(point)];
    // Along each axis the surroundings lie in one cell or in two.
    std::array<std::array<double, 2>, 3> cells{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        cells[axis] = {CellOf(at[axis] - m_tolerance), CellOf(at[axis] + m_tolerance)};
    }
    int nearest = -1;
    double least = m_tolerance;
    for (unsigned corner = 0; corner < 8; ++corner) {
        const std::array<unsigned, 3> side = {corner & 1U, (corner >> 1U) & 1U, corner >> 2U};
        bool isSeen = false;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            isSeen = isSeen || (side[axis] == 1 && cells[axis][0] == cells[axis][1]);
        }
        if (isSeen) {
            continue;
        }
        const std::size_t bucket =
            BucketOf(cells[0][side[0]], cells[1][side[1]], cells[2][side[2]]);
        for (int other = m_first[bucket]; other >= 0;
             other = m_next[static_cast<std::size_t>(other)]) {
            const double distance = Length(m_points[static_cast<std::size_t>(other)] - at);
            if (distance < least || (distance == least && nearest < 0)) {
                least = distance;
                nearest = other;
            }
        }
    }
    return nearest;
}

void CoincidentNodes::Add(int point) {
    const Point& at = m_points[static_cast<std::size_t>(point)];
    int& first = m_first[BucketOf(CellOf(at[0]), CellOf(at[1]), CellOf(at[2]))];
    m_next[static_cast<std::size_t>(point)] = first;
    first = point;
}

}  // namespace orq::exchange
