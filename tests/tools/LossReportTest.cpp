#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "ORQExcReport.h"
#include "terminal/ReportJson.h"

namespace {

TEST(LossReport, GroupsEntriesByOutcomeInTheirOrder) {
    ORQExcReport report;
    report.Drop("node set", "clamp", 20, "sets are not imported");
    report.Keep("nodes", "", 60);
    report.Keep("title", "a box", 1);
    report.Note("time", "2", 1, "does not rise");
    EXPECT_TRUE(report.HasDrops());

    std::ostringstream text;
    report.Print(text);
    EXPECT_EQ(text.str(),
              "kept\n"
              "  nodes: 60\n"
              "  title \"a box\": 1\n"
              "noted\n"
              "  time \"2\": 1 (does not rise)\n"
              "dropped\n"
              "  node set \"clamp\": 20 (sets are not imported)\n");

    const auto json = nlohmann::json::parse(orqmodel::ToJson(report).dump());
    EXPECT_EQ(json, nlohmann::json::parse(R"({
        "kept": [{"kind": "nodes", "name": "", "count": 60},
                 {"kind": "title", "name": "a box", "count": 1}],
        "noted": [{"kind": "time", "name": "2", "count": 1, "reason": "does not rise"}],
        "changed": [],
        "dropped": [{"kind": "node set", "name": "clamp", "count": 20,
                     "reason": "sets are not imported"}]})"));
}

TEST(LossReport, AChangeIsNoDrop) {
    ORQExcReport report;
    EXPECT_FALSE(report.HasDrops());
    report.Change("block", "skin", 4, "renamed");
    EXPECT_FALSE(report.HasDrops());
    EXPECT_EQ(orqmodel::ToJson(report)["changed"][0]["reason"], "renamed");
}

TEST(LossReport, ForeignNamesStayPrintable) {
    ORQExcReport report;
    report.Keep("block", "caf\xC3\xA9 \xE9\n\x1B[2J\xC2\x9B", 1);
    EXPECT_EQ(report.Entries()[0].name, "caf\xC3\xA9 \uFFFD\uFFFD\uFFFD[2J\uFFFD");
    EXPECT_NO_THROW(orqmodel::ToJson(report).dump());
}

}  // namespace
