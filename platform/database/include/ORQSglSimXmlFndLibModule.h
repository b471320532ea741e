#pragma once

#include "ORQBasExport.h"

/// Counts a user of the XML foundation in; adds 1 to `callersTally` for the first one.
ORQ_EXPORT void ORQSglSimXmlFndLib_initialize(int& callersTally);

/// Counts a user of the XML foundation out; subtracts 1 from `callersTally` for the last one.
ORQ_EXPORT void ORQSglSimXmlFndLib_finalize(int& callersTally);
