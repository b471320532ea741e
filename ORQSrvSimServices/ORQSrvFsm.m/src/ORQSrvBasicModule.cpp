#include "ORQSrvBasicModule.h"

#include "ORQBasAllocModule.h"
#include "ORQBasCoreUtilsModule.h"
#include "ORQBasGenericsLibModule.h"
#include "ORQBasModule.h"
#include "ORQBasSharedModule.h"
#include "ORQObjSimObjectsModModule.h"
#include "ORQSglSimXmlFndLibModule.h"
#include "ORQSimContainersModule.h"
#include "ORQSimInterfaceModule.h"
#include "ORQSrvBulkShellLayers.h"

namespace {

constinit ORQBasModule s_module;
constinit ORQBasModule s_specific;
constinit ORQBasModule s_ssm;
constinit ORQBasModule s_fsm;
constinit ORQBasModule s_kwd;

constinit int s_loaderTally = 0;
constinit int s_plainTally = 0;

}  // namespace

void ORQSrvBasic_initialize(int& callersTally) {
    if (!s_module.Enter(callersTally)) {
        return;
    }
    ORQObjSimObjectsMod_initialize(callersTally);
    ORQSglSimXmlFndLib_initialize(callersTally);
    ORQSimInterface_initialize(callersTally);
    ORQSimContainers_initialize(callersTally);
    ORQBasShared_initialize(callersTally);
    ORQBasCoreUtils_initialize(callersTally);
    ORQBasGenericsLib_initialize(callersTally);
    ORQBasAlloc_initialize(callersTally);
    ORQSrvSsm_initialize(callersTally);
    ORQSrvFsm_initialize(callersTally);
    ORQSrvKwd_initialize(callersTally);
    s_specific.Enter(callersTally);
}

void ORQSrvBasic_finalize(int& callersTally) {
    if (!s_module.Leave(callersTally)) {
        return;
    }
    s_specific.Leave(callersTally);
    ORQSrvKwd_finalize(callersTally);
    ORQSrvFsm_finalize(callersTally);
    ORQSrvSsm_finalize(callersTally);
    ORQBasAlloc_finalize(callersTally);
    ORQBasGenericsLib_finalize(callersTally);
    ORQBasCoreUtils_finalize(callersTally);
    ORQBasShared_finalize(callersTally);
    ORQSimContainers_finalize(callersTally);
    ORQSimInterface_finalize(callersTally);
    ORQSglSimXmlFndLib_finalize(callersTally);
    ORQObjSimObjectsMod_finalize(callersTally);
}

void ORQSrvBasic_specific_initialize(int& callersTally) {
    s_specific.Enter(callersTally);
}

void ORQSrvBasic_specific_finalize(int& callersTally) {
    s_specific.Leave(callersTally);
}

void ORQSrvBasic_initializeC() {
    ORQSrvBasic_initialize(s_plainTally);
}

void ORQSrvBasic_finalizeC() {
    ORQSrvBasic_finalize(s_plainTally);
}

void ORQSrvSsm_initialize(int& callersTally) {
    s_ssm.Enter(callersTally);
}

void ORQSrvSsm_finalize(int& callersTally) {
    s_ssm.Leave(callersTally);
}

void ORQSrvFsm_initialize(int& callersTally) {
    s_fsm.Enter(callersTally);
}

void ORQSrvFsm_finalize(int& callersTally) {
    if (s_fsm.Leave(callersTally)) {
        omi_SingletonBase<ORQSrvBulkShellLayers>::Finalize();
    }
}

void ORQSrvKwd_initialize(int& callersTally) {
    s_kwd.Enter(callersTally);
}

void ORQSrvKwd_finalize(int& callersTally) {
    s_kwd.Leave(callersTally);
}

int ORQSrvBasic_loaderEntry(ORQSrvLoaderReason reason) {
    switch (reason) {
        case ORQSrvLoaderReason::ProcessAttach:
            ORQSrvBasic_initialize(s_loaderTally);
            break;
        case ORQSrvLoaderReason::ProcessDetach:
            ORQSrvBasic_finalize(s_loaderTally);
            break;
        case ORQSrvLoaderReason::ThreadAttach:
        case ORQSrvLoaderReason::ThreadDetach:
            break;
    }
    return 1;
}

int ORQSrvBasic_marker() {
    return 1;
}

namespace {

[[gnu::constructor]] void Attach() {
    ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessAttach);
}

[[gnu::destructor]] void Detach() {
    ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessDetach);
}

}  // namespace
