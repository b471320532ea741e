#include <gtest/gtest.h>

#include "GuestLibrary.h"
#include "LoadedLibrary.h"
#include "ORQBasAssertException.h"
#include "ORQSrvBasicModule.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQString.h"

TEST(LinkedHost, SharesTheSingletonWithAnotherLibrary) {
    const LoadedLibrary guest(GUEST_LIBRARY);
    int tally = 0;
    ORQSrvBasic_initialize(tally);
    EXPECT_EQ(guest.Get<void*()>("Guest_Layers")(),
              &omi_Singleton<ORQSrvBulkShellLayers>::Instance());
    guest.Get<void()>("Guest_FinalizeLayers")();
    EXPECT_EQ(omi_SingletonRegistry::Instance()->Find(typeid(ORQSrvBulkShellLayers).name()),
              nullptr);
    ORQSrvBasic_finalize(tally);
}

TEST(LinkedHost, CatchesByTypeWhatALibraryThrows) {
    const LoadedLibrary guest(GUEST_LIBRARY);
    const auto throwAssertion = guest.Get<void(int)>("Guest_ThrowAssertion");
    EXPECT_THROW(throwAssertion(1), ORQBasAssertException);
    EXPECT_THROW(throwAssertion(1), ORQBasException);
    EXPECT_THROW(ORQString("abc")[3], ORQBasAssertException);
}

TEST(LinkedHost, LeavesALiveSingletonToTheLoaderAtExit) {
    // Under the address sanitizer, a detach that came too late for the registry would end the
    // process badly.
    EXPECT_EXIT(
        {
            omi_Singleton<ORQSrvBulkShellLayers>::Instance();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}
