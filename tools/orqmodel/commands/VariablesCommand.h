#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct VariablesOptions {
    std::string label;  // or a pattern with *, ? and [...]; empty for all variables
    bool json = false;
};

/// Says what an output variable's label means, or lists the variables and labels of a pattern.
/// Needs no database. Nothing of that name is a finding.
ExitStatus RunVariables(const VariablesOptions& options, const Console& console);

}  // namespace orqmodel
