#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct StatusOptions {
    std::string database;
    bool json = false;
    bool watch = false;
};

/// Shows the status of the job, its steps and the conditions reported in them. With `watch` also
/// what is new at each commit, until the job ends or its process does; Interrupted is thrown when
/// the user has enough.
ExitStatus RunStatus(const StatusOptions& options, const Console& console);

}  // namespace orqmodel
