#include "edit/CoincidentNodes.h"

#include <bit>
#include <cmath>

#include "model/RepeatFilter.h"

namespace orq::exchange {
namespace {

// Wide enough that the surroundings of most points lie in one cell or two, and narrow enough that a
// cell has few points.
constexpr double kCellsPerTolerance = 4;
// Where few points are within the tolerance of another one, nearly all surroundings lie in one cell.
constexpr double kCellsPerToleranceOfFew = 64;
// Beyond this many cells from the origin coordinates are further apart than the tolerance, or
// equal.
constexpr double kMostCells = 1e15;

}  // namespace

double PointCells::CellOf(double coordinate) const {
    const double cell = std::floor(coordinate / m_width);
    // Also where the width is 0, and the quotient infinite or not a number. The sum makes 0 of -0.
    return std::abs(cell) < kMostCells ? cell : coordinate + 0.0;
}

std::uint64_t PointCells::Hash(double x, double y, double z) {
    std::uint64_t hash = 0;
    for (const double cell : {x, y, z}) {
        // The finalizer of SplitMix64, over each coordinate in turn.
        hash += std::bit_cast<std::uint64_t>(cell + 0.0) + 0x9E3779B97F4A7C15U;
        hash = (hash ^ (hash >> 30U)) * 0xBF58476D1CE4E5B9U;
        hash = (hash ^ (hash >> 27U)) * 0x94D049BB133111EBU;
        hash ^= hash >> 31U;
    }
    return hash;
}

std::uint64_t PointCells::KeyOf(const Point& at) const {
    return Hash(CellOf(at[0]), CellOf(at[1]), CellOf(at[2]));
}

std::vector<int> PossiblyCoincident(std::span<const Point> points, double tolerance) {
    const PointCells cells(tolerance, kCellsPerToleranceOfFew);
    RepeatFilter filter(points.size());
    for (const Point& point : points) {
        filter.Add(cells.KeyOf(point));
    }
    std::vector<int> candidates;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const std::uint64_t own = cells.KeyOf(points[i]);
        bool hasOther = false;
        cells.ForEachAround(points[i], [&](std::uint64_t key) {
            hasOther = hasOther || filter.Count(key) > (key == own ? 1U : 0U);
        });
        if (hasOther) {
            candidates.push_back(static_cast<int>(i));
        }
    }
    return candidates;
}

CoincidentNodes::CoincidentNodes(std::span<const Point> points, double tolerance)
    : m_points(points),
      m_tolerance(tolerance),
      m_cells(tolerance, kCellsPerTolerance),
      m_first(std::bit_ceil(points.size() + 1), -1),
      m_next(points.size(), -1) {}

int CoincidentNodes::Find(int point) const {
    const Point& at = m_points[static_cast<std::size_t>(point)];
    int nearest = -1;
    double least = m_tolerance;
    m_cells.ForEachAround(at, [&](std::uint64_t key) {
        for (int other = m_first[BucketOf(key)]; other >= 0;
             other = m_next[static_cast<std::size_t>(other)]) {
            const double distance = Length(m_points[static_cast<std::size_t>(other)] - at);
            if (distance < least || (distance == least && nearest < 0)) {
                least = distance;
                nearest = other;
            }
        }
    });
    return nearest;
}

void CoincidentNodes::Add(int point) {
    int& first = m_first[BucketOf(m_cells.KeyOf(m_points[static_cast<std::size_t>(point)]))];
    m_next[static_cast<std::size_t>(point)] = first;
    first = point;
}

}  // namespace orq::exchange
