#pragma once

#include "ORQBasExport.h"

/// Counts a user of the shared base in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQBasShared_initialize(int& callersTally);

/// Counts a user of the shared base out; subtracts 1 from `callersTally` for the last one.
ORQ_EXPORT void ORQBasShared_finalize(int& callersTally);
