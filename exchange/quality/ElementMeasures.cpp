#include "quality/ElementMeasures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "ORQExcPoint.h"
#include "model/NoValue.h"
#include "quality/ScaledJacobian.h"

namespace orq::exchange {
namespace {

/// A number of each of two elements, which one instruction adds, multiplies or compares.
using Pair = double __attribute__((vector_size(16)));

/// A vector of each of two elements. Its functions are found by their arguments, and leave those of
/// Point to the other sources of the folder.
struct TwoVectors {
    Pair x;
    Pair y;
    Pair z;

    friend TwoVectors operator+(const TwoVectors& a, const TwoVectors& b) {
        return {a.x + b.x, a.y + b.y, a.z + b.z};
    }
    friend TwoVectors operator-(const TwoVectors& a, const TwoVectors& b) {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    friend Pair Dot(const TwoVectors& a, const TwoVectors& b) {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    }
    friend TwoVectors Cross(const TwoVectors& a, const TwoVectors& b) {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
};

/// The other one where b is no number.
inline Pair Least(const Pair& a, const Pair& b) {
    return b < a ? b : a;
}

inline Pair Most(const Pair& a, const Pair& b) {
    return b > a ? b : a;
}

struct Hexahedra {
    Pair shortest;  // square of the length
    Pair longest;
    Pair jacobian;  // its square, with its sign
};

/// The twelve edges by axis, four of each, so directed that at every corner of a right-handed
/// element the three that meet there have a positive determinant.
using Ends = std::array<std::size_t, 2>;
constexpr std::array<std::array<Ends, 4>, 3> kEdges = {{{{{0, 1}, {3, 2}, {4, 5}, {7, 6}}},
                                                        {{{0, 3}, {1, 2}, {4, 7}, {5, 6}}},
                                                        {{{0, 4}, {1, 5}, {2, 6}, {3, 7}}}}};
/// Of each corner its edge of each axis.
constexpr std::array<std::array<std::size_t, 3>, 8> kCorners = {
    {{0, 0, 0}, {0, 1, 1}, {1, 1, 2}, {1, 0, 3}, {2, 2, 0}, {2, 3, 1}, {3, 3, 2}, {3, 2, 3}}};

/// The formula of ScaledJacobian without a root and a division for each edge. What is not finite
/// anywhere makes the sum of the squares, and so all results, no number. The loops are unrolled, so that
/// the places in them are constants: that takes a quarter of the time away.
Hexahedra MeasureTwo(const double* a, const double* b) {
    std::array<TwoVectors, 8> at;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i) {
        at[i] = {Pair{a[3 * i], b[3 * i]}, Pair{a[3 * i + 1], b[3 * i + 1]},
                 Pair{a[3 * i + 2], b[3 * i + 2]}};
    }
    std::array<std::array<TwoVectors, 4>, 3> edges;
    std::array<std::array<Pair, 4>, 3> squares;
    Pair shortest = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    Pair longest = {0, 0};
    Pair sum = {0, 0};
#pragma GCC unroll 3
    for (std::size_t axis = 0; axis < 3; ++axis) {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < 4; ++k) {
            const auto [from, to] = kEdges[axis][k];
            edges[axis][k] = at[to] - at[from];
            const Pair square = Dot(edges[axis][k], edges[axis][k]);
            squares[axis][k] = square;
            shortest = Least(shortest, square);
            longest = Most(longest, square);
            sum += square;
        }
    }
    const auto signedSquare = [](const TwoVectors& x, const TwoVectors& y, const TwoVectors& z,
                                 const Pair& lengths) {
        const Pair determinant = Dot(x, Cross(y, z));
        return determinant * Most(determinant, -determinant) / lengths;
    };
    const auto middle = [&](std::size_t axis) {
        return (edges[axis][0] + edges[axis][1]) + (edges[axis][2] + edges[axis][3]);
    };
    const TwoVectors x = middle(0);
    const TwoVectors y = middle(1);
    const TwoVectors z = middle(2);
    Pair jacobian = signedSquare(x, y, z, Dot(x, x) * Dot(y, y) * Dot(z, z));
    // A sum, unlike the least, does not lose what is no number: an edge without length.
    Pair all = jacobian;
#pragma GCC unroll 8
    for (const auto& [i, j, k] : kCorners) {
        const Pair one = signedSquare(edges[0][i], edges[1][j], edges[2][k],
                                      squares[0][i] * squares[1][j] * squares[2][k]);
        jacobian = Least(jacobian, one);
        all += one;
    }
    const Pair known = sum - sum;  // 0, or no number
    return {shortest + known, longest + known, jacobian + (all - all)};
}

double SignedRoot(double square) {
    return square < 0 ? -std::sqrt(-square) : std::sqrt(square);
}

struct Extremes {
    double shortest;
    double longest;
};

Extremes EdgesOf(const ORQExcShape& shape, const double* points) {
    Extremes edges{std::numeric_limits<double>::infinity(), 0};
    for (const ORQExcShape::Side& edge : shape.edges) {
        double square = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double along = points[3 * static_cast<std::size_t>(edge.nodes[1]) + c] -
                                 points[3 * static_cast<std::size_t>(edge.nodes[0]) + c];
            square += along * along;
        }
        if (!std::isfinite(square)) {
            return {kNoValue, kNoValue};
        }
        edges.shortest = std::min(edges.shortest, square);
        edges.longest = std::max(edges.longest, square);
    }
    return {std::sqrt(edges.shortest), std::sqrt(edges.longest)};
}

}  // namespace

void ElementMeasures::Measure(const ORQExcShape& shape, std::span<const double> points) {
    const auto nEach = static_cast<std::size_t>(shape.nNodes) * 3;
    const std::size_t count = points.size() / nEach;
    shortestEdges.resize(count);
    longestEdges.resize(count);
    roughJacobians.resize(count);
    if (shape.dimension == 3 && shape.nCorners == 8) {
        for (std::size_t i = 0; i < count; i += 2) {
            const std::size_t last = std::min(i + 1, count - 1);  // the first again at the end
            const Hexahedra two =
                MeasureTwo(points.data() + i * nEach, points.data() + last * nEach);
            for (std::size_t k = 0; k < 2; ++k) {
                const std::size_t element = k == 0 ? i : last;
                shortestEdges[element] = std::sqrt(two.shortest[k]);
                longestEdges[element] = std::sqrt(two.longest[k]);
                roughJacobians[element] = SignedRoot(two.jacobian[k]);
            }
        }
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const Extremes edges = EdgesOf(shape, points.data() + i * nEach);
        shortestEdges[i] = edges.shortest;
        longestEdges[i] = edges.longest;
        roughJacobians[i] = ScaledJacobian(
            shape, points.subspan(i * nEach, static_cast<std::size_t>(shape.nCorners) * 3));
    }
}

}  // namespace orq::exchange
