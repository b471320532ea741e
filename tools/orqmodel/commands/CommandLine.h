#pragma once

#include <string>
#include <vector>

#include "terminal/Console.h"

namespace orqmodel {

/// Runs the program with its arguments (without its own name) and returns its exit status, one of
/// ExitStatus or, when interrupted, ExitStatus::Interrupted plus the signal. Errors are printed to
/// the console's `err` as "orqmodel: TEXT"; nothing is thrown.
int RunCommandLine(const std::vector<std::string>& arguments, const Console& console);

}  // namespace orqmodel
