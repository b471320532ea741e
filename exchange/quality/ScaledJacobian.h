#pragma once

#include <span>

#include "ORQExcShapes.h"

namespace orq::exchange {

/// The measure as ORQExcQualityMeasure::of gives it.
double ScaledJacobian(const ORQExcShape& shape, std::span<const double> corners);

}  // namespace orq::exchange
