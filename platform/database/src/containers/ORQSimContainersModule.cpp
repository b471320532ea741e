#include "ORQSimContainersModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQSimContainers_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQSimContainers_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
