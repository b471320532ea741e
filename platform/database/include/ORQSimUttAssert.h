#pragma once

#include "ORQBasExport.h"

/// The database layer's report of a broken invariant.
class ORQ_EXPORT ORQSimUttAssert {
  public:
    /// Prints the expression on standard error and returns; ending the process is up to the caller.
    static void ReportAssertionFailure(const char* expression);
};
