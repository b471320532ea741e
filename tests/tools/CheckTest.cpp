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
#include "queries/FindingGuide.h"

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
            ORQSimDatabase::Open(m_database, ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        change(ORQObjDocument(database));
        transaction.Commit();
    }

    ScratchFolder m_folder;
    std::string m_database = (m_folder / "model.orq").string();
};

TEST_F(CheckTest, TheWingBoxWithItsAnalysisHasNoFindings) {
    ImportWingBox();
    const CommandResult bare = RunHere({"check", m_database});
    EXPECT_EQ(bare.status, 1);
    EXPECT_EQ(bare.out, "Model has no Steps.\n");

    Edit(wing_box::AddAnalysis);
    const CommandResult whole = RunHere({"check", m_database});
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.out, "");
    EXPECT_EQ(whole.err, "");
    EXPECT_EQ(RunHere({"verify", m_database}).status, 0);
}

TEST_F(CheckTest, FindingsAreExplainedInGroups) {
    ImportWingBox();
    Edit([](const ORQObjDocument& document) {
        const ORQSimSet inUse = document.Focus().GetSet(ORQSimSchema::Focus_externalPlyIds);
        std::vector<ORQSimPosition> plies;
        for (auto ply = inUse.Begin(); ply.NotDone(); ++ply) {
            plies.push_back(*ply);
        }
        for (const ORQSimPosition& ply : plies) {
            document.Focus().GetSet(ORQSimSchema::Focus_externalPlyIds).Remove(ply);
        }
    });
    const json listed = json::parse(RunHere({"check", m_database, "--json"}).out);
    EXPECT_TRUE(listed["complete"]);
    EXPECT_FALSE(listed.contains("explanations"));
    const std::size_t nFindings = listed["findings"].size();
    ASSERT_GT(nFindings, 2U);
    EXPECT_EQ(listed["findings"].back(), "Model has no Steps.");

    const json explained = json::parse(RunHere({"check", m_database, "--json", "--explain"}).out);
    ASSERT_EQ(explained["explanations"].size(), 2U);
    EXPECT_EQ(explained["explanations"][0]["check"], "Plies");
    EXPECT_EQ(explained["explanations"][0]["findings"].size(), nFindings - 1);
    EXPECT_EQ(explained["explanations"][1]["findings"], json::array({nFindings - 1}));

    const CommandResult text = RunHere({"check", m_database, "--explain"});
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(text.out, AllOf(HasSubstr("Plies\n  Ply \""),
                                HasSubstr("Steps\n  Model has no Steps.\n    It means: "),
                                HasSubstr("It breaks: "), HasSubstr("To mend it: ")));
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
    EXPECT_EQ(result.out, "Model has no Steps.\n");
    EXPECT_THAT(result.err, AllOf(HasSubstr(m_database), HasSubstr("section \"skin upper\""),
                                  HasSubstr("layer.Size() == 1")));
    const CommandResult jsonResult = RunHere({"check", m_database, "--json"});
    EXPECT_EQ(jsonResult.status, 3);
    const json object = json::parse(jsonResult.out);
    EXPECT_FALSE(object["complete"]);
    EXPECT_THAT(object["reason"].get<std::string>(),
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
    EXPECT_EQ(object["findings"], json::array({"Model has no Steps."}));
    EXPECT_THAT(
        object["reason"].get<std::string>(),
        AllOf(HasSubstr(m_database), HasSubstr("section \"skin upper\""), HasSubstr("collection")));
    EXPECT_THAT(result.err, HasSubstr("section \"skin upper\""));
}

TEST_F(CheckTest, NoDatabaseIsAnError) {
    const CommandResult result = RunHere({"check", (m_folder / "none.orq").string()});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("none.orq"));
}

TEST(FindingGuideTest, EveryFindingOfTheCheckerHasItsExplanation) {
    std::set<const FindingKind*> met;
    for (const auto* defects : {&checked_defects::MeshDefects(), &checked_defects::RegionDefects(),
                                &checked_defects::StepDefects(), &checked_defects::HistoryDefects(),
                                &checked_defects::SectionDefects()}) {
        for (const auto& defect : *defects) {
            for (const ExplainedFindings& group : Explain(defect.findings)) {
                met.insert(group.kind);
                EXPECT_NE(group.kind, &FindingKinds().back()) << defect.name;
            }
        }
    }
    met.insert(&FindingKinds().front());  // a model without a mesh
    for (const auto& group :
         Explain({"Shell section \"S\" cannot be checked: field 0 holds a string."})) {
        met.insert(group.kind);
    }
    for (const FindingKind& kind : FindingKinds().first(FindingKinds().size() - 1)) {
        EXPECT_TRUE(met.contains(&kind)) << kind.pattern;
    }
    EXPECT_EQ(Explain({"Mesh is not present in this Model.", "what nobody knows"}).back().kind,
              &FindingKinds().back());
}

}  // namespace
}  // namespace orqmodel
