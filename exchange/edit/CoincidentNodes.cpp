#include "edit/CoincidentNodes.h"

#include <array>
#include <bit>
#include <cmath>
#include <utility>

#include "ORQBasAllocator.h"
#include "model/RepeatFilter.h"

namespace orq::exchange {
namespace {

// Wide enough that the surroundings of most points lie in one cell or two, and narrow enough that a
// cell has few points.
constexpr double kCellsPerTolerance = 4;
// Where few points are within the tolerance of another one, nearly all surroundings lie in one cell.
// What falls together in one division of space by chance alone is apart in another one.
constexpr std::array<double, 2> kCellsPerToleranceOfFew = {256, 64};
bool IsPlaced(const Point& point) {
    return std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]);
}

/// All nodes that have another one in a cell around them, and some that have none.
std::vector<int> MetInCells(std::span<const Point> points, std::span<const int> nodes,
                            const PointCells& cells) {
    // Keys of cells. Their upper bits, which no filter is large enough to use, say more of the point.
    constexpr std::uint64_t kIsPlaced = std::uint64_t{1} << 63U;
    constexpr std::uint64_t kIsAmid = std::uint64_t{1} << 62U;
    constexpr std::uint64_t kKey = kIsAmid - 1;
    ORQBasLargeVector<std::uint64_t> keys(nodes.size());
    std::ranges::transform(nodes, keys.begin(), [&](int node) {
        const Point& point = points[static_cast<std::size_t>(node)];
        const auto [key, isAmid] = cells.PlaceOf(point);
        return (key & kKey) | (IsPlaced(point) ? kIsPlaced : 0) | (isAmid ? kIsAmid : 0);
    });
    const RepeatFilter filter(keys);
    std::vector<int> met;
    filter.ForEach(keys, [&](std::size_t place, bool hasOther) {
        const std::uint64_t own = keys[place];
        if (!hasOther && (own & kIsAmid) == 0) {
            const Point& point = points[static_cast<std::size_t>(nodes[place])];
            cells.ForEachAround(point, [&](std::uint64_t key) {
                hasOther = hasOther || filter.Count(key) > ((key & kKey) == (own & kKey) ? 1U : 0U);
            });
        }
        if (hasOther && (own & kIsPlaced) != 0) {
            met.push_back(nodes[place]);
        }
    });
    return met;
}

}  // namespace

std::uint64_t PointCells::Hash(double x, double y, double z) {
    // Cells as their bits, added with odd factors: those of 2 to the power of 64 by the roots of 2, 3
    // and 5. The finalizer of SplitMix64 then spreads every bit.
    std::uint64_t hash = std::bit_cast<std::uint64_t>(x + 0.0) * 0x6A09E667F3BCC909U +
                         std::bit_cast<std::uint64_t>(y + 0.0) * 0xBB67AE8584CAA73BU +
                         std::bit_cast<std::uint64_t>(z + 0.0) * 0x3C6EF372FE94F82BU;
    hash = (hash ^ (hash >> 30U)) * 0xBF58476D1CE4E5B9U;
    hash = (hash ^ (hash >> 27U)) * 0x94D049BB133111EBU;
    return hash ^ (hash >> 31U);
}

std::uint64_t PointCells::KeyOf(const Point& at) const {
    return Hash(CellOf(at[0]), CellOf(at[1]), CellOf(at[2]));
}

PointCells::Place PointCells::PlaceOf(const Point& at) const {
    Point cells{};
    bool isAmid = true;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double place = at[axis] * m_perLength;
        cells[axis] = CellOf(at[axis]);
        isAmid &= std::abs(place) < kMostCellsOfPlaces;
        isAmid &= std::abs(place - cells[axis]) < 0.5 - m_nearSide;
    }
    return {Hash(cells[0], cells[1], cells[2]), isAmid};
}

std::vector<int> PossiblyCoincident(std::span<const Point> points, std::span<const int> nodes,
                                    double tolerance) {
    std::vector<int> candidates;
    for (const double cellsPerTolerance : kCellsPerToleranceOfFew) {
        candidates = MetInCells(points, nodes, PointCells(tolerance, cellsPerTolerance));
        nodes = candidates;
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
