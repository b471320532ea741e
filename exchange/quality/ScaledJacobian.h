#pragma once

#include <span>

#include "ORQExcShapes.h"

namespace orq::exchange {

/// As ORQExcQualityMeasure::of.
double ScaledJacobian(const ORQExcShape& shape, std::span<const double> corners);

}  // namespace orq::exchange
