#pragma once

#include "FlawReport.h"

namespace orq::database {

/// Whether distributions and their drawers can be read, and their cells are of a kind that may be
/// stored there.
void CheckDistributions(FlawReport& report);

}  // namespace orq::database
