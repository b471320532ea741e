#include "ORQObjSimObjectsModModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQObjSimObjectsMod_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQObjSimObjectsMod_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
