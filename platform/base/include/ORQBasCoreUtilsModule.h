#pragma once

#include "ORQBasExport.h"

/// Counts a user of the core utilities in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQBasCoreUtils_initialize(int& callersTally);

/// Counts a user of the core utilities out; subtracts 1 from `callersTally` for the last one.
ORQ_EXPORT void ORQBasCoreUtils_finalize(int& callersTally);
