// Takes the place of what reports a broken invariant and ends the process: a fuzzer goes on behind
// it. See docs/reliability.md for what may break one.
#include "ORQSimUttAssert.h"
#include "RunCommands.h"
#include "VEXFatalError.h"

void ORQSimUttAssert::ReportAssertionFailure(const char*) {
    throw BrokenInvariant();
}

void VEXFatalError(const char*, const char*, const char*, const char*, const char*, int) {
    throw BrokenInvariant();
}
