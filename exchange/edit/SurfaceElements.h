#pragma once

#include <vector>

#include "ORQExcModel.h"

namespace orq::exchange {

/// The given elements of which no surface has a face.
std::vector<int> OfNoSurface(const ORQExcModel& model, std::vector<int> elements);

}  // namespace orq::exchange
