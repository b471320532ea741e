#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>

#include "ORQExcPointRules.h"

namespace {

using Location = std::array<double, 3>;
using Locations = std::vector<Location>;
using Vector = std::vector<double>;
/// The functions of a fit, at a place.
using Basis = std::function<Vector(const Location&)>;

enum class PointFamily {
    Point,
    Line,
    Triangle,
    Quadrilateral,
    Tetrahedron,
    Pyramid,
    Wedge,
    Hexahedron
};

PointFamily FamilyOf(const ORQExcShape& shape) {
    switch (shape.dimension * 10 + shape.nCorners) {
        case 12:
            return PointFamily::Line;
        case 23:
            return PointFamily::Triangle;
        case 24:
            return PointFamily::Quadrilateral;
        case 34:
            return PointFamily::Tetrahedron;
        case 35:
            return PointFamily::Pyramid;
        case 36:
            return PointFamily::Wedge;
        case 38:
            return PointFamily::Hexahedron;
        default:
            return PointFamily::Point;
    }
}

/// Counts of the rules in use: Gauss products; the symmetric rules of triangles and tetrahedra; of
/// hexahedra also 9 (eight and the middle), 14 and 15 (Irons); products of rules in wedges.
std::vector<int> CountsOf(PointFamily family) {
    switch (family) {
        case PointFamily::Point:
            return {1};
        case PointFamily::Line:
            return {1, 2, 3, 4, 5};
        case PointFamily::Triangle:
            return {1, 3, 4, 6, 7, 12, 13};
        case PointFamily::Quadrilateral:
            return {1, 4, 5, 9, 16, 25};
        case PointFamily::Tetrahedron:
            return {1, 4, 5, 10, 11, 14, 15};
        case PointFamily::Pyramid:
            return {1, 5, 8, 9, 13, 27};
        case PointFamily::Wedge:
            return {1, 2, 6, 8, 9, 18, 21};
        case PointFamily::Hexahedron:
            return {1, 8, 9, 14, 15, 27, 64, 125};
    }
    return {};
}

// --- Locations --------------------------------------------------------------------------------------

/// Gauss-Legendre points on [-1, 1], ascending.
Vector LinePoints(int count) {
    switch (count) {
        case 1:
            return {0};
        case 2:
            return {-std::sqrt(1.0 / 3), std::sqrt(1.0 / 3)};
        case 3:
            return {-std::sqrt(0.6), 0, std::sqrt(0.6)};
        case 4: {
            const double inner = std::sqrt((3 - 2 * std::sqrt(1.2)) / 7);
            const double outer = std::sqrt((3 + 2 * std::sqrt(1.2)) / 7);
            return {-outer, -inner, inner, outer};
        }
        default: {
            const double inner = std::sqrt(5 - 2 * std::sqrt(10.0 / 7)) / 3;
            const double outer = std::sqrt(5 + 2 * std::sqrt(10.0 / 7)) / 3;
            return {-outer, -inner, 0, inner, outer};
        }
    }
}

Locations TrianglePoints(int count) {
    const double third = 1.0 / 3;
    switch (count) {
        case 1:
            return {{third, third, 0}};
        case 3:
            return {{1.0 / 6, 1.0 / 6, 0}, {2.0 / 3, 1.0 / 6, 0}, {1.0 / 6, 2.0 / 3, 0}};
        case 4:
            return {{third, third, 0}, {0.2, 0.2, 0}, {0.6, 0.2, 0}, {0.2, 0.6, 0}};
        default:
            return {};
    }
}

Locations TetrahedronPoints(int count) {
    const auto nearCorners = [](double near, double far) {
        return Locations{{far, far, far}, {near, far, far}, {far, near, far}, {far, far, near}};
    };
    switch (count) {
        case 1:
            return {{0.25, 0.25, 0.25}};
        case 4:
            return nearCorners((5 + 3 * std::sqrt(5.0)) / 20, (5 - std::sqrt(5.0)) / 20);
        case 5: {
            Locations places = nearCorners(0.5, 1.0 / 6);
            places.insert(places.begin(), {0.25, 0.25, 0.25});
            return places;
        }
        default:
            return {};
    }
}

/// The points along each direction of a product of lines; 0 for a count that is none.
int Root(int count, int dimension) {
    for (int root = 1; root <= 5; ++root) {
        if (static_cast<int>(std::lround(std::pow(root, dimension))) == count) {
            return root;
        }
    }
    return 0;
}

Locations ProductPoints(int root, int dimension) {
    Locations places;
    if (root == 0) {
        return places;
    }
    const Vector line = LinePoints(root);
    const Vector none = {0};
    for (const double t : dimension > 2 ? line : none) {
        for (const double s : dimension > 1 ? line : none) {
            for (const double r : line) {
                places.push_back({r, s, t});
            }
        }
    }
    return places;
}

/// How a wedge's points are a product: of the triangle, and along the axis. {0, 0} for no product
/// that is known.
std::array<int, 2> WedgeFactors(int count) {
    switch (count) {
        case 1:
            return {1, 1};
        case 2:
            return {1, 2};
        case 6:
            return {3, 2};
        case 8:
            return {4, 2};
        case 9:
            return {3, 3};
        default:
            return {0, 0};
    }
}

Locations WedgePoints(int count) {
    const auto [inTriangle, alongAxis] = WedgeFactors(count);
    Locations places;
    if (inTriangle == 0) {
        return places;
    }
    for (const double t : LinePoints(alongAxis)) {
        for (Location place : TrianglePoints(inTriangle)) {
            place[2] = t;
            places.push_back(place);
        }
    }
    return places;
}

Location MiddleOf(PointFamily family) {
    switch (family) {
        case PointFamily::Triangle:
        case PointFamily::Wedge:
            return {1.0 / 3, 1.0 / 3, 0};
        case PointFamily::Tetrahedron:
            return {0.25, 0.25, 0.25};
        case PointFamily::Pyramid:
            return {0, 0, 0.25};
        default:
            return {0, 0, 0};
    }
}

Locations Corners(PointFamily family) {
    switch (family) {
        case PointFamily::Line:
            return {{-1, 0, 0}, {1, 0, 0}};
        case PointFamily::Triangle:
            return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
        case PointFamily::Quadrilateral:
            return {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}};
        case PointFamily::Tetrahedron:
            return {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        case PointFamily::Pyramid:
            return {{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, {0, 0, 1}};
        case PointFamily::Wedge:
            return {{0, 0, -1}, {1, 0, -1}, {0, 1, -1}, {0, 0, 1}, {1, 0, 1}, {0, 1, 1}};
        case PointFamily::Hexahedron:
            return {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                    {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
        case PointFamily::Point:
            break;
    }
    return {{0, 0, 0}};
}

// --- Fits ----------------------------------------------------------------------------------------

Vector Powers(double x, int count) {
    Vector powers = {1};
    while (std::ssize(powers) < count) {
        powers.push_back(powers.back() * x);
    }
    return powers;
}

Vector Products(const Vector& a, const Vector& b) {
    Vector products;
    for (const double x : a) {
        for (const double y : b) {
            products.push_back(x * y);
        }
    }
    return products;
}

Vector Linear(const Location& at, int dimension, int count) {
    Vector values = {1};
    values.insert(values.end(), at.begin(), at.begin() + (count > 1 ? dimension : 0));
    return values;
}

Basis BasisOf(PointFamily family, int count) {
    switch (family) {
        case PointFamily::Line:
            return [count](const Location& at) { return Powers(at[0], count); };
        case PointFamily::Quadrilateral:
            return [root = Root(count, 2)](const Location& at) {
                return Products(Powers(at[0], root), Powers(at[1], root));
            };
        case PointFamily::Hexahedron:
            return [root = Root(count, 3)](const Location& at) {
                return Products(Products(Powers(at[0], root), Powers(at[1], root)),
                                Powers(at[2], root));
            };
        case PointFamily::Triangle:
            return [count](const Location& at) { return Linear(at, 2, count); };
        case PointFamily::Tetrahedron:
            return [count](const Location& at) { return Linear(at, 3, count); };
        case PointFamily::Wedge:
            return [factors = WedgeFactors(count)](const Location& at) {
                return Products(Linear(at, 2, factors[0]), Powers(at[2], factors[1]));
            };
        default:
            return [](const Location&) { return Vector{1}; };
    }
}

/// Solves matrix * x = right for each column of right ([n][nColumns]), in place. The matrix ([n][n])
/// is symmetric and positive definite: so elimination needs no pivots.
void Solve(Vector& matrix, Vector& right, std::size_t n, std::size_t nColumns) {
    for (std::size_t pivot = 0; pivot < n; ++pivot) {
        for (std::size_t row = 0; row < n; ++row) {
            const double factor =
                row == pivot ? 0 : matrix[row * n + pivot] / matrix[pivot * n + pivot];
            for (std::size_t k = 0; factor != 0 && k < n; ++k) {
                matrix[row * n + k] -= factor * matrix[pivot * n + k];
            }
            for (std::size_t k = 0; factor != 0 && k < nColumns; ++k) {
                right[row * nColumns + k] -= factor * right[pivot * nColumns + k];
            }
        }
    }
    for (std::size_t row = 0; row < n; ++row) {
        for (std::size_t k = 0; k < nColumns; ++k) {
            right[row * nColumns + k] /= matrix[row * n + row];
        }
    }
}

}  // namespace

bool ORQExcCanHavePoints(const ORQExcShape& shape, int nPoints) {
    const std::vector<int> counts = CountsOf(FamilyOf(shape));
    return std::ranges::count(counts, nPoints) != 0;
}

std::vector<std::array<double, 3>> ORQExcPointsOf(const ORQExcShape& shape, int nPoints) {
    const PointFamily family = FamilyOf(shape);
    switch (family) {
        case PointFamily::Line:
            return nPoints < 1 || nPoints > 5 ? Locations() : ProductPoints(nPoints, 1);
        case PointFamily::Quadrilateral:
            return ProductPoints(Root(nPoints, 2), 2);
        case PointFamily::Hexahedron:
            return ProductPoints(Root(nPoints, 3), 3);
        case PointFamily::Triangle:
            return TrianglePoints(nPoints);
        case PointFamily::Tetrahedron:
            return TetrahedronPoints(nPoints);
        case PointFamily::Wedge:
            return WedgePoints(nPoints);
        default:
            return nPoints == 1 ? Locations{MiddleOf(family)} : Locations();
    }
}

std::vector<std::array<double, 3>> ORQExcNodePlaces(const ORQExcShape& shape) {
    const PointFamily family = FamilyOf(shape);
    Locations places(static_cast<std::size_t>(shape.nNodes), MiddleOf(family));
    std::ranges::copy(Corners(family), places.begin());
    // Nodes behind the corners stand in the middle of an edge, of a face, or of the whole.
    const auto putMiddle = [&](const std::vector<int>& nodes, int nCorners) {
        Location middle{};
        for (int i = 0; i < nCorners; ++i) {
            const auto node = static_cast<std::size_t>(nodes[static_cast<std::size_t>(i)]);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                middle[axis] += places[node][axis] / nCorners;
            }
        }
        places[static_cast<std::size_t>(nodes.back())] = middle;
    };
    for (const ORQExcShape::Side& edge : shape.edges) {
        if (edge.nodes.size() == 3) {
            putMiddle(edge.nodes, 2);
        }
    }
    for (const ORQExcShape::Side& side : shape.sides) {
        if (!side.IsEdge() && std::ssize(side.nodes) == 2 * side.nCorners + 1) {
            putMiddle(side.nodes, side.nCorners);
        }
    }
    return places;
}

std::vector<float> ORQExcExtrapolation(const ORQExcShape& shape, int nPoints,
                                       const std::vector<std::array<double, 3>>& places) {
    const Locations points = ORQExcPointsOf(shape, nPoints);
    if (points.empty()) {
        return {};
    }
    // The fit's factors are (B^T B)^-1 B^T times the values, B having a row for each point.
    const Basis basis = BasisOf(FamilyOf(shape), nPoints);
    const std::size_t n = basis(points[0]).size();
    const std::size_t count = points.size();
    Vector normal(n * n);
    Vector factors(n * count);
    for (std::size_t point = 0; point < count; ++point) {
        const Vector row = basis(points[point]);
        for (std::size_t i = 0; i < n; ++i) {
            factors[i * count + point] = row[i];
            for (std::size_t k = 0; k < n; ++k) {
                normal[i * n + k] += row[i] * row[k];
            }
        }
    }
    Solve(normal, factors, n, count);
    std::vector<float> matrix;
    for (const Location& place : places) {
        const Vector row = basis(place);
        for (std::size_t point = 0; point < count; ++point) {
            double sum = 0;
            for (std::size_t i = 0; i < n; ++i) {
                sum += row[i] * factors[i * count + point];
            }
            matrix.push_back(static_cast<float>(sum));
        }
    }
    return matrix;
}

std::vector<float> ORQExcExtrapolationToNodes(const ORQExcShape& shape, int nPoints) {
    return ORQExcExtrapolation(shape, nPoints, ORQExcNodePlaces(shape));
}

std::vector<float> ORQExcExtrapolationToMiddle(const ORQExcShape& shape, int nPoints) {
    return ORQExcExtrapolation(shape, nPoints, {MiddleOf(FamilyOf(shape))});
}

std::vector<float> ORQExcNodesToMiddle(const ORQExcShape& shape) {
    std::vector<float> matrix(static_cast<std::size_t>(shape.nNodes), 0);
    // The middle of a pyramid lies a quarter up: the apex counts as much as one of four parts.
    const bool isPyramid = FamilyOf(shape) == PointFamily::Pyramid;
    for (int corner = 0; corner < shape.nCorners; ++corner) {
        matrix[static_cast<std::size_t>(corner)] =
            isPyramid ? (corner == 4 ? 0.25F : 0.1875F) : 1.0F / static_cast<float>(shape.nCorners);
    }
    return matrix;
}
