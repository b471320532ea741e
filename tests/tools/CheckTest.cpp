// The check command: findings, their explanations, and errors that end a check early.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "CheckedDefects.h"
#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "WingBoxAnalysis.h"
#include "check/DisplayRules.h"

namespace orqmodel {
namespace {

using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

class CheckTest : public testing::Test {
  protected:
    /// The wing box with its layers.
    void ImportWingBox() const {
        ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", m_database, "--layup", ORQ_WING_BOX_LAYUP})
                      .status,
                  0);
    }
    template <class Change>
    void Edit(const Change& change) const {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(m_database), ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        change(ORQObjDocument(database));
        transaction.Commit();
    }

    ScratchFolder m_folder;
    std::string m_database = (m_folder / "model.orq").string();
};

TEST_F(CheckTest, TheWingBoxWithItsAnalysisHasNoFindingsOfTheModelChecker) {
    ImportWingBox();
    const CommandResult bare = RunHere({"check", m_database, "--only", "VIZ"});
    EXPECT_EQ(bare.status, 0);
    EXPECT_THAT(bare.out, HasSubstr("note VIZ024: Model has no Steps.\n"));

    Edit(wing_box::AddAnalysis);
    const CommandResult whole = RunHere({"check", m_database, "--only", "VIZ"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.out, "0 errors, 0 warnings, 0 notes\n");
    EXPECT_EQ(whole.err, "");
    const CommandResult all = RunHere({"check", m_database, "--fail-on", "warning"});
    EXPECT_EQ(all.status, 0) << all.out << all.err;
    EXPECT_EQ(RunHere({"verify", m_database}).status, 0);
}

TEST_F(CheckTest, ASectionThatCannotBeReadIsNamedAfterTheFindings) {
    ImportWingBox();
    Edit([](const ORQObjDocument& document) {
        const ORQSimPosition data =
            document.GetModel().GetPosition(ORQSimSchema::Model_sectionData);
        const ORQSimDistribution thicknesses(
            ORQObjMeshedField(data.GetPosition(ORQSimSchema::SectionData_distributedThicknesses))
                .GetDistribution());
        const std::array values = {0.001, 0.001};
        const auto first = [&](int dimension, int count) {
            return ORQSimCollection(thicknesses.Grid().Collection(dimension))
                .CreateTempCSetStrided(0, count, 1, 1);
        };
        ORQSimTransfer(thicknesses)
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, first(0, 2))
            .SetDim(1, first(1, 1))
            .SetBuffer(ORQSimbufMain, values.data(), sizeof values)
            .ExecWrite();
    });
    const CommandResult result = RunHere({"check", m_database});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.out, HasSubstr("  Model has no Steps.\n"));
    EXPECT_THAT(result.err,
                AllOf(HasSubstr(ModelAt(m_database)), HasSubstr("section \"skin upper\""),
                      HasSubstr("layer.Size() == 1")));
    const CommandResult jsonResult = RunHere({"check", m_database, "--json"});
    EXPECT_EQ(jsonResult.status, 3) << jsonResult.err;
    const json object = json::parse(jsonResult.out);
    EXPECT_FALSE(object["complete"]);
    EXPECT_THAT(object["reasons"][0].get<std::string>(),
                AllOf(HasSubstr("section \"skin upper\""), HasSubstr("layer.Size() == 1")));
}

// What the reader of sections calls wrong use is not the user's.
TEST_F(CheckTest, ValuesThatTheDatabaseRefusesEndTheCheckAsUnreadable) {
    ImportWingBox();
    Edit([](const ORQObjDocument& document) {
        const ORQSimPosition data =
            document.GetModel().GetPosition(ORQSimSchema::Model_sectionData);
        data.SetPosition(ORQSimSchema::SectionData_constantThicknesses,
                         ORQObjMesh(document.GetMesh()).GetCoordinates());
    });
    const CommandResult result = RunHere({"check", m_database, "--json"});
    EXPECT_EQ(result.status, 3);
    const json object = json::parse(result.out);
    EXPECT_FALSE(object["complete"]);
    EXPECT_EQ(object["findings"][0]["message"], "Model has no Steps.");
    EXPECT_THAT(object["reasons"][0].get<std::string>(),
                AllOf(HasSubstr(ModelAt(m_database)), HasSubstr("section \"skin upper\""),
                      HasSubstr("collection")));
    EXPECT_THAT(result.err, HasSubstr("section \"skin upper\""));
}

TEST_F(CheckTest, NoDatabaseIsAnError) {
    const CommandResult result = RunHere({"check", (m_folder / "none.orq").string()});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("none.orq"));
}

TEST(DisplayRules, EveryFindingOfTheModelCheckerHasItsRule) {
    using orq::exchange::DisplayRuleOf;
    using orq::exchange::DisplayRules;
    const ORQExcRule* const others = &DisplayRules().back();
    std::set<const ORQExcRule*> met;
    for (const auto* defects : {&checked_defects::MeshDefects(), &checked_defects::RegionDefects(),
                                &checked_defects::StepDefects(), &checked_defects::HistoryDefects(),
                                &checked_defects::SectionDefects()}) {
        for (const auto& defect : *defects) {
            for (const std::string& finding : defect.findings) {
                met.insert(&DisplayRuleOf(finding));
                EXPECT_NE(&DisplayRuleOf(finding), others) << defect.name;
            }
        }
    }
    met.insert(&DisplayRuleOf("Mesh is not present in this Model."));
    met.insert(&DisplayRuleOf("Shell section \"S\" cannot be checked: field 0 holds a string."));
    for (const ORQExcRule& rule : DisplayRules()) {
        EXPECT_TRUE(&rule == others || met.contains(&rule)) << rule.title;
    }
    EXPECT_EQ(&DisplayRuleOf("what nobody knows"), others);
}

}  // namespace
}  // namespace orqmodel
