#include "ORQSglSimXmlFndLibModule.h"

#include "ORQBasModule.h"

namespace {
constinit ORQBasModule s_module;
}

void ORQSglSimXmlFndLib_initialize(int& callersTally) {
    s_module.Enter(callersTally);
}

void ORQSglSimXmlFndLib_finalize(int& callersTally) {
    s_module.Leave(callersTally);
}
