// Elements and sets of Exodus files that are not as they should be.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcModel.h"
#include "ORQSimDatabase.h"

namespace orqmodel {
namespace {

using exodus_file::BlockContent;
using exodus_file::Content;
using exodus_file::SetContent;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

/// Four nodes, two triangles, a quadrilateral, and a set of each kind.
Content SoundMesh() {
    Content content;
    content.isHdf5 = true;  // Keeps 64-bit numbers.
    content.blocks = {{10, "left", "TRI3", 3, {1, 2, 3, 2, 4, 3}, {}},
                      {20, "right", "QUAD4", 4, {1, 2, 4, 3}, {}}};
    content.elementLabels = {7, 9, 8};
    content.nodeSets = {{1, "nodes", {1, 4}, {}}};
    content.elementSets = {{1, "elements", {3, 1}, {}}};
    content.sideSets = {{1, "sides", {1, 3}, {2, 4}}};
    return content;
}

class ExodusElements : public testing::Test {
  protected:
    CommandResult Import(const Content& content, Arguments more = {}) {
        exodus_file::Write(content, m_file);
        Arguments arguments = {"import", m_file.string(), "-o", m_model, "--force"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunHere(arguments);
    }
    json ReportOf(const Content& content) {
        const CommandResult result = Import(content, {"--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return json::parse(result.out)["report"];
    }
    ORQExcModel Model() const {
        return ORQExcModel(
            ORQObjDocument(ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadOnly)));
    }

    exodus_file::ScratchFolder m_folder;
    std::filesystem::path m_file = m_folder / "mesh.e";
    std::string m_model = m_folder / "mesh.orq";
};

TEST_F(ExodusElements, ErrorsNameFileSectionPlaceAndValueAndLeaveNothing) {
    struct Case {
        const char* error;
        std::function<void(Content&)> spoil;
    };
    const Case cases[] = {
        {"element block 10: element 2 of the block, node 2: names node 5 of 4",
         [](Content& c) { c.blocks[0].nodes[4] = 5; }},
        {"element block 20: element 1 of the block, node 1: names node 0 of 4",
         [](Content& c) { c.blocks[1].nodes[0] = 0; }},
        {"element block 20: element 1 of the block, node 4: names node 4294967297 of 4",
         [](Content& c) { c.blocks[1].nodes[3] = 4294967297; }},
        {"element labels: elements 1 and 3 in file order both have label 7",
         [](Content& c) {
             c.elementLabels = {7, 9, 7};
         }},
        {"element labels: element 2 in file order has label 0",
         [](Content& c) {
             c.elementLabels = {7, 0, 8};
         }},
        {"node set 1: member 2 is 5, there are 4",
         [](Content& c) {
             c.nodeSets[0].members = {1, 5};
         }},
        {"element set 1: member 1 is 8, there are 3",
         [](Content& c) {
             c.elementSets[0].members = {8, 1};
         }},
        {"side set 1: side 2 is on element 4, there are 3",
         [](Content& c) {
             c.sideSets[0].members = {1, 4};
         }},
        {"side set 1: side 1 is side 6 of element 1, a TRI3 with 3 sides",
         [](Content& c) {
             c.sideSets[0].sides = {6, 4};
         }},
        {"side set 1: side 2 is side 0 of element 3",
         [](Content& c) {
             c.sideSets[0].sides = {2, 0};
         }},
        {"element blocks: the blocks have 3 elements, the file 4",
         [](Content& c) { c.claimedElements = 4, c.elementLabels = {}; }},
        {"element block 10: element 1 of the block, node 1: names node 0 of 4",
         [](Content& c) { c.blocks[0].nodes = {}, c.blocks[0].claimedElements = 2; }},
        {"2000000000 element block 10 cannot fit into a file of",
         [](Content& c) {
             c.blocks[0].nodes = {}, c.blocks[0].claimedElements = 2'000'000'000;
             c.elementLabels = {};
         }},
    };
    for (const Case& c : cases) {
        Content content = SoundMesh();
        SCOPED_TRACE(c.error);
        c.spoil(content);

        const CommandResult result = Import(content);
        EXPECT_EQ(result.status, 3) << c.error;
        EXPECT_THAT(result.err, HasSubstr(m_file.string() + ": "));
        EXPECT_THAT(result.err, HasSubstr(c.error));
        EXPECT_FALSE(std::filesystem::exists(m_model)) << c.error;
    }
    EXPECT_EQ(Import(SoundMesh()).status, 0);
}

TEST_F(ExodusElements, EmptySetsAndBlocksStay) {
    Content content = SoundMesh();
    // The format keeps no shape for a block without elements.
    content.blocks.push_back({30, "none", "HEX8", 8, {}, {}});
    content.nodeSets.push_back({2, "no nodes", {}, {}});
    content.sideSets.push_back({2, "no sides", {}, {}});
    EXPECT_EQ(ReportOf(content)["dropped"], json::array());
    const ORQExcModel model = Model();
    ASSERT_EQ(model.Blocks().size(), 3);
    EXPECT_EQ(model.Blocks()[2].name, "none");
    EXPECT_EQ(model.Blocks()[2].elements.Size(), 0);
    ASSERT_EQ(model.NodeSets().size(), 2);
    EXPECT_EQ(model.NodeSets()[1].members.Size(), 0);
    EXPECT_EQ(model.Surfaces().size(), 2);
}

// Triangles in space have five sides in the format, a model's have three.
TEST_F(ExodusElements, SidesThatAModelDoesNotKnowAreDropped) {
    Content content = SoundMesh();
    content.sideSets[0].members = {1, 2, 1};
    content.sideSets[0].sides = {2, 5, 4};
    const json dropped = ReportOf(content)["dropped"];
    ASSERT_EQ(dropped.size(), 2);
    EXPECT_EQ(dropped[0]["reason"], "a model knows no side 4 of a TRI3");
    EXPECT_EQ(dropped[1]["reason"], "a model knows no side 5 of a TRI3");
    EXPECT_EQ(Model().Surfaces().at(0).faces.size(), 1);
}

// The first block of two elements is left out; what names its elements goes with it.
TEST_F(ExodusElements, BlocksOfOtherShapesAreLeftOutWithTheirElements) {
    Content content = SoundMesh();
    content.blocks[0].shape = "SUPER";
    content.elementLabels = {7, 9, 8};
    content.elementSets[0].members = {1, 3};
    content.sideSets[0].members = {1, 3};
    content.sideSets[0].sides = {1, 4};
    const json dropped = ReportOf(content)["dropped"];
    ASSERT_EQ(dropped.size(), 1);
    EXPECT_EQ(dropped[0]["count"], 2);
    EXPECT_EQ(dropped[0]["reason"], "a model has no shape \"SUPER\" with 3 nodes");
    const ORQExcModel model = Model();
    ASSERT_EQ(model.Blocks().size(), 1);
    EXPECT_THAT(model.ElementLabels(), ElementsAre(8));
    ASSERT_EQ(model.ElementSetsBesideBlocks().size(), 1);
    EXPECT_EQ(model.ElementSetsBesideBlocks()[0]->members.Size(), 1);
    ASSERT_EQ(model.Surfaces()[0].faces.size(), 1);
    EXPECT_EQ(model.Surfaces()[0].faces[0].element, 0);
}

TEST_F(ExodusElements, NamesThatAreEmptyRepeatedLongOrNoTextAreReported) {
    const std::string longName(200, 'n');
    Content content = SoundMesh();
    content.longestName = 255;
    content.nodeSets = {
        {1, "", {1}, {}},        {2, "same", {2}, {}},         {3, "same", {3}, {}},
        {4, "caf\xE9", {4}, {}}, {5, longName, {1, 1, 2}, {}}, {6, "Same", {4}, {}}};
    const json changed = ReportOf(content)["changed"];
    std::vector<std::string> kindsAndNames;
    for (const json& entry : changed) {
        kindsAndNames.push_back(entry["kind"].get<std::string>() + ": " +
                                entry["name"].get<std::string>());
    }
    EXPECT_THAT(kindsAndNames, ElementsAre("node set: node set 1", "node set: same (3)",
                                           "node set: caf\xEF\xBF\xBD", "node set: " + longName));
    const ORQExcModel model = Model();
    std::vector<std::string> names;
    for (const ORQExcModel::Set& set : model.NodeSets()) {
        names.push_back(set.name);
    }
    EXPECT_THAT(names,
                ElementsAre("node set 1", "same", "same (3)", "caf\xEF\xBF\xBD", longName, "Same"));
    EXPECT_EQ(model.NodeSets()[4].members.Size(), 2);
}

}  // namespace
}  // namespace orqmodel
