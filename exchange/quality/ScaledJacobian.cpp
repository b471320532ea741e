#include "quality/ScaledJacobian.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

#include "ORQExcPoint.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

using CornerPoints = std::span<const Point>;

const double kOfTriangle = 2 / std::sqrt(3.0);  // by the sine of 60 degrees

double Determinant(const Point& a, const Point& b, const Point& c) {
    return Dot(a, Cross(b, c));
}

/// 0 for what has no extent.
double ShareOrZero(double part, double whole) {
    return whole > 0 ? part / whole : 0;
}

double OfTriangle(CornerPoints at) {
    const Point a = at[1] - at[0];
    const Point b = at[2] - at[1];
    const Point c = at[0] - at[2];
    const double longest =
        std::max({Length(a) * Length(b), Length(b) * Length(c), Length(c) * Length(a)});
    return kOfTriangle * ShareOrZero(Length(Cross(a, b)), longest);
}

/// Signed by the direction in which the whole quadrilateral faces.
double OfQuadrilateral(CornerPoints at) {
    const Point normal =
        Normalized(Cross((at[1] - at[0]) + (at[2] - at[3]), (at[2] - at[1]) + (at[3] - at[0])));
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < 4; ++i) {
        const Point to = at[(i + 1) % 4] - at[i];
        const Point from = at[i] - at[(i + 3) % 4];
        least =
            std::min(least, ShareOrZero(Dot(normal, Cross(from, to)), Length(from) * Length(to)));
    }
    return least;
}

/// All corners have the same determinant; the one with the longest edges has the least share.
double OfTetrahedron(CornerPoints at) {
    static constexpr std::array<std::array<std::size_t, 3>, 4> kOthers = {
        {{1, 2, 3}, {0, 2, 3}, {0, 1, 3}, {0, 1, 2}}};
    const double determinant = Determinant(at[1] - at[0], at[2] - at[0], at[3] - at[0]);
    double most = std::abs(determinant);
    for (std::size_t i = 0; i < 4; ++i) {
        const auto [a, b, c] = kOthers[i];
        most =
            std::max(most, Length(at[a] - at[i]) * Length(at[b] - at[i]) * Length(at[c] - at[i]));
    }
    return std::sqrt(2.0) * ShareOrZero(determinant, most);
}

double OfPyramid(CornerPoints at) {
    static constexpr std::array<std::array<std::size_t, 3>, 4> kBases = {
        {{0, 1, 2}, {0, 2, 3}, {0, 1, 3}, {1, 2, 3}}};
    double least = std::numeric_limits<double>::infinity();
    for (const auto& [a, b, c] : kBases) {
        least = std::min(least, OfTetrahedron(std::array{at[a], at[b], at[c], at[4]}));
    }
    // The tetrahedra of a regular pyramid have the half of the root of 2. Those of a slender one
    // have more, which falls short of the ideal as well.
    const double scaled = std::sqrt(2.0) * least;
    return scaled < 1 ? scaled : 2 - scaled;
}

double Skewness(const Point& a, const Point& b, const Point& c) {
    return ShareOrZero(Determinant(a, b, c), Length(a) * Length(b) * Length(c));
}

/// The corners' neighbours, so that a right-handed element has positive determinants.
using Neighbours = std::array<std::size_t, 3>;

double LeastOfCorners(CornerPoints at, std::span<const Neighbours> neighbours) {
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i < neighbours.size(); ++i) {
        const auto [a, b, c] = neighbours[i];
        least = std::min(least, Skewness(at[a] - at[i], at[b] - at[i], at[c] - at[i]));
    }
    return least;
}

double OfWedge(CornerPoints at) {
    static constexpr std::array<Neighbours, 6> kNeighbours = {
        {{1, 2, 3}, {2, 0, 4}, {0, 1, 5}, {5, 4, 0}, {3, 5, 1}, {4, 3, 2}}};
    return kOfTriangle * LeastOfCorners(at, kNeighbours);
}

/// The least value at the corners and in the middle, where the edges are the sums of the four that
/// run alike.
double OfHexahedron(CornerPoints at) {
    static constexpr std::array<Neighbours, 8> kNeighbours = {
        {{1, 3, 4}, {2, 0, 5}, {3, 1, 6}, {0, 2, 7}, {7, 5, 0}, {4, 6, 1}, {5, 7, 2}, {6, 4, 3}}};
    const auto sum = [&](const std::array<std::size_t, 4>& from,
                         const std::array<std::size_t, 4>& to) {
        Point along{};
        for (std::size_t i = 0; i < 4; ++i) {
            along = along + (at[to[i]] - at[from[i]]);
        }
        return along;
    };
    const double middle = Skewness(sum({0, 3, 4, 7}, {1, 2, 5, 6}), sum({0, 1, 4, 5}, {3, 2, 7, 6}),
                                   sum({0, 1, 2, 3}, {4, 5, 6, 7}));
    return std::min(middle, LeastOfCorners(at, kNeighbours));
}

}  // namespace

double ScaledJacobian(const ORQExcShape& shape, std::span<const double> corners) {
    std::array<Point, 8> points{};
    const auto nCorners = static_cast<std::size_t>(shape.nCorners);
    for (std::size_t i = 0; i < 3 * nCorners; ++i) {
        if (!std::isfinite(corners[i])) {
            return kNoValue;
        }
        points[i / 3][i % 3] = corners[i];
    }
    const CornerPoints at = std::span(points).first(nCorners);
    if (shape.dimension == 2) {
        return nCorners == 3 ? OfTriangle(at) : OfQuadrilateral(at);
    }
    switch (shape.dimension == 3 ? nCorners : 0) {
        case 4:
            return OfTetrahedron(at);
        case 5:
            return OfPyramid(at);
        case 6:
            return OfWedge(at);
        case 8:
            return OfHexahedron(at);
        default:
            return kNoValue;
    }
}

}  // namespace orq::exchange
