#pragma once

#include "ORQBasExport.h"

/// Counts a user of the object layer in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQObjSimObjectsMod_initialize(int& callersTally);

/// Counts a user of the object layer out; subtracts 1 from `callersTally` for the last one.
ORQ_EXPORT void ORQObjSimObjectsMod_finalize(int& callersTally);
