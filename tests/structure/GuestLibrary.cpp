#include "GuestLibrary.h"

#include "ORQBasAssertException.h"
#include "ORQSrvBulkShellLayers.h"

void* Guest_Layers() {
    return &omi_Singleton<ORQSrvBulkShellLayers>::Instance();
}

void Guest_FinalizeLayers() {
    omi_SingletonBase<ORQSrvBulkShellLayers>::Finalize();
}

void Guest_ThrowAssertion(int line) {
    ORQBasAssertException("guest").Throw("guest", line);
}
