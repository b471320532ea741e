#include "ORQBasCoreUtilsModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQBasCoreUtils_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQBasCoreUtils_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
