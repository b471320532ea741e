#pragma once

#include <cstdint>
#include <functional>

#include "ORQExcReport.h"
#include "ORQExcResultSource.h"
#include "ORQObjDocument.h"

namespace orq::exchange {

/// Adds the results of a file to the model that was made of its mesh: one step with its times, and
/// a field for each variable (see PlanFields). Values pass in blocks of a few megabytes; `advance`
/// takes the number of values that were written. What was kept, and what is doubtful, is entered
/// into the report. REQUIRES: an open transaction.
void WriteResults(ORQExcResultSource& source, const ORQObjDocument& document,
                  const std::function<void(std::int64_t)>& advance, ORQExcReport& report);

}  // namespace orq::exchange
