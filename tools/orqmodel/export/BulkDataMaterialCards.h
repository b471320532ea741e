#pragma once

#include <vector>

#include "LossReport.h"
#include "export/BulkDataText.h"
#include "mesh/Layup.h"

namespace orqmodel {

/// Writes the cards of materials, with the tables of what depends on temperature. Answers the
/// number of each material; one without a card has a number too, by which sections name it.
std::vector<int> WriteMaterialCards(const std::vector<Layup::Material>& materials,
                                    BulkDataText& text, LossReport& report);

}  // namespace orqmodel
