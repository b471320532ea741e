#include <algorithm>
#include <array>
#include <limits>

#include "ORQExcQuality.h"
#include "quality/ScaledJacobian.h"
#include "quality/ShapeMeasures.h"

namespace {

using namespace orq::exchange;

constexpr double kOfShape = std::numeric_limits<double>::quiet_NaN();

constexpr std::array kMeasures = {ORQExcQualityMeasure{"scaled Jacobian", 1, ScaledJacobian},
                                  ORQExcQualityMeasure{"edge ratio", 1, EdgeRatio},
                                  ORQExcQualityMeasure{"aspect ratio", 1, AspectRatio},
                                  ORQExcQualityMeasure{"skew", 0, Skew},
                                  ORQExcQualityMeasure{"taper", 0, Taper},
                                  ORQExcQualityMeasure{"warpage", 1, Warpage},
                                  ORQExcQualityMeasure{"minimum angle", kOfShape, MinimumAngle},
                                  ORQExcQualityMeasure{"maximum angle", kOfShape, MaximumAngle}};

}  // namespace

std::span<const ORQExcQualityMeasure> ORQExcQualityMeasures() {
    return kMeasures;
}

const ORQExcQualityMeasure* ORQExcFindQualityMeasure(std::string_view name) {
    const auto found = std::ranges::find(kMeasures, name, &ORQExcQualityMeasure::name);
    return found == kMeasures.end() ? nullptr : &*found;
}
