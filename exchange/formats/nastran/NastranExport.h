#pragma once

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"

namespace orq::exchange {

/// Writes a model as bulk data (NASTRAN): nodes, elements with their attributes, materials, shell
/// sections as PSHELL, PCOMP and PCOMPG, orientations as CORD2R, and sets. What was imported from
/// such a deck comes back equal, coordinates to the last bit; docs/bulk-data.md has the rest.
///
/// Elements of no block, shapes without a card, surfaces and results are dropped. A property of
/// which the model holds nothing is named by its elements and reported. Replaces an existing file.
/// Throws ORQExcExportError; the file may then be incomplete.
void WriteNastran(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
                  ORQExcReport& report);

}  // namespace orq::exchange
