#pragma once

#include "DatabaseState.h"
#include "ORQBasVector.h"
#include "ORQString.h"

namespace orq::database {

// Checks and stores a table; returns its identity.
ORQSimDynamicID CreateFTable(DatabaseState& state, int type, int rows,
                             const ORQBasVector<ORQString>& rowLabels,
                             const ORQBasVector<ORQString>& columnLabels, const double* data,
                             int count);

}  // namespace orq::database
