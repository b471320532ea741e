#pragma once

#include "ORQBasExport.h"

/// Counts a user of the database's containers in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQSimContainers_initialize(int& callersTally);

/// Counts a user of the database's containers out; subtracts 1 from `callersTally` for the last
/// one.
ORQ_EXPORT void ORQSimContainers_finalize(int& callersTally);
