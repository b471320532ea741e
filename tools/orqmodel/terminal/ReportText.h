#pragma once

#include <ostream>

#include "ORQExcReport.h"

namespace orqmodel {

/// Prints a report on one screen: a table of how many objects of each kind had which outcome, in
/// brackets how many members these have, then what was not just kept, one line for a reason:
///
///       kind      kept     dropped
///       nodes     60
///       node set  1 (8)    2 (20)
///     dropped
///       node set, 2 of them: 20 (the format has no place for sets)
///
/// Of a kind that has more reasons than a few, the others are counted. With `isVerbose` every
/// object has a line instead, by name.
void PrintReport(const ORQExcReport& report, bool isVerbose, std::ostream& out);

}  // namespace orqmodel
