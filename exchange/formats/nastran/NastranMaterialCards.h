#pragma once

#include <functional>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcReport.h"
#include "formats/nastran/NastranText.h"

namespace orq::exchange {

/// The number of each material in the file; one without a card has a number too, by which sections
/// name it.
std::vector<int> MaterialNumbers(const std::vector<ORQExcLayup::Material>& materials);

/// Writes the cards of materials, but of those that are written, with the tables of what depends on
/// temperature.
void WriteMaterialCards(const std::vector<ORQExcLayup::Material>& materials,
                        const std::vector<int>& numbers,
                        const std::function<bool(const ORQExcLayup::Material&)>& isWritten,
                        NastranText& text, ORQExcReport& report);

}  // namespace orq::exchange
