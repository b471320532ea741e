// Looking things up in a model of two instances, and in two models: find and map.
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
#include "ORQSrvNodalCoordinates.h"

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
    // A model of one instance in which node i has label labels[i] and lies at x[i].
    std::string MakeOther(const char* name, const std::vector<int>& labels,
                          const std::vector<double>& x) const {
        const std::string path = folder_ / name;
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        Label(builder, "PART-1", labels);
        std::vector<double> coordinates;
        for (const double value : x)
            coordinates.insert(coordinates.end(), {value, 1.0, 0.0});
        ORQSrvNodalCoordinates(builder.Coordinates(), 10)
            .Append(transaction, ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCSet(),
                    builder.SpatialDirections(3), coordinates.data());
        builder.AddNodeSet("ENDS", 1, Nodes(builder, {2, 0}));
        transaction.Commit();
        return path;
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
    EXPECT_NE(damaged.err.find("WRONG stands for no set"), std::string::npos) << damaged.err;
    EXPECT_EQ(find("", "").status, 1);
    EXPECT_EQ(Find({"set", "ENDS"}).status, 2);
}

TEST_F(LookupTest, MapTellsWhatTwoModelsHaveInCommonAndWhatMoved) {
    const std::string first = MakeOther("first.orq", {7, 3, 5, 9}, {0, 1, 2, 3});
    const std::string second = MakeOther("second.orq", {3, 4, 7}, {1.25, 0, 0});
    const CommandResult text = RunHere({"map", first, second, "--nodeset", "ENDS"});
    EXPECT_EQ(text.status, 1) << text.err;
    EXPECT_EQ(text.out,
              "nodes\n"
              "  PART-1: 2 matched, 2 primary only, 1 secondary only\n"
              "elements\n"
              "  PART-1: 0 matched, 0 primary only, 0 secondary only\n"
              "node set ENDS: 1 of 2 nodes matched\n"
              "  PART-1 5: ordinal 2, no match\n"
              "  PART-1 7: ordinal 0 becomes 2\n"
              "1 moved by more than 0\n"
              "  PART-1 3: 0.25\n");
    const json map = json::parse(
        RunHere({"map", first, second, "--nodeset", "ENDS", "--tolerance", "0.2", "--json"}).out);
    EXPECT_EQ(map["moved"], (json{{{"instance", "PART-1"},
                                   {"label", 3},
                                   {"primary_ordinal", 1},
                                   {"secondary_ordinal", 0},
                                   {"distance", 0.25}}}));
    EXPECT_EQ(map["nodeset"]["members"][0]["secondary_ordinal"], nullptr);
    EXPECT_EQ(
        json::parse(RunHere({"map", first, second, "--tolerance", "0.25", "--json"}).out)["moved"],
        json::array());
}

TEST_F(LookupTest, MapFindsNothingBetweenAModelAndItself) {
    EXPECT_EQ(RunHere({"map", model_, model_}).status, 0);
    const CommandResult strangers =
        RunHere({"map", model_, MakeOther("other.orq", {1, 2, 3}, {0, 0, 0})});
    EXPECT_EQ(strangers.status, 1);
    EXPECT_EQ(strangers.out,
              "nodes\n"
              "  LEFT: 0 matched, 3 primary only, 0 secondary only\n"
              "  RIGHT: 0 matched, 2 primary only, 0 secondary only\n"
              "  PART-1: 0 matched, 0 primary only, 3 secondary only\n"
              "elements\n"
              "  LEFT: 0 matched, 0 primary only, 0 secondary only\n"
              "  RIGHT: 0 matched, 0 primary only, 0 secondary only\n"
              "  PART-1: 0 matched, 0 primary only, 0 secondary only\n"
              "0 moved by more than 0\n");
    EXPECT_EQ(RunHere({"map", model_, model_, "--nodeset", "none"}).status, 1);
    EXPECT_EQ(RunProgram({"map", model_, model_, "--nodeset", "\"ENDS"}).status, 2);
    EXPECT_EQ(RunHere({"map", model_, folder_ / "absent.orq"}).status, 3);
    EXPECT_EQ(RunHere({"map", model_, model_, "--tolerance", "-1"}).status, 2);
}
