#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

struct MaterialsOptions {
    std::string database;
    std::string material;  // Its name; empty for the list of all.
    bool json = false;
};

/// Prints the materials of a model database, or the properties of one as tables. Throws
/// ORQBasFailure, also for a name that no material has.
ExitStatus RunMaterials(const MaterialsOptions& options, const Console& console);

}  // namespace orqmodel
