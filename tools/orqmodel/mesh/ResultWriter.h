#pragma once

#include <cstdint>
#include <functional>

#include "LossReport.h"
#include "ORQObjDocument.h"
#include "mesh/ResultSource.h"

namespace orqmodel {

/// Adds the results of a file to the model that was made of its mesh: one step with its times, and
/// a field for each variable (see PlanFields). Values pass in blocks of a few megabytes;
/// `advance` is told how many were written. What was kept, and what is doubtful, is entered into
/// the report. REQUIRES: an open transaction.
void WriteResults(ResultSource& source, const ORQObjDocument& document,
                  const std::function<void(std::int64_t)>& advance, LossReport& report);

}  // namespace orqmodel
