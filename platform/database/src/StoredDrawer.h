// The rules that the rows of one drawer keep together, so that its cells can be found by them.
#pragma once

#include <string>

#include "DatabaseState.h"

namespace orq::database {

/// What breaks a rule, in words; empty where nothing does. Cost: of a lookup for each dimension.
std::string ProblemOfDrawer(DatabaseState& state, const DistributionState& distribution,
                            const DrawerState& drawer);

}  // namespace orq::database
