#include <algorithm>
#include <array>

#include "ORQExcQuality.h"
#include "quality/ScaledJacobian.h"

namespace {

constexpr std::array kMeasures = {
    ORQExcQualityMeasure{"scaled Jacobian", 1, orq::exchange::ScaledJacobian}};

}  // namespace

std::span<const ORQExcQualityMeasure> ORQExcQualityMeasures() {
    return kMeasures;
}

const ORQExcQualityMeasure* ORQExcFindQualityMeasure(std::string_view name) {
    const auto found = std::ranges::find(kMeasures, name, &ORQExcQualityMeasure::name);
    return found == kMeasures.end() ? nullptr : &*found;
}
