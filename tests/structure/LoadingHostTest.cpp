#include <gtest/gtest.h>

#include <memory>

#include "GuestLibrary.h"
#include "LoadedLibrary.h"
#include "ORQBasAllocModule.h"
#include "ORQBasAssertException.h"
#include "ORQSrvBulkShellLayers.h"

namespace {

// True while the loaded services hold the platform's libraries.
bool ServicesAreLive() {
    int tally = 0;
    ORQBasAlloc_initialize(tally);
    const bool live = tally == 0;
    ORQBasAlloc_finalize(tally);
    return live;
}

void* RegisteredLayers() {
    return omi_SingletonRegistry::Instance()->Find("21ORQSrvBulkShellLayers");
}

}  // namespace

TEST(LoadingHost, LoadingAttachesAndUnloadingDetaches) {
    for (int round = 0; round < 2; ++round) {
        ASSERT_FALSE(ServicesAreLive());
        const LoadedLibrary services(SERVICES_LIBRARY);
        EXPECT_TRUE(ServicesAreLive());
        EXPECT_EQ(services.Get<int()>("_Z18ORQSrvBasic_markerv")(), 1);
        services.Get<void()>("ORQSrvBasic_initializeC")();
        services.Get<void()>("ORQSrvBasic_finalizeC")();
        EXPECT_TRUE(ServicesAreLive());
    }
    EXPECT_FALSE(ServicesAreLive());
}

TEST(LoadingHost, SharesTheSingletonWithAnotherLibraryUntilUnloading) {
    auto services = std::make_unique<LoadedLibrary>(SERVICES_LIBRARY);
    auto guest = std::make_unique<LoadedLibrary>(GUEST_LIBRARY);
    const auto instance = services->Get<ORQSrvBulkShellLayers&()>(
        "_ZN13omi_SingletonI21ORQSrvBulkShellLayersE8InstanceEv");
    EXPECT_EQ(guest->Get<void*()>("Guest_Layers")(), &instance());
    EXPECT_EQ(RegisteredLayers(), &instance());
    services.reset();
    EXPECT_NE(RegisteredLayers(), nullptr);  // the guest keeps the services loaded
    guest.reset();
    EXPECT_EQ(RegisteredLayers(), nullptr);
}

TEST(LoadingHost, CatchesByTypeWhatALibraryThrows) {
    const LoadedLibrary guest(GUEST_LIBRARY);
    try {
        guest.Get<void(int)>("Guest_ThrowAssertion")(948);
        FAIL() << "nothing was thrown";
    } catch (const ORQBasAssertException& caught) {
        EXPECT_EQ(caught.GetLine(), 948);
    }
}
