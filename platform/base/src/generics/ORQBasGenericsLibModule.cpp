#include "ORQBasGenericsLibModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQBasGenericsLib_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQBasGenericsLib_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
