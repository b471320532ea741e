#pragma once

#include <filesystem>
#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct RecoverOptions {
    std::string database;
    std::filesystem::path output;
    bool json = false;
};

/// Makes a new model database of what is whole in a damaged one, and lists what is lost.
/// kFindings when anything is. On any failure, and when interrupted, nothing is left under the
/// output's name. Throws ORQBasFailure and Interrupted.
ExitStatus RunRecover(const RecoverOptions& options, const Console& console);

}  // namespace orqmodel
