#pragma once

#include "ORQBasExport.h"

/// Reports a failure that leaves nothing to recover, with its place in the source, on standard
/// error and ends the process by abort(). The three texts between are reserved for the host runtime
/// and not printed; any text may be null.
[[noreturn]] ORQ_EXPORT void VEXFatalError(const char* message, const char* reserved1,
                                           const char* reserved2, const char* reserved3,
                                           const char* file, int line);
