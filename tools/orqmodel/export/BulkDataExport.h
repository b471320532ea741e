#pragma once

#include <filesystem>

#include "LossReport.h"
#include "mesh/ModelReader.h"

namespace orqmodel {

/// Writes a model as bulk data (NASTRAN): nodes, elements with their attributes, materials, shell
/// sections as PSHELL, PCOMP and PCOMPG, orientations as CORD2R, and sets. What was imported from
/// such a deck comes back equal, coordinates to the last bit; docs/bulk-data.md tells what else
/// becomes of what.
///
/// Elements of no block, shapes without a card and surfaces are dropped. A property of which the
/// model holds nothing is named by its elements and reported. Replaces an existing file. Throws
/// ExportError; the file may then be incomplete.
void WriteBulkData(const ModelReader& model, const std::filesystem::path& file, LossReport& report);

}  // namespace orqmodel
