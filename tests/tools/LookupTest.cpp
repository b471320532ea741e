// Looking things up in a model of two instances: find.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"

namespace {

using nlohmann::json;

class LookupTest : public testing::Test {
  protected:
    LookupTest() {
        const ORQSimDatabase database = ORQSimDatabase::Create(model_);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        builder.SetModelPrefix("M1");
        Label(builder, "LEFT", {30, 10, 20});
        Label(builder, "RIGHT", {10, 5});
        const ORQSimCSetID nodes = Nodes(builder, {3, 0, 1, 5});
        builder.AddNodeSet("M1_LEFT_ENDS", 1, nodes);
        builder.AddNodeSet("TIPS A", 2, Nodes(builder, {4}));
        builder.AddElementSet("SKIN", 3, builder.AddElements(1));
        builder.AddSurface("INP2SIM_ELSET_SKIN", 4, {{0, builder.AddElements(2)}});
        builder.Model()
            .GetMap(ORQSimSchema::Model_orientations)
            .Insert("ORI-1", builder.Model().CreateDataRecord(ORQSimSchema::Orientation).Pos());
        builder.Model().GetMap(ORQSimSchema::Model_nodeSets).Insert("WRONG", builder.Mesh());
        builder.AddNodes(1);
        transaction.Commit();
    }

    static ORQSimCSetID Nodes(const ORQObjModelBuilder& builder, const std::vector<int>& members) {
        return ORQSimCollection(ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCollection())
            .CreateTempOrderedCSet(members.data(), static_cast<int>(members.size()));
    }
    static void Label(const ORQObjModelBuilder& builder, const char* instance,
                      const std::vector<int>& labels) {
        builder.SetLabels(ORQObjLabelerType::Node, builder.AddInstance(instance),
                          builder.AddNodes(static_cast<int>(labels.size())), labels.data());
    }
    CommandResult Find(Arguments arguments) const {
        arguments.insert(arguments.begin(), {"find", model_});
        return RunHere(arguments);
    }

    exodus_file::ScratchFolder folder_;
    const std::string model_ = folder_ / "model.orq";
};

}  // namespace

TEST_F(LookupTest, FindShowsTheKeyAndTheMembersByInstanceAndLabel) {
    const CommandResult text = Find({"nodeset", "ENDS", "--instance", "LEFT"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out,
              "node set M1_LEFT_ENDS: 4 nodes\n"
              "  without a label: (ordinal 5)\n"
              "  LEFT: 30, 10\n"
              "  RIGHT: 10\n");
    for (const Arguments& arguments : {Arguments{"nodeset", "LEFT.ENDS"},
                                       {"nodeset", "M1::LEFT::ENDS", "--separator", "::"},
                                       {"nodeset", "\"LEFT\".\"ENDS\""}}) {
        EXPECT_EQ(Find(arguments).out, text.out);
    }
    const json found = json::parse(Find({"nodeset", "LEFT.ENDS", "--json"}).out);
    EXPECT_EQ(found["key"], "M1_LEFT_ENDS");
    EXPECT_EQ(
        found["instances"][1],
        (json{{"instance", "LEFT"},
              {"members", {{{"label", 30}, {"ordinal", 0}}, {{"label", 10}, {"ordinal", 1}}}}}));
    EXPECT_EQ(found["instances"][0]["members"][0]["label"], nullptr);
    EXPECT_EQ(Find({"nodeset", "\"TIPS A\""}).out, "node set TIPS A: 1 node\n  RIGHT: 5\n");
    EXPECT_EQ(Find({"elset", "M1_SKIN"}).out,
              "element set SKIN: 1 element\n  without a label: (ordinal 0)\n");
    EXPECT_EQ(Find({"surface", "M1_SKIN"}).out,
              "surface INP2SIM_ELSET_SKIN: 2 faces\n"
              "  without a label: (ordinal 1) side 1, (ordinal 2) side 1\n");
    EXPECT_EQ(Find({"orientation", "ORI-1"}).out, "orientation ORI-1\n");
}

TEST_F(LookupTest, FindOffersNamesThatAreSpeltAlike) {
    const CommandResult text = Find({"nodeset", "tips_b"});
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out, "");
    EXPECT_NE(text.err.find("no node set has the name tips_b; is it TIPS A?"), std::string::npos)
        << text.err;
    const CommandResult none = Find({"surface", "something else", "--json"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(json::parse(none.out)["key"], nullptr);
    EXPECT_EQ(json::parse(none.out)["alike"], json::array());
    EXPECT_EQ(json::parse(Find({"nodeset", "END", "--instance", "LEFT", "--json"}).out)["alike"],
              (json{"M1_LEFT_ENDS"}));
}

// As a program of its own: what a service does to its process would show.
TEST_F(LookupTest, FindSurvivesWhatWouldEndTheProcess) {
    const auto find = [&](const std::string& name, const std::string& instance) {
        return RunProgram({"find", model_, "nodeset", name, "--instance", instance});
    };
    for (const auto& [name, instance] :
         {std::pair("\"ENDS", ""), {"A_\"B", ""}, {"ENDS", "\"LEFT"}}) {
        const CommandResult result = find(name, instance);
        EXPECT_EQ(result.status, 2) << name;
        EXPECT_NE(result.err.find("quote"), std::string::npos) << result.err;
    }
    const CommandResult damaged = find("WRONG", "");
    EXPECT_EQ(damaged.status, 3);
    EXPECT_NE(damaged.err.find("node set WRONG is no set"), std::string::npos) << damaged.err;
    EXPECT_EQ(find("", "").status, 1);
    EXPECT_EQ(Find({"set", "ENDS"}).status, 2);
}
