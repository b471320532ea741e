#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct InfoOptions {
    std::string database;
    bool json = false;
};

/// Prints what a model database holds, read through the services. Throws ORQBasFailure.
ExitStatus RunInfo(const InfoOptions& options, const Console& console);

}  // namespace orqmodel
