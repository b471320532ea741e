#include "VEXFatalError.h"

#include <cstdio>
#include <cstdlib>

void VEXFatalError(const char* message, const char*, const char*, const char*, const char* file,
                   int line) {
    std::fprintf(stderr, "%s\n  at %s:%d\n", message != nullptr ? message : "fatal error",
                 file != nullptr ? file : "unknown file", line);
    std::abort();
}
