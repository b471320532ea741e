#pragma once

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"

namespace orq::exchange {

/// Writes a mesh as a VTK unstructured grid (.vtu), binary in an appended section:
///
///   points      "label" (0 for an unlabelled node); "node set NAME", 1 on members
///   cells       "label"; "block", the number of the block; "element set NAME", 1 on members;
///               "attribute NAME", NaN where a block lacks it
///   field data  numbers, names and shapes of blocks; the title; "surface NAME", pairs of cell and
///               side
///
/// and of results at one time the fields of nodes and elements under their names, those of the
/// whole model as field data, and the time as TimeValue; what has no value is not a number.
///
/// Cells stand block by block. Planar meshes get a third coordinate of 0. Meshes pass in blocks,
/// values field by field. All throw ORQExcExportError; files may then be incomplete.

/// Writes the results at the last time; earlier times are reported as dropped.
void WriteVtu(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
              ORQExcReport& report);

/// Writes a .vtu file for each time into an existing folder, and a collection file (.pvd) that
/// names them by time.
void WriteVtuCollection(const ORQExcModel& model, const ORQExcResults& results,
                        const Output& output, ORQExcReport& report);

}  // namespace orq::exchange
