#include "HeatElement.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

namespace heat {
namespace {

using Eigen::Matrix3Xd;
using Eigen::Vector3d;
using Eigen::VectorXd;

struct WeightedPlace {
    Vector3d at;
    double weight;
};

using Shapes = std::function<IntegrationPoint(const Vector3d&)>;

Element Make(std::string_view name, const std::vector<WeightedPlace>& places,
             const Shapes& shapesAt) {
    const auto n = static_cast<Eigen::Index>(places.size());
    Element element{name, {}, {}};
    Eigen::MatrixXd nodesToPoints(n, n);
    for (const WeightedPlace& place : places) {
        IntegrationPoint point = shapesAt(place.at);
        point.weight = place.weight;
        nodesToPoints.row(static_cast<Eigen::Index>(element.points.size())) =
            point.shapes.transpose();
        element.points.push_back(std::move(point));
    }
    const Eigen::MatrixXd pointsToNodes = nodesToPoints.inverse();
    for (Eigen::Index node = 0; node < n; ++node) {
        for (Eigen::Index point = 0; point < n; ++point) {
            element.extrapolation.push_back(static_cast<float>(pointsToNodes(node, point)));
        }
    }
    return element;
}

// --- Hexahedron: each local coordinate from -1 to 1 ----------------------------------------------

constexpr std::array<std::array<int, 3>, 8> kCorners = {{{-1, -1, -1},
                                                         {1, -1, -1},
                                                         {1, 1, -1},
                                                         {-1, 1, -1},
                                                         {-1, -1, 1},
                                                         {1, -1, 1},
                                                         {1, 1, 1},
                                                         {-1, 1, 1}}};

IntegrationPoint HexahedronAt(const Vector3d& at) {
    IntegrationPoint point{0, VectorXd(8), Matrix3Xd(3, 8)};
    for (int node = 0; node < 8; ++node) {
        const auto& signs = kCorners[static_cast<std::size_t>(node)];
        const Vector3d corner(signs[0], signs[1], signs[2]);
        const Vector3d factors = 0.5 * (Vector3d::Ones() + corner.cwiseProduct(at));
        point.shapes[node] = factors.prod();
        point.localGradients.col(node) =
            0.5 * corner.cwiseProduct(Vector3d(factors[1] * factors[2], factors[0] * factors[2],
                                               factors[0] * factors[1]));
    }
    return point;
}

Element Hexahedron() {
    std::vector<WeightedPlace> places;
    for (const auto& corner : kCorners) {
        places.push_back({Vector3d(corner[0], corner[1], corner[2]) / std::sqrt(3.0), 1.0});
    }
    return Make("HEX8", places, HexahedronAt);
}

// --- Tetrahedron: local coordinates not negative, their sum at most 1 ----------------------------

IntegrationPoint TetrahedronAt(const Vector3d& at) {
    IntegrationPoint point{0, VectorXd(4), Matrix3Xd(3, 4)};
    point.shapes << 1.0 - at.sum(), at;
    point.localGradients << -Vector3d::Ones(), Eigen::Matrix3d::Identity();
    return point;
}

Element Tetrahedron() {
    const double near = (5.0 - std::sqrt(5.0)) / 20.0;
    std::vector<WeightedPlace> places(4, {Vector3d::Constant(near), 1.0 / 24.0});
    for (int i = 0; i < 3; ++i) {
        places[static_cast<std::size_t>(i) + 1].at[i] = 1.0 - 3.0 * near;
    }
    return Make("TET4", places, TetrahedronAt);
}

// --- Wedge: a triangle as the tetrahedron's, by a third coordinate from -1 to 1 ------------------

IntegrationPoint WedgeAt(const Vector3d& at) {
    IntegrationPoint point{0, VectorXd(6), Matrix3Xd(3, 6)};
    const Vector3d triangle(1.0 - at[0] - at[1], at[0], at[1]);
    Eigen::Matrix<double, 2, 3> slopes;
    slopes << -1, 1, 0, -1, 0, 1;
    for (Eigen::Index end = 0; end < 2; ++end) {
        const double sign = end == 0 ? -1.0 : 1.0;
        const double along = 0.5 * (1.0 + sign * at[2]);
        point.shapes.segment<3>(3 * end) = along * triangle;
        point.localGradients.block<2, 3>(0, 3 * end) = along * slopes;
        point.localGradients.block<1, 3>(2, 3 * end) = 0.5 * sign * triangle.transpose();
    }
    return point;
}

Element Wedge() {
    std::vector<WeightedPlace> places;
    for (const double along : {-1.0 / std::sqrt(3.0), 1.0 / std::sqrt(3.0)}) {
        places.push_back({{1.0 / 6.0, 1.0 / 6.0, along}, 1.0 / 6.0});
        places.push_back({{2.0 / 3.0, 1.0 / 6.0, along}, 1.0 / 6.0});
        places.push_back({{1.0 / 6.0, 2.0 / 3.0, along}, 1.0 / 6.0});
    }
    return Make("WEDGE6", places, WedgeAt);
}

}  // namespace

const Element* FindElement(std::string_view name) {
    static const std::array elements = {Hexahedron(), Tetrahedron(), Wedge()};
    const auto found = std::ranges::find(elements, name, &Element::name);
    return found == elements.end() ? nullptr : &*found;
}

}  // namespace heat
