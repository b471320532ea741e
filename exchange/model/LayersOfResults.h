#pragma once

#include "ORQExcReport.h"
#include "ORQObjDocument.h"

namespace orq::exchange {

/// Reports, as found, the fields that have values in layers which the sections of their elements do
/// not have. Elements without a section say nothing of their layers.
void FindLayersAboveSections(const ORQObjDocument& document, ORQExcReport& report);

}  // namespace orq::exchange
