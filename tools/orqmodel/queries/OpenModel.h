#pragma once

#include <string>

#include "ORQSimDatabase.h"

namespace orqmodel {

/// Opens a database for reading. Throws ORQBasFailure: what opening throws, and Damaged when a
/// collection claims far more members than files of this size could describe: a pass over all of
/// them would take time and memory without end.
ORQSimDatabase OpenModel(const std::string& path);

/// What a model is called where there is no room for its path: the last part of that without its
/// ending, or the name that it has in a store.
std::string TitleOf(const std::string& path);

}  // namespace orqmodel
