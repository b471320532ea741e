#include "quality/ShapeMeasures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "model/NoValue.h"
#include "quality/Corners.h"

namespace orq::exchange {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kDegree = 3.14159265358979323846 / 180;

/// Infinite for what has no extent.
double ShareOrInfinity(double part, double whole) {
    return whole > 0 ? part / whole : kInfinity;
}

/// The angle between two directions in degrees, 0 where one has no length.
double AngleBetween(const Point& a, const Point& b) {
    const double lengths = Length(a) * Length(b);
    return lengths > 0 ? std::acos(std::clamp(Dot(a, b) / lengths, -1.0, 1.0)) / kDegree : 0;
}

std::vector<double> EdgeLengths(const Corners& at) {
    std::vector<double> lengths;
    for (const ORQExcShape::Side& edge : at.Shape().edges) {
        lengths.push_back(Length(at[static_cast<std::size_t>(edge.nodes[1])] -
                                 at[static_cast<std::size_t>(edge.nodes[0])]));
    }
    return lengths;
}

double Sum(const std::vector<double>& values) {
    double sum = 0;
    for (const double value : values) {
        sum += value;
    }
    return sum;
}

/// The sums of the edges that run alike: two axes of a quadrilateral, three of a hexahedron.
std::vector<Point> Axes(const Corners& at) {
    if (at.Is(2, 4)) {
        return {(at[1] - at[0]) + (at[2] - at[3]), (at[2] - at[1]) + (at[3] - at[0])};
    }
    if (at.Is(3, 8)) {
        return {(at[1] - at[0]) + (at[2] - at[3]) + (at[5] - at[4]) + (at[6] - at[7]),
                (at[3] - at[0]) + (at[2] - at[1]) + (at[7] - at[4]) + (at[6] - at[5]),
                (at[4] - at[0]) + (at[5] - at[1]) + (at[6] - at[2]) + (at[7] - at[3])};
    }
    return {};
}

/// How each axis changes along another one: (0, 1), then (0, 2) and (1, 2).
std::vector<Point> AxisChanges(const Corners& at) {
    if (at.Is(2, 4)) {
        return {(at[0] + at[2]) - (at[1] + at[3])};
    }
    return {(at[0] + at[2] + at[4] + at[6]) - (at[1] + at[3] + at[5] + at[7]),
            (at[0] + at[3] + at[5] + at[6]) - (at[1] + at[2] + at[4] + at[7]),
            (at[0] + at[1] + at[6] + at[7]) - (at[2] + at[3] + at[4] + at[5])};
}

/// The pairs of axes, in the order of AxisChanges; those that an element has.
constexpr std::array<std::pair<std::size_t, std::size_t>, 3> kAxisPairs = {
    {{0, 1}, {0, 2}, {1, 2}}};

double OfTriangle(const Corners& at, double longest, double perimeter) {
    return std::sqrt(3.0) / 6 *
           ShareOrInfinity(longest * perimeter, Length(Cross(at[1] - at[0], at[2] - at[1])));
}

double OfQuadrilateral(const Corners& at, double longest, double perimeter) {
    return 0.5 *
           ShareOrInfinity(longest * perimeter, Length(Cross(at[1] - at[0], at[2] - at[1])) +
                                                    Length(Cross(at[3] - at[2], at[0] - at[3])));
}

double OfTetrahedron(const Corners& at, double longest) {
    const Point b = at[1] - at[0];
    const Point c = at[2] - at[0];
    const Point d = at[3] - at[0];
    const double faces = Length(Cross(b, c)) + Length(Cross(b, d)) + Length(Cross(c, d)) +
                         Length(Cross(at[2] - at[1], at[3] - at[1]));
    return std::sqrt(6.0) / 12 * ShareOrInfinity(longest * faces, std::abs(Dot(b, Cross(c, d))));
}

/// The angles at the corners of a triangle or quadrilateral, in degrees.
std::vector<double> CornerAngles(const Corners& at) {
    const std::size_t count = at.Points().size();
    std::vector<double> angles;
    for (std::size_t i = 0; i < count; ++i) {
        angles.push_back(
            AngleBetween(at[(i + 1) % count] - at[i], at[(i + count - 1) % count] - at[i]));
    }
    return angles;
}

/// Unit normals at the corners of a quadrilateral; none where an edge has no length.
std::vector<Point> CornerNormals(const Corners& at) {
    std::vector<Point> normals;
    for (std::size_t i = 0; i < 4; ++i) {
        const Point normal = Cross(at[i] - at[(i + 3) % 4], at[(i + 1) % 4] - at[i]);
        if (!(Length(normal) > 0)) {
            return {};
        }
        normals.push_back(Normalized(normal));
    }
    return normals;
}

bool IsConcave(const Corners& at) {
    const std::vector<Point> axes = Axes(at);
    const Point middle = Cross(axes[0], axes[1]);
    for (std::size_t i = 0; i < 4; ++i) {
        if (Dot(middle, Cross(at[i] - at[(i + 3) % 4], at[(i + 1) % 4] - at[i])) < 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

double EdgeRatio(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    if (!at) {
        return kNoValue;
    }
    const auto [shortest, longest] = std::ranges::minmax(EdgeLengths(*at));
    return ShareOrInfinity(longest, shortest);
}

double AspectRatio(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    if (!at) {
        return kNoValue;
    }
    const std::vector<double> lengths = EdgeLengths(*at);
    const double longest = std::ranges::max(lengths);
    return at->Is(2, 3)   ? OfTriangle(*at, longest, Sum(lengths))
           : at->Is(2, 4) ? OfQuadrilateral(*at, longest, Sum(lengths))
           : at->Is(3, 4) ? OfTetrahedron(*at, longest)
                          : kNoValue;
}

double Skew(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    const std::vector<Point> axes = at ? Axes(*at) : std::vector<Point>();
    double most = axes.empty() ? kNoValue : 0;
    for (const auto& [a, b] : kAxisPairs) {
        if (b < axes.size()) {
            most = std::max(most, std::abs(Dot(Normalized(axes[a]), Normalized(axes[b]))));
        }
    }
    return most;
}

double Taper(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    const std::vector<Point> axes = at ? Axes(*at) : std::vector<Point>();
    if (axes.empty()) {
        return kNoValue;
    }
    const std::vector<Point> changes = AxisChanges(*at);
    double most = 0;
    for (std::size_t i = 0; i < changes.size(); ++i) {
        const auto [a, b] = kAxisPairs[i];
        most = std::max(
            most, ShareOrInfinity(Length(changes[i]), std::min(Length(axes[a]), Length(axes[b]))));
    }
    return most;
}

double Warpage(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    if (!at || !at->Is(2, 4)) {
        return kNoValue;
    }
    const std::vector<Point> normals = CornerNormals(*at);
    return normals.empty()
               ? 0
               : std::pow(std::min(Dot(normals[0], normals[2]), Dot(normals[1], normals[3])), 3);
}

double MinimumAngle(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    return at && shape.dimension == 2 ? std::ranges::min(CornerAngles(*at)) : kNoValue;
}

double MaximumAngle(const ORQExcShape& shape, std::span<const double> corners) {
    const auto at = Corners::Of(shape, corners);
    if (!at || shape.dimension == 3) {
        return kNoValue;
    }
    const double largest = std::ranges::max(CornerAngles(*at));
    return shape.nCorners == 4 && IsConcave(*at) ? 360 - largest : largest;
}

}  // namespace orq::exchange
