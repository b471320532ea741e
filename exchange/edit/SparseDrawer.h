#pragma once

#include <utility>
#include <vector>

#include "ORQSimCSet.h"
#include "ORQSimDistribution.h"

namespace orq::exchange {

/// All of a sparse drawer of doubles, by row and column.
struct SparseDrawer {
    using Cell = std::pair<int, double>;  ///< of a row: member of the columns, value

    std::vector<int> rows;                 ///< members, in the order of the drawer
    std::vector<std::vector<Cell>> cells;  ///< by row, ascending
};

/// Throws ORQBasFailure (Usage) for a drawer of other values, or of other than two dimensions.
SparseDrawer ReadSparse(const ORQSimDistribution& from, const ORQSimDrawerDescription& drawer);

/// Writes a new drawer of the columns that have a value, or nothing where none has. REQUIRES: an
/// open transaction.
void WriteSparse(const SparseDrawer& drawer, const ORQSimDistribution& to);

}  // namespace orq::exchange
