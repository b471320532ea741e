#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct CheckOptions {
    std::string database;
    bool explain = false;
    bool json = false;
};

/// Checks a model for what would keep it from being displayed or post-processed; prints the
/// findings in their order, one line each, or explained and grouped by check. kFindings when there
/// are any. What ends the check early is thrown after the findings until then are printed:
/// ORQBasFailure, of kind Damaged and with the section's name for a section that cannot be read.
ExitStatus RunCheck(const CheckOptions& options, const Console& console);

}  // namespace orqmodel
