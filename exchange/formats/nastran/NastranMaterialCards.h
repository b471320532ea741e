#pragma once

#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranText.h"

namespace orq::exchange {

/// Writes the cards of materials, with the tables of what depends on temperature. Answers the
/// number of each material; one without a card has a number too, by which sections name it.
std::vector<int> WriteMaterialCards(const std::vector<ORQExcLayup::Material>& materials,
                                    NastranText& text, ORQExcReport& report);

}  // namespace orq::exchange
