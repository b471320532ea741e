// The rules that rows keep together: whatever a row names must be there.
#pragma once

#include <functional>
#include <vector>

#include "DatabaseState.h"
#include "FlawReport.h"
#include "storage/Salvage.h"

namespace orq::database {

// With a salvage from which the rows came, partly recovered data is a flaw even if it looks
// complete. `goOn` is called all along; what it throws ends the search.
std::vector<Flaw> FindFlaws(DatabaseState& state, const storage::Salvage* salvage,
                            const std::function<void()>& goOn);

}  // namespace orq::database
