#pragma once

#include <filesystem>
#include <vector>

#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"

namespace orq::exchange {

/// Writes the results of a model into an open Exodus file that has its mesh, node by node and block
/// by block as in the model: times, global, nodal and element variables, one for each component of
/// a field. `id` is the Exodus library's number of the file, `blockNumbers` are those that its
/// element blocks have there; `file` is named by errors. Throws
/// ORQExcExportError.
void WriteExodusResults(int id, const std::filesystem::path& file, const ORQExcModel& model,
                        const std::vector<int>& blockNumbers, const ORQExcResults& results,
                        ORQExcReport& report);

}  // namespace orq::exchange
