// What tells two models apart. Each pair of models comes from two texts that differ in one place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CommandRun.h"
#include "EditedText.h"
#include "ExodusFile.h"
#include "Files.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::HasSubstr;

const std::string kDeck = R"(SOL 101
CEND
TITLE = PLATE
LOAD = 2
BEGIN BULK
CORD2R,3,,0.,0.,0.,0.,0.,1.
,1.,0.,0.
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,2.,0.,0.
GRID,4,,0.,1.,0.
GRID,5,,1.,1.,0.
GRID,6,,2.,1.,0.
GRID,7,,0.,2.,0.
GRID,8,,1.,2.,0.
GRID,9,,2.,2.,0.
CQUAD4,11,5,1,2,5,4
CQUAD4,12,5,2,3,6,5
CQUAD4,13,6,4,5,8,7
CQUAD4,14,6,5,6,9,8
PSHELL,5,7,0.1
PCOMP,6
,8,0.2,0.,YES,8,0.3,45.,YES
MAT1,7,7.+10,,0.3
MAT8,8,1.+11,1.+10,0.3,5.+9
SPC1,1,123,1,4,7
FORCE,2,9,,100.,0.,0.,1.
ENDDATA
)";

const std::string kGmsh = R"($MeshFormat
2.2 0 8
$EndMeshFormat
$Nodes
4
1 0 0 0
2 1 0 0
3 1 1 0
4 0 1 0
$EndNodes
$Elements
2
1 2 2 1 1 1 2 3
2 2 2 1 1 1 3 4
$EndElements
$NodeData
1
"heat"
1
0.5
3
0
1
4
1 10
2 20
3 30
4 -5
$EndNodeData
$NodeData
1
"heat"
1
1.5
3
1
1
4
1 11
2 21
3 31
4 nan
$EndNodeData
$ElementData
1
"flux"
1
0.5
3
0
3
2
1 1 2 3
2 4 5 6
$EndElementData
)";

class DiffTest : public testing::Test {
  protected:
    /// Imports a text as a model of a name and answers its path.
    std::string Model(const std::string& name, const std::string& ending, const std::string& text) {
        PutBytes(m_folder / (name + ending), text);
        const std::string model = m_folder / (name + ".orq");
        fs::remove_all(model);
        const CommandResult result = RunHere({"import", m_folder / (name + ending), "-o", model});
        EXPECT_THAT(result.status, testing::AnyOf(0, 1)) << result.err;
        return model;
    }

    ScratchFolder m_folder;
};

TEST_F(DiffTest, NamesJustWhatDiffersInADeck) {
    struct Case {
        std::vector<Edit> edits;
        std::string lines;
    };
    const std::string before = Model("before", ".bdf", kDeck);
    for (const Case& c : std::vector<Case>{
             {{}, ""},
             {{{"CQUAD4,12,5,2,3,6,5\n", ""},
               {"GRID,7,,0.,2.", "GRID,7,,0.,2.5"},
               {"7,0.1", "7,0.15"}},
              "nodes: 1 moved: PART-1 7 by 0.5\n"
              "elements: 1 removed: PART-1 12\n"
              "section \"PSHELL 5\": thickness 0.1 becomes 0.15\n"},
             {{{"CQUAD4,14,6,5,6,9,8", "CQUAD4,14,6,6,9,8,5"}},
              "elements: 1 with another connectivity: PART-1 14\n"},
             {{{"CQUAD4,14,6,5,6,9,8", "CTRIA3,14,6,5,6,9"}},
              "elements: 1 with another block, PCOMP 6 becomes PCOMP 6 CQUAD4: PART-1 13\n"
              "elements: 1 with another block, PCOMP 6 becomes PCOMP 6 CTRIA3: PART-1 14\n"
              "elements: 1 with another shape, SHELL4 becomes SHELL3: PART-1 14\n"
              "block \"PCOMP 6\": removed\n"
              "block \"PCOMP 6 CQUAD4\", \"PCOMP 6 CTRIA3\": added\n"},
             {{{"CQUAD4,14,6,", "CQUAD4,14,5,"}},
              "elements: 1 with another block, PCOMP 6 becomes PSHELL 5: PART-1 14\n"},
             {{{"CQUAD4,14,6,", "CQUAD4,15,6,"}},
              "elements: 1 removed: PART-1 14\n"
              "elements: 1 added: PART-1 15\n"},
             {{{"SPC1,1,123,1,4,7", "SPC1,1,123,1,4,8"}},
              "node set \"SPC1 1 123\": 1 member removed, PART-1 7\n"
              "node set \"SPC1 1 123\": 1 member added, PART-1 8\n"},
             {{{"SPC1,1,123,1,4,7", "SPC1,1,13,1,4,7"}},
              "node set \"SPC1 1 123\": removed\n"
              "node set \"SPC1 1 13\": added\n"},
             {{{"8,0.3,45.", "7,0.3,30."}},
              "section \"PCOMP 6\": material of layer 2 MAT8 8 becomes MAT1 7\n"
              "section \"PCOMP 6\": angle of layer 2 45 becomes 30\n"},
             {{{"8,0.3,45.,YES", ""}}, "section \"PCOMP 6\": number of layers 2 becomes 1\n"},
             {{{"7.+10,,0.3", "7.1+10,,0.3"}},
              "material \"MAT1 7\": elastic E 70000000000 becomes 71000000000\n"},
             {{{"\n,1.,0.,0.\n", "\n,0.,1.,0.\n"}},
              "orientation \"CORD2R 3\": axis 1 (1, 0, 0) becomes (0, 1, -0)\n"
              "orientation \"CORD2R 3\": axis 2 (0, 1, 0) becomes (-1, 0, 0)\n"},
             {{{"100.,0.,0.,1.", "101.,0.,0.,1."}},
              "kept text \"NASTRAN bulk data, bulk data, PART-1\": 1 line, the first "
              "\"FORCE,2,9,,100.,0.,0.,1.\" becomes \"FORCE,2,9,,101.,0.,0.,1.\"\n"},
             {{{"LOAD = 2", "LOAD = 3"}},
              "kept text \"NASTRAN bulk data, case control\": 1 line, the first \"LOAD = 2\" "
              "becomes \"LOAD = 3\"\n"},
             {{{"TITLE = PLATE", "TITLE = PLANE"}},
              "kept text \"NASTRAN bulk data, case control\": 1 line, the first \"TITLE = PLATE\" "
              "becomes \"TITLE = PLANE\"\n"},
             {{{"SPC1,1", "PLOAD4,2,13,5.\nSPC1,1"}},
              "kept text \"NASTRAN bulk data, bulk data, PART-1\": 1 line, the first \"\" becomes "
              "\"PLOAD4,2,13,5.\"\n"},
             {{{"PSHELL,5,7,0.1", "PSHELL,5,7,0.1,7"}},
              "section \"PSHELL 5\": constant 1 none becomes 7\n"},
         }) {
        const std::string after = Model("after", ".bdf", Edited(kDeck, c.edits));
        const CommandResult diff = RunHere({"diff", before, after});
        EXPECT_EQ(diff.out, c.lines) << diff.err;
        EXPECT_EQ(diff.status, c.lines.empty() ? 0 : 1);
    }
}

TEST_F(DiffTest, NamesTheLargestDifferenceOfResultsByTime) {
    struct Case {
        std::vector<Edit> edits;
        std::vector<std::string> options;
        std::string lines;
    };
    const std::string before = Model("before", ".msh", kGmsh);
    for (const Case& c : std::vector<Case>{
             {{}, {}, ""},
             {{{"4 -5", "4 -8"}, {"2 20", "2 20.5"}},
              {},
              "field \"heat (nodal field)\": 2 values differ, most heat at time 0.5 of Step-1: -5 "
              "becomes -8, PART-1 4\n"},
             {{{"4 -5", "4 -8"}, {"2 21", "2 25"}},
              {},
              "field \"heat (nodal field)\": 1 value differs, most heat at time 1.5 of Step-1: 21 "
              "becomes 25, PART-1 2; 2 times differ\n"},
             {{{"4 nan", "4 7"}},
              {},
              "field \"heat (nodal field)\": 1 value differs, most heat at time 1.5 of Step-1: "
              "none becomes 7, PART-1 4\n"},
             {{{"4 5 6", "4 5.5 6"}},
              {},
              "field \"flux (element field)\": 1 value differs, most flux_y at time 0.5 of Step-1: "
              "5 becomes 5.5, PART-1 2\n"},
             {{{"4 5 6", "4 5.5 6"}}, {"--tolerance", "0.1"}, ""},
             {{{"4 5 6", "4 5.5 6"}}, {"--tolerance", "0,0.5"}, ""},
             {{{"4 5 6", "4 5.5 6"}},
              {"--tolerance", "0.01,0.4"},
              "field \"flux (element field)\": 1 value differs, most flux_y at time 0.5 of Step-1: "
              "5 becomes 5.5, PART-1 2\n"},
             {{{"3\n2\n1 1 2 3\n2 4 5 6", "3\n1\n1 1 2 3"}},
              {},
              "field \"flux (element field)\": 1 member removed\n"},
             {{{"1.5\n3\n1", "1.75\n3\n1"}},
              {},
              "step \"Step-1\": 1 time removed\n"
              "step \"Step-1\": 1 time added\n"},
             {{{"1.5\n3\n1", "1.75\n3\n1"}},
              {"--tolerance", "0.5"},
              "step \"Step-1\": 1 time removed\n"
              "step \"Step-1\": 1 time added\n"},
             {{{"flux", "flow"}},
              {},
              "field \"flux (element field)\": removed\n"
              "field \"flow (element field)\": added\n"},
             {{{"3\n2\n1 1 2 3\n2 4 5 6", "1\n2\n1 1\n2 4"}},
              {},
              "field \"flux (element field)\": components flux_x, flux_y, flux_z becomes flux\n"},
         }) {
        const std::string after = Model("after", ".msh", Edited(kGmsh, c.edits));
        std::vector<std::string> arguments = {"diff", before, after};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        const CommandResult diff = RunHere(arguments);
        EXPECT_EQ(diff.out, c.lines) << diff.err;
        EXPECT_EQ(diff.status, c.lines.empty() ? 0 : 1);
    }
}

TEST_F(DiffTest, PairsObjectsByNameOrByNumber) {
    exodus_file::Content content;
    content.blocks = {{3, "skin", "SHELL4", 4, {1, 2, 3, 4}, {}},
                      {4, "rib", "SHELL4", 4, {4, 3, 2, 1}, {}}};
    content.nodeSets = {{7, "root", {1, 2}, {}}};
    content.sideSets = {{9, "wet", {1, 2}, {1, 2}}};
    const auto model = [&](const std::string& name) {
        exodus_file::Write(content, m_folder / (name + ".e"));
        const std::string path = m_folder / (name + ".orq");
        EXPECT_EQ(RunHere({"import", m_folder / (name + ".e"), "-o", path}).status, 0);
        return path;
    };
    const std::string before = model("before");
    content.blocks[0].name = "cover";
    content.nodeSets[0].members = {2, 3};
    content.nodeSets[0].id = 8;
    content.sideSets[0].sides = {1, 1};
    const std::string after = model("after");
    EXPECT_EQ(RunHere({"diff", before, after}).out,
              "elements: 1 with another block, skin becomes cover: PART-1 1\n"
              "block \"skin\": removed\n"
              "block \"cover\": added\n"
              "node set \"root\": number 7 becomes 8\n"
              "node set \"root\": 1 member removed, PART-1 40\n"
              "node set \"root\": 1 member added, PART-1 30\n"
              "surface \"wet\": 1 member removed, PART-1 2\n"
              "surface \"wet\": 1 member added, PART-1 2\n");
    const CommandResult byLabel = RunHere({"diff", before, after, "--by", "label", "--json"});
    EXPECT_EQ(byLabel.status, 1);
    const json differences = json::parse(byLabel.out)["differences"];
    EXPECT_EQ(differences[0], (json{{"kind", "block"},
                                    {"name", "skin"},
                                    {"change", "changed"},
                                    {"what", "name"},
                                    {"at", nullptr},
                                    {"before", "skin"},
                                    {"after", "cover"},
                                    {"count", 1},
                                    {"amount", 0.0},
                                    {"members", json::array()}}));
    // No block has changed, and the set of another number still has the name.
    EXPECT_EQ(differences[1]["kind"], "node set");
    EXPECT_EQ(differences.size(), 6U);
}

TEST_F(DiffTest, FindsNothingBetweenAModelAndItsCopyWrittenInAnotherOrder) {
    // The cards of nodes, elements and sets from the last to the first.
    std::istringstream lines(kDeck);
    std::string head;
    std::string bulk;
    bool isBulk = false;
    for (std::string line; std::getline(lines, line); isBulk |= line == "BEGIN BULK") {
        const bool isMoved = line.starts_with("GRID") || line.starts_with("CQUAD4");
        (isBulk && isMoved ? bulk.insert(0, line + "\n") : head.append(line + "\n"));
    }
    const auto end = head.find("ENDDATA");
    ASSERT_NE(end, std::string::npos);
    const std::string before = Model("before", ".bdf", kDeck);
    const std::string after = Model("after", ".bdf", head.insert(end, bulk));
    const CommandResult diff = RunHere({"diff", before, after});
    EXPECT_EQ(diff.out, "");
    EXPECT_EQ(diff.status, 0);
}

class RealModel : public testing::TestWithParam<const char*> {};

TEST_P(RealModel, EqualsItself) {
    const fs::path file = fs::path(ORQ_SHARED_MODELS) / GetParam();
    if (!fs::exists(file)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    ScratchFolder folder;
    for (const char* name : {"a.orq", "b.orq"}) {
        ASSERT_THAT(RunHere({"import", file, "-o", folder / name}).status, testing::AnyOf(0, 1));
    }
    const CommandResult diff = RunHere({"diff", folder / "a.orq", folder / "b.orq"});
    EXPECT_EQ(diff.out, "");
    EXPECT_EQ(diff.status, 0);
}

INSTANTIATE_TEST_SUITE_P(DiffTest, RealModel,
                         testing::Values("basemat_isolators.e", "block_crush_1.ex2",
                                         "box_solid_shell_results.g", "bwb_saero.bdf",
                                         "shelf_modes.msh"));

TEST_F(DiffTest, RefusesWhatItCannotCompareWith) {
    const std::string model = Model("a", ".msh", kGmsh);
    for (const auto& [arguments, text] : std::vector<std::pair<Arguments, std::string>>{
             {{"diff", model, m_folder / "none.orq"}, "none.orq"},
             {{"diff", model, model, "--tolerance", "x"}, "--tolerance"},
             {{"diff", model, model, "--tolerance", "-1"}, "--tolerance"},
             {{"diff", model, model, "--by", "place"}, "--by"},
         }) {
        const CommandResult diff = RunHere(arguments);
        EXPECT_GE(diff.status, 2) << text;
        EXPECT_THAT(diff.err, HasSubstr(text));
    }
}

}  // namespace
