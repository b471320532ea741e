// Making a whole database of the rows and chunks that a damaged one still has.
#pragma once

#include <functional>
#include <string>

#include "DatabaseState.h"
#include "ORQSimDatabase.h"

namespace orq::database {

// Fills a database that was just made, and commits.
ORQSimDatabase::Recovery RecoverInto(DatabaseState& state, const std::string& damaged,
                                     const std::function<void(double)>& progress);

}  // namespace orq::database
