#pragma once

#include <span>

#include "ORQExcShapes.h"

namespace orq::exchange {

// Measures as ORQExcQualityMeasure::of, by the names of ORQExcQualityMeasures.
double EdgeRatio(const ORQExcShape& shape, std::span<const double> corners);
double AspectRatio(const ORQExcShape& shape, std::span<const double> corners);
double Skew(const ORQExcShape& shape, std::span<const double> corners);
double Taper(const ORQExcShape& shape, std::span<const double> corners);
double Warpage(const ORQExcShape& shape, std::span<const double> corners);
double MinimumAngle(const ORQExcShape& shape, std::span<const double> corners);
double MaximumAngle(const ORQExcShape& shape, std::span<const double> corners);

}  // namespace orq::exchange
