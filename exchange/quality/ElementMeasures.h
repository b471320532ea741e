#pragma once

#include <span>
#include <vector>

#include "ORQExcShapes.h"

namespace orq::exchange {

/// What tells sound elements from others, of many of one shape at once: as ORQExcCheckedElements
/// has it. Hexahedra are measured two or four at a time.
struct ElementMeasures {
    std::vector<double> shortestEdges;
    std::vector<double> longestEdges;
    std::vector<double> roughJacobians;

    /// `points` holds [elements][nodes of the shape][3].
    void Measure(const ORQExcShape& shape, std::span<const double> points);
};

}  // namespace orq::exchange
