#pragma once

#include "ORQBasExport.h"

/// Counts a user of the generic containers in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQBasGenericsLib_initialize(int& callersTally);

/// Counts a user of the generic containers out; subtracts 1 from `callersTally` for the last one.
ORQ_EXPORT void ORQBasGenericsLib_finalize(int& callersTally);
