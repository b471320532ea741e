// What `check --fix` mends, and what it leaves alone.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "CheckedModel.h"
#include "CommandRun.h"
#include "EditedText.h"
#include "ExodusFile.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "SampleMeshes.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using MendingTest = CheckedModelTest;

TEST_F(MendingTest, WhatNeedsNoJudgementIsMendedInOneGo) {
    const std::vector<Edit> apart = {
        {"CQUAD4,2,1,2,3,6,5", "GRID,7,,9.,8.,7.\nGRID,15,,1.,1.,0.\nCQUAD4,2,1,2,3,6,15"}};
    Import(".bdf", Edited(kPlate, apart));
    {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        const ORQSimCollection nodes(
            ORQObjMesh(ORQObjDocument(database).GetMesh()).GetNodeCollection().GetCollection());
        const ORQObjModelBuilder builder(database);
        builder.AddNodeSet("none", 100, nodes.EmptyCSetID());
        // With its only node this one goes, too.
        const int last = nodes.Space() - 2;
        builder.AddNodeSet("seventh", 101, ORQSimCollection(nodes).CreateCSet(&last, 1, true));
        transaction.Commit();
    }
    const auto found = [](const json& report) {
        std::vector<std::string> texts;
        for (const json& finding : report["findings"]) {
            texts.push_back(TextOf(finding));
        }
        return texts;
    };
    const std::vector<std::string> before = {"NOD002 7", "NOD003 5 15", "SET001 node set \"none\""};
    EXPECT_EQ(found(Report({"--skip", "VIZ"})), before);
    const json tried = Report({"--skip", "VIZ", "--fix", "--dry-run"});
    EXPECT_THAT(found(tried), IsEmpty());
    EXPECT_EQ(found(Report({"--skip", "VIZ"})), before);
    // What is not wanted is not mended.
    EXPECT_EQ(found(Report({"--only", "NOD003", "--fix"})), std::vector<std::string>());
    EXPECT_EQ(found(Report({"--skip", "VIZ"})),
              (std::vector<std::string>{"NOD002 7", "SET001 node set \"none\""}));
    const json mended = Report({"--skip", "VIZ", "--fix"});
    EXPECT_EQ(mended["report"]["dropped"].size(), 3U);
    EXPECT_EQ(mended["dry_run"], false);
    EXPECT_THAT(found(Report({"--skip", "VIZ"})), IsEmpty());
    EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
    EXPECT_EQ(
        RunHere({"table", m_model, "--elements", "2", "--quantity", "connectivity", "--csv"}).out,
        "instance,element,shape,node 1,node 2,node 3,node 4\nPART-1,2,SHELL4,2,3,6,5\n");

    // A model of which not all can be read stays as it is.
    Import(".msh", kMembrane, BreakConnectivity);
    const CommandResult whole = RunHere({"info", m_model, "--json"});
    EXPECT_EQ(RunHere({"check", m_model, "--fix"}).status, 3);
    EXPECT_EQ(RunHere({"info", m_model, "--json"}).out, whole.out);
    for (const Arguments& options : std::vector<Arguments>{
             {"--dry-run"}, {"--fix", "--write-sets"}, {"--fix", "--baseline", "x.json"}}) {
        Arguments all = {"check", m_model};
        all.insert(all.end(), options.begin(), options.end());
        EXPECT_EQ(RunHere(all).status, 2);
    }
}

// Each shape, first and second order, is turned outside in and comes back as it was but for the order.
TEST_F(MendingTest, SolidsThatAreInsideOutAreTurned) {
    exodus_file::Content content = OneOfEachShape();
    std::set<std::string> mirrored;
    for (double& x : content.x) {
        x = -x;
    }
    content.sideSets = {};
    exodus_file::Write(content, m_folder / "all.e");
    ASSERT_EQ(RunHere({"import", m_folder / "all.e", "-o", m_model}).status, 0);
    const auto sizes = [&] {
        const json table =
            json::parse(RunHere({"table", m_model, "--quantity", "volume", "--json"}).out);
        std::vector<double> values;
        for (const json& row : table["rows"]) {
            values.push_back(row.back().is_number() ? row.back().get<double>() : 0);
        }
        return values;
    };
    const std::vector<double> before = sizes();
    ASSERT_FALSE(before.empty());
    for (const std::string& text : FoundOf({"--only", "ELM005"})) {
        mirrored.insert(text);
    }
    EXPECT_GE(mirrored.size(), 8U);
    EXPECT_EQ(FoundOf({"--only", "ELM005,ELM007"}).size(), mirrored.size());
    EXPECT_THAT(FoundOf({"--only", "ELM005", "--fix", "--dry-run"}), IsEmpty());
    EXPECT_EQ(FoundOf({"--only", "ELM005"}).size(), mirrored.size());
    const json mended = Report({"--only", "ELM005", "--fix"});
    EXPECT_EQ(mended["report"]["changed"].size(), mirrored.size()) << mended["report"].dump(1);
    // Middles have gone with their edges.
    EXPECT_THAT(FoundOf({"--only", "ELM005,ELM007"}), IsEmpty());
    const std::vector<double> after = sizes();
    ASSERT_EQ(after.size(), before.size());
    for (std::size_t i = 0; i < after.size(); ++i) {
        EXPECT_NEAR(std::abs(after[i]), std::abs(before[i]), 1e-12);
    }
    EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
}

// The sides of a surface would be others, so its elements stay as they are, and are told.
TEST_F(MendingTest, ASolidWithAFaceInASurfaceIsNotTurned) {
    exodus_file::Content content;
    content.labels.clear();
    content.x = {0, 1, 0, 0};
    content.y = {0, 0, 1, 0};
    content.z = {0, 0, 0, 1};
    content.blocks = {{1, "solid", "TET4", 4, {1, 3, 2, 4}, {}}};
    content.sideSets = {{1, "wet", {1}, {1}}};
    exodus_file::Write(content, m_folder / "one.e");
    ASSERT_EQ(RunHere({"import", m_folder / "one.e", "-o", m_model}).status, 0);
    const json report = Report({"--only", "ELM005", "--fix"});
    EXPECT_THAT(report["report"].dump(), HasSubstr("faces of them are in surfaces"));
    EXPECT_EQ(report["findings"].size(), 1U);
}

// Of six shells 3 is 1 again and 5 is 2 again; 4 has the nodes of 1 in another order, and a face of 6,
// which is 2 again, is in a surface. What is stored by element follows.
TEST_F(MendingTest, EqualElementsAreMergedAndSetsNameTheOneThatStays) {
    exodus_file::Content content;
    content.labels.clear();
    content.x = {0, 1, 2, 0, 1, 2};
    content.y = {0, 0, 0, 1, 1, 1};
    content.z = {0, 0, 0, 0, 0, 0};
    content.blocks = {{1,
                       "plate",
                       "SHELL4",
                       4,
                       {1, 2, 5, 4, 2, 3, 6, 5, 1, 2, 5, 4, 2, 5, 4, 1, 2, 3, 6, 5, 2, 3, 6, 5},
                       {}},
                      {2, "other", "SHELL4", 4, {1, 2, 5, 4}, {}}};
    content.elementLabels = {10, 20, 30, 40, 50, 60, 70};
    content.elementSets = {{1, "later", {3, 5}, {}}, {2, "both", {1, 3, 4}, {}}};
    content.sideSets = {{1, "wet", {6}, {1}}};
    exodus_file::Write(content, m_folder / "plate.e");
    ASSERT_EQ(RunHere({"import", m_folder / "plate.e", "-o", m_model}).status, 0);
    const auto table = [&](const char* set) {
        return RunHere({"table", m_model, "--set", set, "--quantity", "connectivity", "--csv"}).out;
    };
    ASSERT_THAT(FoundOf({"--only", "ELM002"}), ElementsAre("ELM002 30 40 50 60 70"));
    const json mended = Report({"--only", "ELM002", "--fix"});
    EXPECT_EQ(mended["report"]["changed"][0]["count"], 2) << mended["report"].dump(1);
    EXPECT_THAT(mended["report"].dump(), HasSubstr("faces of them are in surfaces"));
    EXPECT_THAT(FoundOf({"--only", "ELM002"}), ElementsAre("ELM002 40 60 70"));
    constexpr const char* kHead = "instance,element,shape,node 1,node 2,node 3,node 4\n";
    EXPECT_EQ(table("later"), std::string(kHead) +
                                  "PART-1,10,SHELL4,1,2,5,4\n"
                                  "PART-1,20,SHELL4,2,3,6,5\n");
    EXPECT_EQ(table("both"), std::string(kHead) +
                                 "PART-1,10,SHELL4,1,2,5,4\n"
                                 "PART-1,40,SHELL4,2,5,4,1\n");
    EXPECT_EQ(RunHere({"verify", m_model}).status, 0);
    ASSERT_EQ(RunHere({"export", m_model, "-o", m_folder / "back.e"}).status, 0);
    const exodus_file::Mesh back = exodus_file::Read(m_folder / "back.e");
    ASSERT_EQ(back.blocks.size(), 2U);
    EXPECT_EQ(back.blocks[0].labels, (std::vector<int>{10, 20, 40, 60}));
    EXPECT_EQ(back.sideSets[0].members, std::vector<int>{3});
}

// Another section or offset, or a card that names an element, makes a difference.
TEST_F(MendingTest, ElementsOfOtherSectionsAndThoseThatCardsNameAreNotMerged) {
    const std::vector<Edit> doubled = {
        {"PCOMP,1",
         "CQUAD4,3,1,1,2,5,4\nCQUAD4,4,2,2,3,6,5\nCQUAD4,5,1,2,3,6,5\nCQUAD4,6,1,2,3,6,5,,0.5\n"
         "PSHELL,2,2,.1\nMAT1,2,1.+7,,.3\nPLOAD4,1,5,1.0\nPCOMP,1"}};
    Import(".bdf", Edited(kPlate, doubled));
    ASSERT_THAT(FoundOf({"--only", "ELM002"}), ElementsAre("ELM002 3 5 6 4"));
    const json mended = Report({"--only", "ELM002", "--fix"});
    EXPECT_EQ(mended["report"]["changed"][0]["count"], 1) << mended["report"].dump(1);
    EXPECT_THAT(mended["report"].dump(), HasSubstr("kept cards may name them"));
    EXPECT_THAT(FoundOf({"--only", "ELM002"}), ElementsAre("ELM002 5 6 4"));
}

}  // namespace
}  // namespace orqmodel
