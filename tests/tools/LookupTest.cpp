// Looking things up in a model of two instances, and in two models: find and map.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>
#include <set>

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
        const ORQSimDatabase database = ORQSimDatabase::Create(m_model);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        builder.SetModelPrefix("M1");
        Label(builder, "LEFT", {30, 10, 20});
        Label(builder, "RIGHT", {10, 5});
        builder.AddNodes(1);  // without a label
        const ORQSimCSetID nodes = Nodes(builder, {3, 0, 1, 5});
        builder.AddNodeSet("M1_LEFT_ENDS", 1, nodes);
        builder.AddNodeSet("TIPS A", 2, Nodes(builder, {4}));
        builder.AddElementSet("SKIN", 3, builder.AddElements(1));
        builder.AddSurface("INP2SIM_ELSET_SKIN", 4, {{0, builder.AddElements(2)}});
        builder.Model()
            .GetMap(ORQSimSchema::Model_orientations)
            .Insert("ORI-1", builder.Model().CreateDataRecord(ORQSimSchema::Orientation).Pos());
        builder.Model().GetMap(ORQSimSchema::Model_nodeSets).Insert("WRONG", builder.Mesh());
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
        const std::string path = m_folder / name;
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        Label(builder, "PART-1", labels);
        std::vector<double> coordinates;
        for (const double value : x) {
            coordinates.insert(coordinates.end(), {value, 1.0, 0.0});
        }
        ORQSrvNodalCoordinates(builder.Coordinates(), 10)
            .Append(transaction, ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCSet(),
                    builder.SpatialDirections(3), coordinates.data());
        builder.AddNodeSet("ENDS", 1, Nodes(builder, {2, 0}));
        transaction.Commit();
        return path;
    }
    CommandResult Find(Arguments arguments) const {
        arguments.insert(arguments.begin(), {"find", m_model});
        return RunHere(arguments);
    }

    exodus_file::ScratchFolder m_folder;
    const std::string m_model = ModelAt(m_folder / "model.orq");
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
    ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", m_folder / "box.orq"}).status, 0);
    EXPECT_EQ(RunHere({"find", m_folder / "box.orq", "elset", "skin_upper"}).out,
              "element set skin_upper: 824 elements\n  PART-1: 10001-10640, 10665-10848\n");
}

TEST_F(LookupTest, FindTakesKeysWithQuotesAndEitherCaseOfLetters) {
    const std::string path = m_folder / "quotes.orq";
    {
        const ORQSimDatabase database = ORQSimDatabase::Create(path);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        Label(builder, "P", {1, 2, 3, 4, 5, 6, 7});
        int number = 0;
        for (const char* key : {"5\"PIPE", "A_\"B", "\"C", "TOP", "Top", "P_Ends", "x"}) {
            builder.AddNodeSet(key, 1, Nodes(builder, {number++}));
        }
        builder.Model()
            .GetMap(ORQSimSchema::Model_internalNodeSets)
            .Insert("X", ORQSimPosition(Nodes(builder, {6})));
        transaction.Commit();
    }
    // As a program of its own: the lookup would end the process.
    const auto key = [&](const Arguments& name) {
        Arguments arguments = {"find", path, "nodeset", "--json"};
        arguments.insert(arguments.end(), name.begin(), name.end());
        const CommandResult result = RunProgram(arguments);
        return result.out.empty() ? json(result.status) : json::parse(result.out)["key"];
    };
    for (const char* exact : {"5\"PIPE", "A_\"B", "\"C", "TOP", "Top", "P_Ends", "x", "X"}) {
        EXPECT_EQ(key({exact}), exact);
    }
    EXPECT_EQ(key({"5\"pipe"}), "5\"PIPE");
    EXPECT_EQ(key({"a.\"b"}), "A_\"B");
    EXPECT_EQ(key({"p.ends"}), "P_Ends");
    EXPECT_EQ(key({"ends", "--instance", "p"}), "P_Ends");
    EXPECT_EQ(key({"top"}), nullptr);  // which of the two is meant?
    EXPECT_EQ(key({"\"D"}), 2);
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

TEST_F(LookupTest, EverySetOfEveryRealModelIsFoundByItsName) {
    const std::string model = m_folder / "real.orq";
    for (const char* name : {"wing_box.e", "box_solid_shell_results.g", "basemat_isolators.e",
                             "block_crush_1.ex2", "subduction_tri.exo"}) {
        const std::filesystem::path file = std::string(name) == "wing_box.e"
                                               ? std::filesystem::path(ORQ_WING_BOX)
                                               : std::filesystem::path(ORQ_SHARED_MODELS) / name;
        if (!std::filesystem::exists(file)) {
            continue;
        }
        ASSERT_EQ(RunHere({"import", file.string(), "-o", model, "--force"}).status, 0);
        const exodus_file::Mesh mesh = exodus_file::Read(file);
        const auto count = [&](const char* kind, const std::string& set) {
            const CommandResult result = RunHere({"find", model, kind, set, "--json"});
            EXPECT_EQ(result.status, 0) << result.err;
            const json found = json::parse(result.out);
            EXPECT_EQ(found["key"], set);
            return found["instances"][0]["members"].size();
        };
        for (const auto& block : mesh.blocks) {
            EXPECT_EQ(count("elset", block.name), block.elements.size()) << block.name;
        }
        for (const auto& set : mesh.nodeSets) {
            EXPECT_EQ(count("nodeset", set.name), set.members.size()) << set.name;
        }
        for (const auto& set : mesh.sideSets) {
            EXPECT_EQ(count("surface", set.name), set.members.size()) << set.name;
        }
    }
    const CommandResult text =
        RunHere({"find", model, "nodeset", "no such", "--instance", "PART-1"});
    EXPECT_EQ(text.status, 1);
}

// As a program of its own: what a service does to its process would show.
TEST_F(LookupTest, FindSurvivesWhatWouldEndTheProcess) {
    const auto find = [&](const std::string& name, const std::string& instance) {
        return RunProgram({"find", m_model, "nodeset", name, "--instance", instance});
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

TEST_F(LookupTest, MapMatchesAModelAndItsRemeshedCopyAsAPlainJoinDoes) {
    const exodus_file::Mesh mesh = exodus_file::Read(ORQ_WING_BOX);
    // The copy: nodes in another order, a fifth of the elements gone, new nodes in new elements.
    std::vector<int> order(mesh.positions.size());
    std::iota(order.begin(), order.end(), 0);
    std::mt19937 random(11);
    std::ranges::shuffle(order, random);
    exodus_file::Content copy;
    copy.x = copy.y = copy.z = {};
    copy.labels = {};
    std::vector<std::int64_t> placeOf(order.size());
    const auto add = [&](const std::vector<double>& at, int label) {
        copy.x.push_back(at[0]);
        copy.y.push_back(at[1]);
        copy.z.push_back(at[2]);
        copy.labels.push_back(label);
        return std::ssize(copy.x);
    };
    for (const int node : order) {
        placeOf[static_cast<std::size_t>(node)] =
            add(mesh.positions[static_cast<std::size_t>(node)],
                mesh.labels[static_cast<std::size_t>(node)]);
    }
    std::set<int> elementsInBoth;
    std::size_t nElements = 0;
    for (const auto& block : mesh.blocks) {
        exodus_file::BlockContent content{
            block.id, block.name, block.shape, std::ssize(block.elements[0]), {}, {}};
        for (std::size_t i = 0; i < block.elements.size(); ++i, ++nElements) {
            if (random() % 5 == 0) {
                continue;
            }
            for (const int node : block.elements[i]) {
                content.nodes.push_back(placeOf[static_cast<std::size_t>(node)]);
            }
            copy.elementLabels.push_back(block.labels[i]);
            elementsInBoth.insert(block.labels[i]);
        }
        copy.blocks.push_back(content);
    }
    exodus_file::BlockContent patch{99, "patch", "SHELL3", 3, {}, {}};
    constexpr int kNewNodes = 60;
    for (int i = 0; i < kNewNodes; ++i) {
        patch.nodes.push_back(add({i * 0.1, 0.5, 0.25}, 5'000'000 + i));
    }
    for (int i = 0; i < kNewNodes / 3; ++i) {
        copy.elementLabels.push_back(6'000'000 + i);
    }
    copy.blocks.push_back(patch);
    exodus_file::Write(copy, m_folder / "copy.e");

    const std::string first = m_folder / "first.orq";
    const std::string second = m_folder / "second.orq";
    ASSERT_EQ(RunHere({"import", ORQ_WING_BOX, "-o", first}).status, 0);
    ASSERT_EQ(RunHere({"import", m_folder / "copy.e", "-o", second}).status, 0);
    const auto& set = mesh.nodeSets.front();
    const json map =
        json::parse(RunHere({"map", first, second, "--nodeset", set.name, "--json"}).out);
    EXPECT_EQ(map["nodes"], (json{{{"instance", "PART-1"},
                                   {"matched", mesh.positions.size()},
                                   {"primary_only", 0},
                                   {"secondary_only", kNewNodes}}}));
    EXPECT_EQ(map["elements"], (json{{{"instance", "PART-1"},
                                      {"matched", elementsInBoth.size()},
                                      {"primary_only", nElements - elementsInBoth.size()},
                                      {"secondary_only", kNewNodes / 3}}}));
    EXPECT_EQ(map["moved"], json::array());
    std::vector<std::int64_t> mapped;
    std::vector<std::int64_t> expected;
    for (const json& member : map["nodeset"]["members"]) {
        mapped.push_back(member["secondary_ordinal"].get<std::int64_t>() + 1);
    }
    for (const int node : set.members) {
        expected.push_back(placeOf[static_cast<std::size_t>(node)]);
    }
    EXPECT_EQ(mapped, expected);
}

TEST_F(LookupTest, MapFindsNothingBetweenAModelAndItself) {
    EXPECT_EQ(RunHere({"map", m_model, m_model}).status, 0);
    const CommandResult strangers =
        RunHere({"map", m_model, MakeOther("other.orq", {1, 2, 3}, {0, 0, 0})});
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
    EXPECT_EQ(RunHere({"map", m_model, m_model, "--nodeset", "none"}).status, 1);
    EXPECT_EQ(RunProgram({"map", m_model, m_model, "--nodeset", "\"ENDS"}).status, 2);
    EXPECT_EQ(RunHere({"map", m_model, m_folder / "absent.orq"}).status, 3);
    EXPECT_EQ(RunHere({"map", m_model, m_model, "--tolerance", "-1"}).status, 2);
}
