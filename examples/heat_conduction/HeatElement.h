#pragma once

#include <Eigen/Dense>
#include <string_view>
#include <vector>

namespace heat {

/// A point of an element at which integrals are summed up.
struct IntegrationPoint {
    double weight;
    Eigen::VectorXd shapes;           ///< of each node
    Eigen::Matrix3Xd localGradients;  ///< of each node's shape, in the element's own coordinates
};

/// A shape of solid elements with as many integration points as nodes.
struct Element {
    std::string_view name;  ///< as blocks of a model database spell it
    std::vector<IntegrationPoint> points;
    /// [nodes][points]: carries values at the points to the nodes, exactly for a field that the
    /// shapes can represent.
    std::vector<float> extrapolation;

    int NumNodes() const { return static_cast<int>(points.size()); }
};

/// HEX8, TET4 or WEDGE6; null for another name. Lives as long as the process.
const Element* FindElement(std::string_view name);

}  // namespace heat
