#pragma once

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"

namespace orq::exchange {

/// Writes a mesh as an Exodus II file (netCDF, 64-bit offsets): coordinates, labels as id maps,
/// element blocks with names and attributes, node sets, element sets that are no blocks, and
/// surfaces as side sets, and results as global, nodal and element variables. What was imported
/// from such a file comes back equal.
///
/// Elements stand block by block; those of no block are dropped. Numbers that a kind of object uses
/// twice, or that are below 0, are given anew. Replaces an existing file. Throws ORQExcExportError;
/// the file may then be incomplete.
void WriteExodus(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
                 ORQExcReport& report);

}  // namespace orq::exchange
