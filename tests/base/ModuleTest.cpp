#include <gtest/gtest.h>

#include "ORQBasAllocModule.h"
#include "ORQBasModule.h"
#include "ORQBasSharedModule.h"

TEST(Module, TalliesOnlyTheFirstEnterAndTheLastLeave) {
    ORQBasModule module;
    int tally = 10;
    EXPECT_TRUE(module.Enter(tally));
    EXPECT_FALSE(module.Enter(tally));
    EXPECT_EQ(tally, 11);
    EXPECT_FALSE(module.Leave(tally));
    EXPECT_EQ(tally, 11);
    EXPECT_TRUE(module.Leave(tally));
    EXPECT_EQ(tally, 10);
}

TEST(Module, LeaveWithoutEnterWrapsAndTheNextEnterIsNotTheFirst) {
    ORQBasModule module;
    int tally = 0;
    EXPECT_FALSE(module.Leave(tally));
    EXPECT_FALSE(module.Leave(tally));
    EXPECT_FALSE(module.Enter(tally));  // largest value - 1 -> largest value
    EXPECT_FALSE(module.Enter(tally));  // largest value -> 0
    EXPECT_EQ(tally, 0);
    EXPECT_TRUE(module.Enter(tally));
}

TEST(Module, LibrariesCountApartFromEachOther) {
    int tally = 0;
    ORQBasAlloc_initialize(tally);
    ORQBasAlloc_initialize(tally);
    ORQBasShared_initialize(tally);
    EXPECT_EQ(tally, 2);
    ORQBasAlloc_finalize(tally);
    ORQBasShared_finalize(tally);
    EXPECT_EQ(tally, 1);
    ORQBasAlloc_finalize(tally);
    EXPECT_EQ(tally, 0);
}
