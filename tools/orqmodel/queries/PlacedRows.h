#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ORQExcElementValues.h"
#include "queries/ElementPlaces.h"
#include "queries/RowSource.h"

namespace orqmodel {

/// Rows of a field with points or layers, each at one place in one element: by time, layer, section
/// point and point. With `at`, one row an element, or a node, for each layer and section point.
/// Throws ORQBasFailure (Usage) for places that the field or its sections do not have.
std::unique_ptr<RowSource> PlacedRows(const ORQExcModel& model, const ORQExcResults& results,
                                      const ORQExcResults::Field& field, std::vector<int> frames,
                                      const ORQSimCSet& members, int component,
                                      const PlaceOptions& options);

/// The worst value of each element over all its places, and where it is: four columns.
std::unique_ptr<RowSource> ExtremeRows(const ORQExcModel& model, const ORQExcResults& results,
                                       const ORQExcResults::Field& field, std::vector<int> frames,
                                       const ORQSimCSet& members, const std::string& what,
                                       ORQExcElementValues::Number number);

}  // namespace orqmodel
