#pragma once

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"

namespace orq::exchange {

/// Writes a Gmsh file, version 4.1 in ASCII. Blocks and element sets become physical groups; node
/// sets, surfaces and attributes, for which the format has no place, become views that the reader
/// knows again. A shape that Gmsh lacks is reported as dropped. Throws ORQExcExportError.
void WriteGmsh(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
               ORQExcReport& report);

}  // namespace orq::exchange
