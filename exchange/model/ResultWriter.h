#pragma once

#include <cstdint>
#include <functional>

#include "ORQExcReport.h"
#include "ORQExcResultSource.h"
#include "ORQExcResultsMap.h"
#include "ORQObjDocument.h"

namespace orq::exchange {

/// Adds the results of a file to the model that was made of its mesh: one step with its times, and
/// a field for each variable (see PointArrays and PlanFields). Values pass in blocks of some
/// megabytes; `advance` takes the number of values that were written. What was kept, and what is
/// doubtful, is entered into the report. `map` says more of names; null for none. REQUIRES: an open
/// transaction. Throws ORQExcImportError about the map.
void WriteResults(ORQExcResultSource& source, const ORQObjDocument& document,
                  const ORQExcResultsMap* map, const std::function<void(std::int64_t)>& advance,
                  ORQExcReport& report);

}  // namespace orq::exchange
