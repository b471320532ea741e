#pragma once

#include <string>

#include "terminal/Console.h"

namespace orqmodel {

/// Prints how a model database is stored: collections, distributions and their drawers. Reads all
/// coordinates and labels. Throws ORQBasFailure.
ExitStatus ShowStorage(const std::string& path, bool asJson, const Console& console);

}  // namespace orqmodel
