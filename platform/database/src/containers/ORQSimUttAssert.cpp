#include "ORQSimUttAssert.h"

#include <cstdio>

void ORQSimUttAssert::ReportAssertionFailure(const char* expression) {
    std::fprintf(stderr, "Assertion failed: %s\n", expression != nullptr ? expression : "");
}
