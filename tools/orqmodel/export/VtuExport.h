#pragma once

#include <filesystem>

#include "LossReport.h"
#include "mesh/ModelReader.h"

namespace orqmodel {

/// Writes a mesh as a VTK unstructured grid (.vtu), binary in an appended section:
///
///   points  "label" (0 for an unlabelled node); "node set NAME" and "surface NAME", 1 on members
///   cells   "label"; "block", the block's number; "element set NAME", 1 on members
///
/// Cells stand block by block. Planar meshes get a third coordinate of 0. Bulk data passes in
/// blocks. Throws ExportError; the file may then be incomplete.
void WriteVtu(const ModelReader& model, const std::filesystem::path& file, LossReport& report);

}  // namespace orqmodel
