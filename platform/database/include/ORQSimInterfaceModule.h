#pragma once

#include "ORQBasExport.h"

/// Counts a user of the database interface in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQSimInterface_initialize(int& callersTally);

/// Counts a user of the database interface out; subtracts 1 from `callersTally` for the last one.
ORQ_EXPORT void ORQSimInterface_finalize(int& callersTally);
