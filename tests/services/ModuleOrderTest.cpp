// Stands in for the entry points of the platform libraries and records who calls them, from the
// moment on at which the loader attaches the library.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "ORQBasAllocModule.h"
#include "ORQBasCoreUtilsModule.h"
#include "ORQBasGenericsLibModule.h"
#include "ORQBasSharedModule.h"
#include "ORQObjSimObjectsModModule.h"
#include "ORQSglSimXmlFndLibModule.h"
#include "ORQSimContainersModule.h"
#include "ORQSimInterfaceModule.h"
#include "ORQSrvBasicModule.h"
#include "ORQSrvBulkShellLayers.h"

namespace {

struct Call {
    const char* library;
    int step;  // 1 for initialize, -1 for finalize
    int tally;
};

// Filled before any constructor of this program runs.
constinit std::array<Call, 64> s_calls{};
constinit std::size_t s_numberOfCalls = 0;

void Record(const char* library, int step, int& tally) {
    if (s_numberOfCalls < s_calls.size()) {
        s_calls[s_numberOfCalls++] = {library, step, tally};
    }
    tally += step;
}

// The libraries called since the last time, with the step, and the tally on entry of the first.
struct Calls {
    std::vector<std::string> libraries;
    std::vector<int> steps;
    int firstTally = 0;
};

Calls TakeCalls() {
    Calls calls;
    calls.firstTally = s_calls[0].tally;
    for (std::size_t i = 0; i < s_numberOfCalls; ++i) {
        calls.libraries.emplace_back(s_calls[i].library);
        calls.steps.push_back(s_calls[i].step);
    }
    s_numberOfCalls = 0;
    return calls;
}

const std::vector<std::string> s_order = {
    "ORQObjSimObjectsMod", "ORQSglSimXmlFndLib", "ORQSimInterface",   "ORQSimContainers",
    "ORQBasShared",        "ORQBasCoreUtils",    "ORQBasGenericsLib", "ORQBasAlloc"};

std::vector<std::string> Reversed(std::vector<std::string> order) {
    std::reverse(order.begin(), order.end());
    return order;
}

}  // namespace

#define RECORD(library)                            \
    void library##_initialize(int& callersTally) { \
        Record(#library, 1, callersTally);         \
    }                                              \
    void library##_finalize(int& callersTally) {   \
        Record(#library, -1, callersTally);        \
    }

RECORD(ORQObjSimObjectsMod)
RECORD(ORQSglSimXmlFndLib)
RECORD(ORQSimInterface)
RECORD(ORQSimContainers)
RECORD(ORQBasShared)
RECORD(ORQBasCoreUtils)
RECORD(ORQBasGenericsLib)
RECORD(ORQBasAlloc)

TEST(ModuleOrder, DependenciesComeUpInOrderAndGoDownInReverse) {
    const Calls attach = TakeCalls();
    EXPECT_EQ(attach.libraries, s_order);
    EXPECT_EQ(attach.steps, std::vector<int>(8, 1));
    EXPECT_EQ(attach.firstTally, 1);  // the module itself is counted before them

    int tally = 0;
    ORQSrvBasic_initialize(tally);
    ORQSrvBasic_finalize(tally);
    EXPECT_EQ(TakeCalls().libraries, std::vector<std::string>());

    ORQSrvBasic_loaderEntry(ORQSrvLoaderReason::ProcessDetach);
    const Calls detach = TakeCalls();
    EXPECT_EQ(detach.libraries, Reversed(s_order));
    EXPECT_EQ(detach.steps, std::vector<int>(8, -1));
    EXPECT_EQ(detach.firstTally, 8);  // the own five are down before the first of them

    ORQSrvBasic_initialize(tally);
    EXPECT_EQ(TakeCalls().libraries, s_order);
    EXPECT_EQ(tally, 13);
    ORQSrvBasic_finalize(tally);
    EXPECT_EQ(TakeCalls().libraries, Reversed(s_order));
    EXPECT_EQ(tally, 0);
}
