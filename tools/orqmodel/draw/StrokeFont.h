#pragma once

#include <vector>

#include "draw/Spot.h"

namespace orqmodel {

/// The width of any letter as a part of the size of its text.
constexpr double kLetterWidth = 0.6;

/// The lines of a letter, with its origin on the baseline at the left and y upwards, for a text of
/// size 1. A line of one spot is a dot. Letters outside printable ASCII are an empty box.
const std::vector<std::vector<Spot>>& LetterLines(char32_t letter);

}  // namespace orqmodel
