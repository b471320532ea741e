#include "ORQBasAllocModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQBasAlloc_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQBasAlloc_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
