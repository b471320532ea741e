#pragma once

#include <limits>

namespace orq::exchange {

/// What stands where a file or a model has no number.
inline constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

}  // namespace orq::exchange
