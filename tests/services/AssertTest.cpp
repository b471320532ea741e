#include <gtest/gtest.h>

#include <csignal>

#include "ORQSrvAssert.h"

namespace {
constexpr const char* s_source = ORQ_SRV_SOURCE("ORQSrvShellSection");
}

TEST(Assert, HoldingInvariantsPass) {
    ORQSrvAssertFatal(true, "a", s_source, 1);
    EXPECT_NO_THROW(ORQSrvAssertThrown(true, "a", s_source, 1));
    ORQSrvAssertReported(true, "a");
}

TEST(AssertDeathTest, FatalFormPrefixesTheExpressionAndAborts) {
    EXPECT_EXIT(ORQSrvAssertFatal(false, "!region.IsNull()", s_source, 36),
                testing::KilledBySignal(SIGABRT),
                "^AssertionFailed:!region.IsNull\\(\\)\n.*"
                "ORQSrvSimServices\\\\ORQSrvFsm.m\\\\src\\\\ORQSrvShellSection.cpp:36");
}

TEST(AssertDeathTest, ReportedFormPrintsTheBareExpressionAndExitsWithOne) {
    EXPECT_EXIT(ORQSrvAssertReported(false, "m_elements != 0"), testing::ExitedWithCode(1),
                "m_elements != 0");
}

TEST(Assert, ThrownFormCarriesBareExpressionFileAndLine) {
    try {
        ORQSrvAssertThrown(false, "distField.IsNull()", s_source, 948);
        FAIL() << "nothing was thrown";
    } catch (ORQBasAssertException& caught) {
        EXPECT_STREQ(caught.AsString(ORQBasStringMode::Unicode).c_str(), "distField.IsNull()");
        EXPECT_STREQ(caught.GetFile(),
                     "ORQSrvSimServices\\ORQSrvFsm.m\\src\\ORQSrvShellSection.cpp");
        EXPECT_EQ(caught.GetLine(), 948);
    }
}
