#include "edit/CoincidentNodes.h"

#include <array>
#include <bit>
#include <cmath>
#include <utility>

#include "model/RepeatFilter.h"

namespace orq::exchange {
namespace {

// Wide enough that the surroundings of most points lie in one cell or two, and narrow enough that a
// cell has few points.
constexpr double kCellsPerTolerance = 4;
// Where few points are within the tolerance of another one, nearly all surroundings lie in one cell.
// What falls together in one division of space by chance alone is apart in another one.
constexpr std::array<double, 2> kCellsPerToleranceOfFew = {256, 64};
// Beyond this many cells from the origin coordinates are further apart than the tolerance, or
// equal.
constexpr double kMostCells = 1e15;
// Up to this many cells from the origin the place within a cell is known well.
constexpr double kMostCellsOfPlaces = 1e9;

/// Of numbers that an integer can hold. The processor does this in a few steps, the library calls a
/// function.
double Floor(double value) {
    const auto towardsZero = static_cast<double>(static_cast<std::int64_t>(value));
    return towardsZero > value ? towardsZero - 1 : towardsZero;
}

bool IsPlaced(const Point& point) {
    return std::isfinite(point[0]) && std::isfinite(point[1]) && std::isfinite(point[2]);
}

/// Calls use(node, key of its cell) for each node that has a place, in their order, when what the filter
/// has of the key was fetched.
template <class Use>
void ForEachKey(std::span<const Point> points, std::span<const int> nodes, const PointCells& cells,
                const RepeatFilter& filter, const Use& use) {
    // As many as a processor fetches meanwhile, and some more.
    constexpr std::size_t kAtOnce = 64;
    std::array<std::pair<int, std::uint64_t>, kAtOnce> keys;
    std::size_t count = 0;
    const auto useAll = [&] {
        for (std::size_t i = 0; i < count; ++i) {
            use(keys[i].first, keys[i].second);
        }
        count = 0;
    };
    for (const int node : nodes) {
        const Point& point = points[static_cast<std::size_t>(node)];
        if (IsPlaced(point)) {
            keys[count] = {node, cells.KeyOf(point)};
            filter.Fetch(keys[count].second);
            if (++count == kAtOnce) {
                useAll();
            }
        }
    }
    useAll();
}

/// Those of some nodes that have another one in a cell around them, and some that have none.
std::vector<int> MetInCells(std::span<const Point> points, std::span<const int> nodes,
                            const PointCells& cells) {
    RepeatFilter filter(nodes.size());
    ForEachKey(points, nodes, cells, filter, [&](int, std::uint64_t key) { filter.Add(key); });
    std::vector<int> met;
    ForEachKey(points, nodes, cells, filter, [&](int node, std::uint64_t own) {
        const Point& point = points[static_cast<std::size_t>(node)];
        bool hasOther = filter.Count(own) > 1;
        if (!hasOther && !cells.IsAmidCell(point)) {
            cells.ForEachAround(point, [&](std::uint64_t key) {
                hasOther = hasOther || filter.Count(key) > (key == own ? 1U : 0U);
            });
        }
        if (hasOther) {
            met.push_back(node);
        }
    });
    return met;
}

}  // namespace

double PointCells::CellOf(double coordinate) const {
    const double cells = coordinate * m_perLength;
    // Also without a tolerance, where the product is infinite or not a number. The sum makes 0 of -0.
    return std::abs(cells) < kMostCells ? Floor(cells) : coordinate + 0.0;
}

bool PointCells::IsAmidCell(const Point& at) const {
    bool isAmid = true;
    for (const double coordinate : at) {
        const double cells = coordinate * m_perLength;
        const bool isKnown = std::abs(cells) < kMostCellsOfPlaces;
        const double place = isKnown ? cells - Floor(cells) : 0;
        isAmid = isAmid && place > m_nearSide && place < 1 - m_nearSide;
    }
    return isAmid;
}

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
