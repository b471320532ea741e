#pragma once

#include <filesystem>
#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct CopyOptions {
    std::string database;
    std::filesystem::path output;
    bool force = false;
    bool json = false;
};

/// Copies the state of a model database that was committed last, also while somebody writes to it.
/// On any failure, and when interrupted, what stood under the output's name is as it was. Throws
/// ORQBasFailure and Interrupted.
ExitStatus RunCopy(const CopyOptions& options, const Console& console);

}  // namespace orqmodel
