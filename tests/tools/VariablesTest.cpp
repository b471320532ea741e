// What the program says about output variables.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CommandRun.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

TEST(VariablesTest, ALabelIsExplained) {
    const CommandResult result = RunHere({"variables", "S12"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out,
                AllOf(HasSubstr("S12: Stress"), HasSubstr("symbol 5"), HasSubstr("symbol 9"),
                      HasSubstr("(26, 28)"), HasSubstr("MISES")));

    const json report = json::parse(RunHere({"variables", "DG31", "--json"}).out);
    const json& label = report["labels"].at(0);
    EXPECT_EQ(label["identifier"], "DG");
    EXPECT_EQ(label["components"], (json{{{"symbol", 21}, {"name", "31"}}}));
    EXPECT_EQ(label["fields"].size(), 5);
    EXPECT_EQ(label["fields"].at(0)["pair"], (json{16, 9}));
    EXPECT_EQ(label["siblings"].size(), 9);
}

TEST(VariablesTest, APatternListsLabels) {
    const CommandResult result = RunHere({"variables", "ALPHAP[12]"});
    EXPECT_EQ(result.out,
              "ALPHAP1  Total backstress, principal 1\nALPHAP2  Total backstress, principal 2\n");
    EXPECT_EQ(json::parse(RunHere({"variables", "--json"}).out)["labels"].size(), 2045);
}

TEST(VariablesTest, AnUnknownLabelIsAFindingWithLikeOnes) {
    const CommandResult result = RunHere({"variables", "misses"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("misses; is it MISES"));
    // Those that begin with what was asked for come first.
    EXPECT_THAT(RunHere({"variables", "U"}).err, HasSubstr("is it UT, U1, U2, U3, UR?"));
    EXPECT_THAT(RunHere({"variables", "RF"}).err, HasSubstr("is it RF1, RF2, RF3, "));
    EXPECT_THAT(RunHere({"variables", "u"}).err, HasSubstr("is it UT, U1, "));
    const CommandResult pattern = RunHere({"variables", "no*such", "--json"});
    EXPECT_EQ(pattern.status, 1);
    EXPECT_EQ(json::parse(pattern.out)["labels"], json::array());
}

}  // namespace
