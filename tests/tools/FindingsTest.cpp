// What the check command does with its findings: which rules are tried, what it says of them and where,
// and what becomes of them in the model and in pictures.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "CheckedModel.h"
#include "CommandRun.h"
#include "EditedText.h"
#include "Files.h"
#include "ORQExcCheck.h"
#include "ORQObjDocument.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class FindingsTest : public CheckedModelTest {};

void BreakShape(const ORQObjDocument& document) {
    const ORQSimVector blocks = document.GetMesh().GetVector(ORQSimSchema::Mesh_blocks);
    (*blocks.Begin()).DataRecord().SetString(ORQSimRecordField::Block_shape, "CUBE");
}

TEST_F(FindingsTest, RulesAreChosenAndDecideTheStatus) {
    Import(".bdf", Edited(kPlate, {{"CQUAD4,1", "GRID,7,,9.,9.,9.\nCQUAD4,1"}}));
    const auto status = [&](Arguments options) {
        options.insert(options.begin(), {"check", m_model});
        return RunHere(options).status;
    };
    EXPECT_EQ(status({}), 0);
    EXPECT_EQ(status({"--fail-on", "warning"}), 1);
    EXPECT_EQ(status({"--fail-on", "warning", "--skip", "NOD"}), 0);
    EXPECT_EQ(status({"--fail-on", "warning", "--only", "NOD001,ELM"}), 0);
    EXPECT_EQ(status({"--fail-on", "note", "--only", "VIZ024"}), 1);

    const CommandResult wrong = RunHere({"check", m_model, "--only", "NOD01"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, HasSubstr("\"NOD01\"; near are \"NOD001\""));
    EXPECT_EQ(status({"--fail-on", "warnings"}), 2);
    EXPECT_EQ(RunHere({"check"}).status, 2);
}

TEST_F(FindingsTest, ABaselineLeavesWhatIsNew) {
    const std::string seventh = Edited(kPlate, {{"CQUAD4,1", "GRID,7,,9.,9.,9.\nCQUAD4,1"}});
    Import(".bdf", seventh);
    const std::string baseline = m_folder / "baseline.json";
    PutBytes(baseline, RunHere({"check", m_model, "--json"}).out);
    EXPECT_THAT(Report({"--baseline", baseline})["findings"], IsEmpty());
    Import(".bdf", Edited(seventh, {{"CQUAD4,1", "GRID,8,,9.,8.,9.\nCQUAD4,1"}}));
    const json report = Report({"--baseline", baseline});
    ASSERT_EQ(report["findings"].size(), 1U);
    EXPECT_EQ(TextOf(report["findings"][0]), "NOD002 8");

    PutBytes(baseline, "[]");
    const CommandResult wrong = RunHere({"check", m_model, "--baseline", baseline});
    EXPECT_EQ(wrong.status, 3);
    EXPECT_THAT(wrong.err, HasSubstr("is no report of findings"));
}

TEST_F(FindingsTest, LimitsComeFromAFileOfSettings) {
    Import(".bdf", kPlate);
    const std::string config = m_folder / "check.json";
    PutBytes(config, R"({"only": ["LAY"], "fail_on": "warning", "limits": {"LAY004": 40}})");
    EXPECT_EQ(RunHere({"check", m_model, "--config", config}).status, 1);
    EXPECT_THAT(Report({"--config", config})["findings"], testing::SizeIs(4));
    PutBytes(config, R"({"limit": {"LAY004": 40}})");
    const CommandResult wrong = RunHere({"check", m_model, "--config", config});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, HasSubstr("there is no setting \"limit\""));
}

TEST_F(FindingsTest, ALimitOfABlockIsOfThatBlockAlone) {
    Import(".bdf", kPlate);
    const std::string config = m_folder / "check.json";
    PutBytes(config, R"({"blocks": {"PCOMP 1": {"ELM006": 1.1}}})");
    EXPECT_THAT(Report({"--config", config, "--only", "ELM"})["findings"], testing::SizeIs(1));
    const struct {
        const char* settings;
        const char* text;
    } refused[] = {
        {R"({"limits": {"LAY001": 1}})", "rule \"LAY001\" has no limit"},
        {R"({"limits": {"LAY": 1}})", "\"LAY\" is a group"},
        {R"({"limits": {"LAY04": 1}})", "near are \"LAY004\""},
        {R"({"blocks": {"PCOMP 1": {"LAY004": 1}}})", "one limit for all blocks"},
        {R"({"blocks": {"PCOMP 2": {"ELM006": 1}}})", "no block \"PCOMP 2\"; near are \"PCOMP 1\""},
    };
    for (const auto& [settings, text] : refused) {
        PutBytes(config, settings);
        const CommandResult wrong = RunHere({"check", m_model, "--config", config});
        EXPECT_EQ(wrong.status, 2) << settings;
        EXPECT_THAT(wrong.err, HasSubstr(text));
    }
}

TEST_F(FindingsTest, WhatCannotBeReadIsNotTakenForMissing) {
    // The second element cannot be read, so its nodes are not known to be unused or apart.
    Import(".msh", Edited(kMembrane, {{"4 41", "4 inf"}}), BreakConnectivity);
    const json report = Report({"--skip", "VIZ"});
    EXPECT_EQ(report["complete"], false);
    EXPECT_THAT(report["reasons"].dump(), HasSubstr("lacks nodes"));
    ASSERT_THAT(report["findings"], testing::SizeIs(1)) << report.dump(1);
    EXPECT_EQ(TextOf(report["findings"][0]), "FLD001 step \"Step-1\", field \"heat\" 4");
    EXPECT_EQ(RunHere({"check", m_model}).status, 3);

    // Without blocks there is no model, but what can be told is told.
    Import(".bdf", kPlate, BreakShape);
    const json broken = Report();
    EXPECT_THAT(broken["reasons"].dump(), HasSubstr("the element shape \\\"CUBE\\\" is not known"));
    std::vector<std::string> found;
    for (const json& finding : broken["findings"]) {
        found.push_back(finding["rule"]);
    }
    EXPECT_THAT(found, testing::Contains("VIZ024"));
}

TEST_F(FindingsTest, FindingsSayWhereAndAreReadByOtherPrograms) {
    m_model = m_folder / "a model.orq";
    Import(".bdf", Edited(kPlate, {{"CQUAD4,1", "GRID,7,,9.,8.,7.\nCQUAD4,1"}}));
    const CommandResult text = RunHere({"check", m_model, "--only", "NOD"});
    EXPECT_THAT(text.out, HasSubstr("warning NOD002: node that no element uses\n"
                                    "  used by no element; 1 node: PART-1 7 (the first at 9, 8, "
                                    "7)\n"));
    const json log = json::parse(RunHere({"check", m_model, "--format", "sarif"}).out);
    EXPECT_EQ(log["version"], "2.1.0");
    const json& run = log["runs"][0];
    std::set<std::string> known;
    for (const json& rule : run["tool"]["driver"]["rules"]) {
        EXPECT_TRUE(known.insert(rule["id"]).second) << rule["id"];
    }
    ASSERT_FALSE(run["results"].empty());
    for (const json& result : run["results"]) {
        const json& place = result["locations"][0]["physicalLocation"]["artifactLocation"];
        EXPECT_THAT(place["uri"], testing::EndsWith("/a%20model.orq"));
        EXPECT_TRUE(known.contains(result["ruleId"])) << result["ruleId"];
        EXPECT_THAT((std::set<std::string>{"error", "warning", "note"}),
                    testing::Contains(result["level"]));
    }

    // A rule that was left out did not pass.
    PutBytes(m_folder / "junit.xml",
             RunHere({"check", m_model, "--format", "junit", "--skip", "ELM"}).out);
    const CommandResult counted = [&] {
        const std::string script =
            "import sys, xml.etree.ElementTree as t\n"
            "s = t.parse(sys.argv[1]).getroot()[0]\n"
            "c = s.findall('testcase')\n"
            "print(len(c) == int(s.get('tests')), s.get('failures'),"
            " [x.get('name')[:6] for x in c if x.find('failure') is not None],"
            " {x.get('classname') for x in c if x.find('skipped') is not None})\n";
        const pid_t process = StartProgram(ORQ_PYTHON, {"-c", script, m_folder / "junit.xml"},
                                           m_folder / "out", m_folder / "err");
        const int status = StatusOf(process);
        return CommandResult{status, Bytes(m_folder / "out"), Bytes(m_folder / "err")};
    }();
    EXPECT_EQ(counted.out, "True 1 ['NOD002'] {'ELM'}\n") << counted.err;
}

TEST_F(FindingsTest, WhatIsFoundBecomesSetsThatTheNextCheckReplaces) {
    Import(".bdf", Edited(kPlate, {{"CQUAD4,1", "GRID,7,,9.,8.,7.\nCQUAD4,1"}}));
    const auto sets = [&] {
        std::vector<std::string> lines;
        const json list = json::parse(RunHere({"list", "sets", m_model, "--json"}).out);
        for (const json& row : list["objects"]) {
            lines.push_back(row["name"].get<std::string>() + " " + row["members"].dump());
        }
        return lines;
    };
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(RunHere({"check", m_model, "--write-sets", "--only", "NOD002"}).status, 0);
        EXPECT_THAT(sets(), testing::Contains("check NOD002 1"));
        EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
    }
    EXPECT_EQ(RunHere({"check", m_model, "--write-sets", "--only", "ELM"}).status, 0);
    EXPECT_THAT(sets(), testing::Not(testing::Contains(HasSubstr("check"))));

    // Numbers as high as there are leave room for more sets.
    exodus_file::Content content;
    content.labels.clear();
    content.x = {0, 1, 1, 0, 9};
    content.y = {0, 0, 1, 1, 9};
    content.z = std::vector<double>(5, 0.0);
    content.blocks = {{1, "plate", "SHELL4", 4, {1, 2, 3, 4}, {}}};
    content.nodeSets = {{std::numeric_limits<int>::max(), "last", {1}, {}}};
    std::filesystem::remove_all(m_model);
    exodus_file::Write(content, m_folder / "plate.e");
    ASSERT_EQ(RunHere({"import", m_folder / "plate.e", "-o", m_model}).status, 0);
    EXPECT_EQ(RunHere({"check", m_model, "--write-sets", "--only", "NOD002"}).status, 0);
    EXPECT_THAT(sets(), testing::Contains("check NOD002 1"));
    EXPECT_EQ(RunHere({"export", m_model, "-o", m_folder / "again.e"}).status, 0);

    // A set to which a section was assigned since stays, with the assignment.
    Import(".bdf", Edited(kPlate, {{"CQUAD4,2,1,2,3,6,5", "CQUAD4,2,1,2,3,5,5"}}));
    const Arguments collapsed = {"check", m_model, "--write-sets", "--only", "ELM001"};
    EXPECT_EQ(RunHere(collapsed).status, 0);
    ChangeModel([](const ORQObjDocument& document) {
        const ORQSimPosition model = document.GetModel();
        (*model.GetVector(ORQSimSchema::Model_sectionAssignments).Begin())
            .SetPosition(ORQSimSchema::SectionAssignment_region,
                         model.GetMap(ORQSimSchema::Model_elementSets)
                             .Find("check ELM001")
                             .Parent(ORQSimSchema::Region_elementsCluster));
    });
    const CommandResult used = RunHere(collapsed);
    EXPECT_EQ(used.status, 2);
    EXPECT_THAT(used.err, HasSubstr("\"check ELM001\" is in use"));
    EXPECT_THAT(used.out, HasSubstr("ELM001"));
    EXPECT_THAT(sets(), testing::Contains("check ELM001 1"));
}

TEST_F(FindingsTest, WhatIsFoundIsDrawnInRed) {
    Import(".bdf",
           Edited(kPlate, {{"CQUAD4,2,1,2,3,6,5", "GRID,7,,1.,2.,0.\nCQUAD4,2,1,2,5,6,3"}}));
    const std::string picture = m_folder / "found.svg";
    EXPECT_EQ(RunHere({"check", m_model, "--skip", "VIZ", "--draw", picture}).status, 0);
    const std::string text = Bytes(picture);
    EXPECT_THAT(text, HasSubstr("found elements (1)"));
    EXPECT_THAT(text, HasSubstr("found nodes (1)"));
    EXPECT_THAT(text, HasSubstr("#d61e1e"));
    const CommandResult again = RunHere({"check", m_model, "--draw", picture});
    EXPECT_EQ(again.status, 2);
    EXPECT_THAT(again.err, HasSubstr("exists already"));
    EXPECT_EQ(RunHere({"check", m_model, "--draw", m_folder / "found.pdf"}).status, 2);
}

TEST_F(FindingsTest, DamagedStorageIsOneFinding) {
    // One with arrays that do not stand in the catalogue.
    std::filesystem::remove_all(m_model);
    ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", m_model}).status, 0);
    EXPECT_THAT(FoundOf({"--only", "STO"}), IsEmpty());
    const std::string bulk = m_model + "/bulk.bin";
    const std::string whole = Bytes(bulk);
    std::string bytes = whole;
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), bytes.end(), '\x5A');
    PutBytes(bulk, bytes);
    EXPECT_THAT(FoundOf({"--only", "STO"}), ElementsAre("STO001"));
    EXPECT_EQ(RunHere({"check", m_model, "--only", "STO"}).status, 1);
    PutBytes(bulk, whole);
}

// A host's rule: a model may have so many nodes.
// Reading all of a large database takes as long as all other rules.
TEST_F(FindingsTest, ProgressGoesOnWhileTheStorageIsReadAndMayEndIt) {
    Import(".bdf", kPlate);
    const ORQObjDocument document(
        ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadOnly));
    std::vector<double> told;
    ORQExcCheckOptions options{.only = {"STO"}};
    options.progress = [&](double done) { told.push_back(done); };
    EXPECT_THAT(ORQExcChecker().Run(document, options).findings, IsEmpty());
    EXPECT_GT(told.size(), 1U) << "only when the rule is done";
    EXPECT_TRUE(std::ranges::is_sorted(told));
    EXPECT_EQ(told.back(), 1.0);
    struct GivenUp {};
    options.progress = [](double) { throw GivenUp(); };
    EXPECT_THROW(ORQExcChecker().Run(document, options), GivenUp);
}

TEST_F(FindingsTest, AHostAddsRulesOfItsOwn) {
    class CountNodes : public ORQExcCheckRun {
      public:
        explicit CountNodes(const ORQExcCheckedModel& model, const ORQExcRule& rule)
            : m_model(model), m_rule(rule) {}
        void Finish(std::vector<ORQExcFinding>& findings) override {
            if (m_model.Model().NumNodes() > m_model.Limit(m_rule)) {
                findings.push_back({.rule = m_rule.id, .message = "too many"});
            }
        }

      private:
        const ORQExcCheckedModel& m_model;
        const ORQExcRule& m_rule;
    };
    static const ORQExcRule rule = {.id = "OWN001",
                                    .level = ORQExcLevel::Warning,
                                    .title = "large model",
                                    .meaning = "",
                                    .breaks = "",
                                    .mending = "",
                                    .limit = 5.0};
    Import(".bdf", kPlate);
    const ORQSimDatabase database =
        ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadOnly);
    ORQExcChecker checker;
    checker.Add({{rule}, [](const ORQExcCheckedModel& model) {
                     return std::make_unique<CountNodes>(model, rule);
                 }});
    const auto found = [&](const ORQExcCheckOptions& options) {
        return checker.Run(ORQObjDocument(database), options).findings.size();
    };
    EXPECT_EQ(found({.only = {"OWN"}}), 1U);
    EXPECT_EQ(found({.only = {"OWN"}, .limits = {{"OWN001", 6}}}), 0U);
    EXPECT_ANY_THROW(checker.Add({{rule}, nullptr}));
}

}  // namespace
}  // namespace orqmodel
