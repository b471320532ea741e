#pragma once

#include <filesystem>
#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct ExportOptions {
    std::string database;
    std::filesystem::path output;  // Its ending names the format.
    bool force = false;            // Replace a file that has the name.
    bool strict = false;           // Write nothing when something would be dropped.
    bool verbose = false;          // Name every object in the report.
    bool json = false;
};

/// Exports a model database to a file and prints what was kept, changed and dropped. On any
/// failure, and when `strict` finds a drop (kFindings), the output's name is as it was before.
/// Throws ORQExcExportError and ORQBasFailure.
ExitStatus RunExport(const ExportOptions& options, const Console& console);

}  // namespace orqmodel
