#include "ORQBasSharedModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQBasShared_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQBasShared_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
