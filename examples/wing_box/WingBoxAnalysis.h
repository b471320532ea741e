#pragma once

#include "ORQObjDocument.h"

namespace wing_box {

/// Sets an analysis up on the imported wing box, by the builders of the object layer: four steps
/// with their times, modes, arc lengths and frequencies, output requests, displacements over the
/// first step and at the tip, output regions, and a rigid saddle under the tip. The numbers are
/// made up; nothing was computed. REQUIRES: an open transaction, and the box's own sets and
/// sections.
void AddAnalysis(const ORQObjDocument& document);

}  // namespace wing_box
