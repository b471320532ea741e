#include "ORQSimInterfaceModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQSimInterface_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQSimInterface_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
