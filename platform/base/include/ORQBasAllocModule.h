#pragma once

#include "ORQBasExport.h"

/// Counts a user of the allocator and singleton registry in; adds 1 to `callersTally` for the first
/// one.
ORQ_EXPORT void ORQBasAlloc_initialize(int& callersTally);

/// Counts a user of the allocator and singleton registry out; subtracts 1 from `callersTally` for
/// the last one.
ORQ_EXPORT void ORQBasAlloc_finalize(int& callersTally);
