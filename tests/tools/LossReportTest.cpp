#include <fmt/format.h>
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

    const auto json = nlohmann::json::parse(orqmodel::ReportToJson(report).dump());
    EXPECT_EQ(json, nlohmann::json::parse(R"({
        "kept": [{"kind": "nodes", "name": "", "count": 60},
                 {"kind": "title", "name": "a box", "count": 1}],
        "noted": [{"kind": "time", "name": "2", "count": 1, "reason": "does not rise"}],
        "changed": [],
        "dropped": [{"kind": "node set", "name": "clamp", "count": 20,
                     "reason": "sets are not imported"}]})"));
}

TEST(LossReport, FitsOnOneScreen) {
    ORQExcReport report;
    report.Keep("nodes", "", 60);
    for (int i = 0; i < 1000; ++i) {
        report.Keep("section", fmt::format("PCOMP {}", i), 10);
        report.Drop("section", fmt::format("PBAR {}", i), 1, "not for shells");
        report.Find("card", fmt::format("CBAR {}", i), 1, fmt::format("line {}: is odd", i));
    }
    report.Drop("node set", "clamp", 20, "no sets here");
    std::ostringstream text;
    report.PrintSummary(text);
    EXPECT_EQ(text.str(),
              "  kind      kept          findings  dropped\n"
              "  nodes     60\n"
              "  section   1000 (10000)            1000\n"
              "  card                    1000\n"
              "  node set                          1 (20)\n"
              "findings\n"
              "  card \"CBAR 0\": 1 (line 0: is odd)\n"
              "  card \"CBAR 1\": 1 (line 1: is odd)\n"
              "  card \"CBAR 2\": 1 (line 2: is odd)\n"
              "  card \"CBAR 3\": 1 (line 3: is odd)\n"
              "  card \"CBAR 4\": 1 (line 4: is odd)\n"
              "  card, 995 of them: 995 (for other reasons, which the whole report names)\n"
              "dropped\n"
              "  section, 1000 of them: 1000 (not for shells)\n"
              "  node set \"clamp\": 20 (no sets here)\n");
    std::ostringstream names;
    report.Print(names);
    EXPECT_NE(names.str().find("  card \"CBAR 999\": 1 (line 999: is odd)\n"), std::string::npos);
}

TEST(LossReport, AChangeIsNoDrop) {
    ORQExcReport report;
    EXPECT_FALSE(report.HasDrops());
    report.Change("block", "skin", 4, "renamed");
    EXPECT_FALSE(report.HasDrops());
    EXPECT_EQ(orqmodel::ReportToJson(report)["changed"][0]["reason"], "renamed");
}

TEST(LossReport, ForeignNamesStayPrintable) {
    ORQExcReport report;
    report.Keep("block", "caf\xC3\xA9 \xE9\n\x1B[2J\xC2\x9B", 1);
    EXPECT_EQ(report.Entries()[0].name, "caf\xC3\xA9 \uFFFD\uFFFD\uFFFD[2J\uFFFD");
    EXPECT_NO_THROW(orqmodel::ReportToJson(report).dump());
}

}  // namespace
