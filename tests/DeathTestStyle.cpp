// Death tests run the test again from its beginning in a process of its own: a child that goes on
// with what its parent opened is refused by the database.
#include <gtest/gtest.h>

namespace {

// Set when the tests begin: the flag may not be there yet when this file is initialised.
class RunAgain : public testing::Environment {
  public:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

[[maybe_unused]] const testing::Environment* const s_runAgain =
    testing::AddGlobalTestEnvironment(new RunAgain);

}  // namespace
