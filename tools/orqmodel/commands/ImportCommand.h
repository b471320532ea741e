#pragma once

#include <filesystem>

#include "terminal/Console.h"

namespace orqmodel {

struct ImportOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    std::filesystem::path layup;  // Puts sections on the mesh; empty for none.
    int chunkNodes = 100'000;     // At least 1.
    bool force = false;           // Replace a model database that has the name.
    bool strict = false;          // Import nothing when something would be dropped.
    bool verbose = false;         // Name every object in the report.
    bool json = false;
};

/// Imports a file into a new model database and prints what was kept, changed and dropped. On any
/// failure, when interrupted, and when `strict` finds a drop (kFindings), the output's name is as
/// it was before. Throws ORQExcImportError, ORQBasFailure and Interrupted.
ExitStatus RunImport(const ImportOptions& options, const Console& console);

}  // namespace orqmodel
