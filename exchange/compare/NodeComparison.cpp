#include <algorithm>
#include <array>
#include <cmath>
#include <span>

#include "compare/ComparedModels.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

std::vector<double> CoordinatesOf(const ORQExcModel& model, std::span<const int> nodes) {
    std::vector<double> values(nodes.size() * static_cast<std::size_t>(model.Dimension()));
    model.ReadCoordinates(OrdinalSet(ORQSimCollection(model.Nodes().CollectionID()), nodes),
                          values);
    return values;
}

using Point = std::array<double, 3>;

/// The position of a node; in a plane model the third coordinate is 0.
Point PointAt(const std::vector<double>& values, int dimension, std::size_t place) {
    Point point{};
    std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(place) * dimension, dimension,
                point.begin());
    return point;
}

/// Whether positions are equal; NaN equals NaN.
bool AreSame(const Point& a, const Point& b) {
    return std::ranges::equal(
        a, b, [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); });
}

double Norm(const Point& point) {
    return std::hypot(point[0], point[1], point[2]);
}

void CompareSome(ComparedModels& models, const Matching::Pairs& pairs,
                 std::vector<ORQExcDifference::Member>& moved) {
    const std::vector<double> from = CoordinatesOf(models.before, pairs.before);
    const std::vector<double> to = CoordinatesOf(models.after, pairs.after);
    // Most nodes stay where they are, and equal chunks need no look at each node.
    if (from == to) {
        return;
    }
    for (std::size_t i = 0; i < pairs.before.size(); ++i) {
        const Point a = PointAt(from, models.before.Dimension(), i);
        const Point b = PointAt(to, models.after.Dimension(), i);
        const double distance = std::hypot(b[0] - a[0], b[1] - a[1], b[2] - a[2]);
        if (!AreSame(a, b) && !models.differences.IsNoDistance(distance, Norm(a), Norm(b))) {
            moved.push_back(models.nodes.Before(pairs.before[i]));
            moved.back().amount = distance;
        }
    }
}

}  // namespace

void CompareNodes(ComparedModels& models) {
    models.AddUnmatched(DifferenceKind::Node, models.nodes);
    if (models.before.Dimension() == 0 || models.after.Dimension() == 0) {
        return;
    }
    std::vector<ORQExcDifference::Member> moved;
    const int nNodes = models.before.NumNodes();
    for (int begin = 0; begin < nNodes; begin += ComparedModels::kChunk) {
        const int end = std::min(nNodes, begin + ComparedModels::kChunk);
        CompareSome(models, models.nodes.PairsOf(begin, end), moved);
    }
    models.differences.AddMembers(DifferenceKind::Node, ORQExcDifference::Change::Changed, {},
                                  "position", std::move(moved));
}

}  // namespace orq::exchange
