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

/// A number of each of some elements, which one instruction adds, multiplies or compares. All is inlined,
/// also into functions for other machines.
template <class Register, std::size_t... kElements>
struct NumbersOf {
    static constexpr std::size_t kCount = sizeof...(kElements);

    Register values;

    /// One number of each element.
    [[gnu::always_inline]] static inline NumbersOf At(const double* const* elements,
                                                      std::size_t place) {
        return {Register{elements[kElements][place]...}};
    }
    [[gnu::always_inline]] static inline NumbersOf All(double value) {
        return {Register{} + value};
    }
    [[gnu::always_inline]] friend inline NumbersOf operator+(const NumbersOf& a,
                                                             const NumbersOf& b) {
        return {a.values + b.values};
    }
    [[gnu::always_inline]] friend inline NumbersOf operator-(const NumbersOf& a,
                                                             const NumbersOf& b) {
        return {a.values - b.values};
    }
    [[gnu::always_inline]] friend inline NumbersOf operator*(const NumbersOf& a,
                                                             const NumbersOf& b) {
        return {a.values * b.values};
    }
    [[gnu::always_inline]] friend inline NumbersOf operator/(const NumbersOf& a,
                                                             const NumbersOf& b) {
        return {a.values / b.values};
    }
    /// The other one where b is no number.
    [[gnu::always_inline]] friend inline NumbersOf Least(const NumbersOf& a, const NumbersOf& b) {
        return {b.values < a.values ? b.values : a.values};
    }
    [[gnu::always_inline]] friend inline NumbersOf Most(const NumbersOf& a, const NumbersOf& b) {
        return {b.values > a.values ? b.values : a.values};
    }
    [[gnu::always_inline]] friend inline NumbersOf Magnitude(const NumbersOf& a) {
        return {a.values > -a.values ? a.values : -a.values};
    }
};
using OfTwo = NumbersOf<double __attribute__((vector_size(16))), 0, 1>;
using OfFour = NumbersOf<double __attribute__((vector_size(32))), 0, 1, 2, 3>;

/// A vector of each of some elements. Its functions are found by their arguments, and leave those of
/// Point to the other sources of the folder.
template <class Numbers>
struct Vectors {
    Numbers x;
    Numbers y;
    Numbers z;

    [[gnu::always_inline]] friend inline Vectors operator+(const Vectors& a, const Vectors& b) {
        return {a.x + b.x, a.y + b.y, a.z + b.z};
    }
    [[gnu::always_inline]] friend inline Vectors operator-(const Vectors& a, const Vectors& b) {
        return {a.x - b.x, a.y - b.y, a.z - b.z};
    }
    [[gnu::always_inline]] friend inline Numbers Dot(const Vectors& a, const Vectors& b) {
        return a.x * b.x + a.y * b.y + a.z * b.z;
    }
    [[gnu::always_inline]] friend inline Vectors Cross(const Vectors& a, const Vectors& b) {
        return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
    }
};

template <class Numbers>
struct Hexahedra {
    Numbers shortest;  // square of the length
    Numbers longest;
    Numbers jacobian;  // its square, with its sign
};

/// The twelve edges by axis, four of each, so directed that at every corner of a right-handed
/// element the three that meet there have a positive determinant.
using Ends = std::array<std::size_t, 2>;
constexpr std::array<std::array<Ends, 4>, 3> kEdges = {{{{{0, 1}, {3, 2}, {4, 5}, {7, 6}}},
                                                        {{{0, 3}, {1, 2}, {4, 7}, {5, 6}}},
                                                        {{{0, 4}, {1, 5}, {2, 6}, {3, 7}}}}};
/// The edge along each axis at each corner.
constexpr std::array<std::array<std::size_t, 3>, 8> kCorners = {
    {{0, 0, 0}, {0, 1, 1}, {1, 1, 2}, {1, 0, 3}, {2, 2, 0}, {2, 3, 1}, {3, 3, 2}, {3, 2, 3}}};

/// x * |x| / lengths, of the determinant x of three edges.
template <class Numbers>
[[gnu::always_inline]] inline Numbers SignedSquare(const Vectors<Numbers>& x,
                                                   const Vectors<Numbers>& y,
                                                   const Vectors<Numbers>& z,
                                                   const Numbers& lengths) {
    const Numbers determinant = Dot(x, Cross(y, z));
    return determinant * Magnitude(determinant) / lengths;
}

/// The formula of ScaledJacobian without a root and a division for each edge. What is not finite
/// anywhere makes the sum of the squares, and so all results, no number. The loops are unrolled, so that
/// the places in them are constants: that takes a quarter of the time away.
template <class Numbers>
[[gnu::always_inline]] inline void MeasureHexahedra(const std::array<Vectors<Numbers>, 8>& at,
                                                    Hexahedra<Numbers>& measured) {
    std::array<std::array<Vectors<Numbers>, 4>, 3> edges;
    std::array<std::array<Numbers, 4>, 3> squares;
    Numbers sum = Numbers::All(0);
    Numbers shortest = Numbers::All(std::numeric_limits<double>::max());
    Numbers longest = Numbers::All(0);
#pragma GCC unroll 3
    for (std::size_t axis = 0; axis < 3; ++axis) {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < 4; ++k) {
            const auto [from, to] = kEdges[axis][k];
            edges[axis][k] = at[to] - at[from];
            const Numbers square = Dot(edges[axis][k], edges[axis][k]);
            squares[axis][k] = square;
            shortest = Least(shortest, square);
            longest = Most(longest, square);
            sum = sum + square;
        }
    }
    std::array<Vectors<Numbers>, 3> middle;
#pragma GCC unroll 3
    for (std::size_t axis = 0; axis < 3; ++axis) {
        middle[axis] = (edges[axis][0] + edges[axis][1]) + (edges[axis][2] + edges[axis][3]);
    }
    const auto& [x, y, z] = middle;
    const Numbers lengths = Dot(x, x) * Dot(y, y) * Dot(z, z);
    Numbers jacobian = SignedSquare(x, y, z, lengths);
    // A sum, unlike the least, does not lose what is no number: an edge without length.
    Numbers all = jacobian;
#pragma GCC unroll 8
    for (const auto& [i, j, k] : kCorners) {
        const Numbers ofCorner = squares[0][i] * squares[1][j] * squares[2][k];
        const Numbers one = SignedSquare(edges[0][i], edges[1][j], edges[2][k], ofCorner);
        jacobian = Least(jacobian, one);
        all = all + one;
    }
    const Numbers known = sum - sum;  // 0, or no number
    measured = {shortest + known, longest + known, jacobian + (all - all)};
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

/// Measures hexahedra that follow each other, some at a time. At the end the last one fills up.
template <class Numbers>
[[gnu::always_inline]] inline void MeasureAll(std::span<const double> points, std::size_t nEach,
                                              ElementMeasures& measures) {
    const std::size_t count = measures.roughJacobians.size();
    for (std::size_t first = 0; first < count; first += Numbers::kCount) {
        std::array<const double*, Numbers::kCount> elements;
        for (std::size_t k = 0; k < Numbers::kCount; ++k) {
            elements[k] = points.data() + std::min(first + k, count - 1) * nEach;
        }
        std::array<Vectors<Numbers>, 8> at;
#pragma GCC unroll 8
        for (std::size_t i = 0; i < 8; ++i) {
            at[i] = {Numbers::At(elements.data(), 3 * i), Numbers::At(elements.data(), 3 * i + 1),
                     Numbers::At(elements.data(), 3 * i + 2)};
        }
        Hexahedra<Numbers> some;
        MeasureHexahedra(at, some);
        for (std::size_t k = 0; k < std::min(Numbers::kCount, count - first); ++k) {
            measures.shortestEdges[first + k] = std::sqrt(some.shortest.values[k]);
            measures.longestEdges[first + k] = std::sqrt(some.longest.values[k]);
            measures.roughJacobians[first + k] = SignedRoot(some.jacobian.values[k]);
        }
    }
}

void MeasureByTwo(std::span<const double> points, std::size_t nEach, ElementMeasures& measures) {
    MeasureAll<OfTwo>(points, nEach, measures);
}

// The same operations in the instructions of machines that have registers of twice the size.
#if defined(__x86_64__)
[[gnu::target("avx")]] void MeasureByFour(std::span<const double> points, std::size_t nEach,
                                          ElementMeasures& measures) {
    MeasureAll<OfFour>(points, nEach, measures);
}
bool HasWideRegisters() {
    return __builtin_cpu_supports("avx");
}
#else
constexpr auto MeasureByFour = MeasureByTwo;
constexpr bool HasWideRegisters() {
    return false;
}
#endif

}  // namespace

void ElementMeasures::Measure(const ORQExcShape& shape, std::span<const double> points) {
    const auto nEach = static_cast<std::size_t>(shape.nNodes) * 3;
    const std::size_t count = points.size() / nEach;
    shortestEdges.resize(count);
    longestEdges.resize(count);
    roughJacobians.resize(count);
    if (shape.dimension == 3 && shape.nCorners == 8) {
        const auto measure = HasWideRegisters() ? MeasureByFour : MeasureByTwo;
        measure(points, nEach, *this);
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
