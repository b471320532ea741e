// Editing models: what changes is what was asked for, all else is as it was, and nothing dangles:
// the scratch folder verifies every database that a test leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcModel.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "edit/CoincidentNodes.h"

namespace {

namespace fs = std::filesystem;
using exodus_file::Content;
using exodus_file::ScratchFolder;
using nlohmann::json;
using orq::exchange::CoincidentNodes;
using orq::exchange::Point;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class EditTest : public testing::Test {
  protected:
    /// Two quadrilaterals side by side that share no node: 3 and 5, 4 and 6 lie together. Node 9 is
    /// of no element, node 10 of a force alone.
    static constexpr const char* kDeck = R"(BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,0.,1.,0.
GRID,3,,1.,0.,0.
GRID,4,,1.,1.,0.
GRID,15,,1.,0.,0.0001
GRID,16,,1.,1.,0.
GRID,17,,2.,0.,0.
GRID,18,,2.,1.,0.
GRID,9,,9.,9.,9.
GRID,10,,8.,8.,8.
CQUAD4,11,5,1,3,4,2
CQUAD4,12,6,15,17,18,16
PSHELL,5,7,0.1
PSHELL,6,7,0.2
PSHELL,8,9,0.2
MAT1,7,7.+10,,0.3
MAT1,9,7.+10,,0.3
MAT1,12,7.+10,,0.3
PSOLID,20,12
SPC1,1,123,4,16
SET1,3,3,15,9
FORCE,2,10,,100.,0.,0.,1.
FORCE,2,15,,100.,0.,0.,1.
ENDDATA
)";

    std::string Import(const std::string& contents, const std::string& name) const {
        PutBytes(m_folder / name, contents);
        const std::string model = m_folder / (name + ".orq");
        const CommandResult result = RunHere({"import", m_folder / name, "-o", model});
        EXPECT_LE(result.status, 1) << result.err;
        return model;
    }
    std::string ImportWingBox() const {
        const std::string model = m_folder / "wing.orq";
        EXPECT_EQ(
            RunHere({"import", ORQ_WING_BOX, "--layup", ORQ_WING_BOX_LAYUP, "-o", model}).status,
            0);
        return model;
    }
    /// A copy of the model, edited.
    std::string Edited(const std::string& model, Arguments action, int status = 0) {
        const std::string copy = m_folder / ("edited" + std::to_string(m_nEdited++) + ".orq");
        CopyModel(model, copy);
        action.insert(action.begin(), {"edit", copy});
        const CommandResult result = RunHere(action);
        EXPECT_EQ(result.status, status) << result.out << result.err;
        m_told = result.out + result.err;
        return copy;
    }
    /// What differs, a line each, as `diff` says it.
    static std::string Difference(const std::string& before, const std::string& after) {
        return RunHere({"diff", before, after}).out;
    }
    static std::vector<std::string> Names(const std::string& model, const std::string& kind) {
        std::vector<std::string> names;
        const json listed = json::parse(RunHere({"list", kind, model, "--json"}).out);
        for (const json& object : listed["objects"]) {
            names.push_back(object["name"]);
        }
        return names;
    }
    static json Info(const std::string& model) {
        return json::parse(RunHere({"info", model, "--json"}).out);
    }

    ScratchFolder m_folder;
    int m_nEdited = 0;
    std::string m_told;
};

// --- Names ---------------------------------------------------------------------------------------

TEST_F(EditTest, EachKindIsRenamedAndNothingElse) {
    const std::string wing = ImportWingBox();
    const struct {
        const char* kind;
        const char* name;
        const char* list;
    } cases[] = {
        {"block", "skin_upper", "blocks"},     {"set", "root_clamp", "sets"},
        {"nodeset", "root_clamp", "sets"},     {"surface", "root_edge", "surfaces"},
        {"section", "skin upper", "sections"}, {"material", "foam", "materials"},
        {"instance", "PART-1", "instances"},   {"orientation", "along the span", "orientations"}};
    for (const auto& [kind, name, list] : cases) {
        const std::string edited = Edited(wing, {"rename", kind, name, "new \xC3\xA4"});
        std::vector<std::string> wanted = Names(wing, list);
        std::ranges::replace(wanted, std::string(name), std::string("new \xC3\xA4"));
        EXPECT_THAT(Names(edited, list), testing::UnorderedElementsAreArray(wanted)) << kind;
        // Back again there is no difference at all.
        EXPECT_EQ(RunHere({"edit", edited, "rename", kind, "new \xC3\xA4", name}).status, 0);
        EXPECT_EQ(Difference(wing, edited), "") << kind;
    }
}

TEST_F(EditTest, ANameThatCannotBeIsRefusedWithWhatIsNear) {
    const std::string wing = ImportWingBox();
    const struct {
        Arguments action;
        const char* text;
    } cases[] = {
        {{"rename", "block", "skin_uper", "x"}, "near are \"skin_upper\""},
        {{"rename", "set", "root_clap", "x"},
         "there is no set \"root_clap\"; near are \"root_clamp\""},
        {{"rename", "blok", "skin_upper", "x"}, "is it block?"},
        {{"rename", "block", "skin_upper", "spar_rear"}, "there is a block \"spar_rear\" already"},
        {{"rename", "block", "skin_upper", ""}, "printable UTF-8, and not empty"},
        {{"rename", "block", "skin_upper", "a\nb"}, "printable UTF-8, and not empty"},
        {{"rename", "elementset", "skin_upper", "x"}, "stands for the block"},
        {{"delete", "elementset", "skin_upper"}, "stands for the block"},
        {{"delete", "block", "skin_upper"}, "not deleted"},
        {{"delete", "field", "U"}, "there is no field \"U\""},
        {{"delete", "section", "spar"}, "the assignment of section \"spar\""},
        {{"delete", "material", "foam"}, "is in use: section \""},
        {{"delete", "orientation", "along the span"}, "is in use: section \""},
        {{"renam", "block", "a", "b"}, "is it rename?"},
        {{"rename", "block", "skin_upper"}, "use: orqmodel edit DATABASE rename KIND OLD NEW"},
        {{"merge-nodes"}, "needs --tolerance"},
        {{"merge-nodes", "--tolerance", "-1"}, "0 or more, not -1"},
        {{"merge-nodes", "--tolerance", "nan"}, "0 or more"},
        {{"merge-nodes", "--tolerance", "1", "--instance", "PART-2"}, "near are \"PART-1\""},
        {{"renumber", "--tolerance", "1"}, "renumber takes no --tolerance"},
        {{"drop-unused", "node"}, "is it nodes?"},
    };
    for (const auto& [action, text] : cases) {
        EXPECT_EQ(Difference(wing, Edited(wing, action, 2)), "") << text;
        EXPECT_THAT(m_told, HasSubstr(text));
    }
}

TEST_F(EditTest, ADeckGoesByNumbersWhateverTheNames) {
    const std::string deck = Import(kDeck, "deck.bdf");
    const std::string cards = m_folder / "before.bdf";
    ASSERT_EQ(RunHere({"export", deck, "-o", cards}).status, 0);
    const std::string renamed = Edited(deck, {"rename", "material", "MAT1 7", "steel"});
    ASSERT_EQ(RunHere({"edit", renamed, "rename", "section", "PSHELL 5", "plate"}).status, 0);
    ASSERT_EQ(RunHere({"export", renamed, "-o", m_folder / "after.bdf"}).status, 0);
    EXPECT_EQ(Bytes(m_folder / "after.bdf"), Bytes(cards));
    Edited(deck, {"rename", "set", "SPC1 1 123", "clamp"}, 2);
    EXPECT_THAT(m_told, HasSubstr("cards of its deck"));
}

// --- Deleting ------------------------------------------------------------------------------------

/// The areas of the nodes of a surface, 0 for others.
std::vector<double> AreasOf(const std::string& model, const std::string& surface) {
    const ORQObjDocument document(
        ORQSimDatabase::Open(ModelAt(model), ORQSimDatabase::Mode::ReadOnly));
    const ORQSimDistribution areas(
        ORQObjMesh(document.GetMesh()).GetSurfaceNodalAreas().GetDistribution());
    const ORQSimPosition region =
        document.GetModel().GetMap(ORQSimSchema::Model_surfaces).Find(surface);
    const ORQSimCollection regions(areas.Grid().Collection(0));
    const int member = regions.MemberIndex(region);
    const ORQSimCSet nodes(areas.Grid().Collection(1));
    std::vector<double> values(static_cast<std::size_t>(nodes.Size()), 0);
    ORQSimTransfer(areas)
        .SetRead()
        .SetDim(0, regions.CreateVolatileCSet(&member, 1, true))
        .SetDim(1, nodes)
        .SetBuffer(ORQSimbufMain, values.data(),
                   static_cast<std::int64_t>(values.size() * sizeof(double)))
        .ExecRead();
    return values;
}

TEST_F(EditTest, WhatIsDeletedIsTheOnlyDifference) {
    const std::string wing = ImportWingBox();
    const std::string noSet = Edited(wing, {"delete", "set", "tip_rib"});
    EXPECT_EQ(Difference(wing, noSet), "node set \"tip_rib\": removed\n");
    EXPECT_EQ(RunHere({"check", noSet}).out, RunHere({"check", wing}).out);
    const std::string noSurface = Edited(wing, {"delete", "surface", "upper_skin_outer"});
    EXPECT_THAT(Difference(wing, noSurface),
                testing::StartsWith("surface \"upper_skin_outer\": removed\n"));
    const std::vector<double> areas = AreasOf(wing, "lower_skin_outer");
    EXPECT_GT(*std::ranges::max_element(areas), 0);
    EXPECT_EQ(AreasOf(noSurface, "lower_skin_outer"), areas);
}

TEST_F(EditTest, ASectionGoesWithItsAssignmentsAndThenItsMaterialIsFree) {
    const std::string deck = Import(kDeck, "deck.bdf");
    Edited(deck, {"delete", "material", "MAT1 9"}, 2);
    Edited(deck, {"delete", "material", "MAT1 12"}, 2);
    EXPECT_THAT(m_told, HasSubstr("kept cards of properties that may name its number 12"));
    const std::string edited = Edited(deck, {"delete", "section", "PSHELL 6", "--force"});
    EXPECT_THAT(Names(edited, "sections"), ElementsAre("PSHELL 5", "PSHELL 8"));
    // The card goes by the number still.
    ASSERT_EQ(RunHere({"edit", edited, "rename", "section", "PSHELL 8", "spare"}).status, 0);
    ASSERT_EQ(RunHere({"edit", edited, "drop-unused", "sections"}).status, 0);
    EXPECT_THAT(Names(edited, "sections"), ElementsAre("PSHELL 5"));
    ASSERT_EQ(RunHere({"edit", edited, "drop-unused", "materials"}).status, 0);
    EXPECT_THAT(Names(edited, "materials"), ElementsAre("MAT1 7", "MAT1 12"));
    ASSERT_EQ(RunHere({"export", edited, "-o", m_folder / "after.bdf"}).status, 0);
    const std::string cards = Bytes(m_folder / "after.bdf");
    EXPECT_THAT(cards, Not(HasSubstr("PSHELL,8")));
    EXPECT_THAT(cards, AllOf(HasSubstr("PSOLID"), Not(HasSubstr("MAT1,9"))));
}

TEST_F(EditTest, ResultsGoByFieldAndByStep) {
    const std::string mesh = Import(R"($MeshFormat
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
$ElementData
1
"flux"
1
0.5
3
0
1
2
1 1
2 2
$EndElementData
)",
                                    "heat.msh");
    const std::string renamed = Edited(mesh, {"rename", "field", "heat", "T"});
    EXPECT_THAT(Names(renamed, "fields"), ElementsAre("T", "flux"));
    const std::string noField = Edited(mesh, {"delete", "field", "heat"});
    EXPECT_THAT(Names(noField, "fields"), ElementsAre("flux"));
    EXPECT_THAT(Difference(mesh, noField), testing::StartsWith("field \"heat"));
    const std::string step = Names(mesh, "steps").at(0);
    const std::string noStep = Edited(mesh, {"delete", "step", step});
    EXPECT_THAT(Names(noStep, "steps"), IsEmpty());
    EXPECT_THAT(Names(noStep, "fields"), IsEmpty());
}

// --- Nodes and labels ----------------------------------------------------------------------------

TEST_F(EditTest, CoincidentNodesBecomeOneInAllThatNamesThem) {
    const std::string deck = Import(kDeck, "deck.bdf");
    const std::string merged = Edited(deck, {"merge-nodes", "--tolerance", "0.001"}, 1);
    EXPECT_THAT(m_told, HasSubstr("kept cards \"FORCE\": 1"));
    const std::string told = Difference(deck, merged);
    EXPECT_THAT(told, HasSubstr("nodes: 2 removed: PART-1 15, 16"));
    EXPECT_THAT(told, HasSubstr("elements: 1 with another connectivity: PART-1 12"));
    EXPECT_EQ(Info(merged)["nodes"], 8);
    EXPECT_EQ(
        RunHere({"table", merged, "--elements", "12", "--quantity", "connectivity", "--csv"}).out,
        "instance,element,shape,node 1,node 2,node 3,node 4\n"
        "PART-1,12,SHELL4,3,17,18,4\n");
    const CommandResult set = RunHere({"find", merged, "nodeset", "SET1 3"});
    EXPECT_THAT(set.out, AllOf(HasSubstr("3"), HasSubstr("9"), Not(HasSubstr("15"))));
    // Only what is exactly there.
    const std::string exact = Edited(deck, {"merge-nodes", "--tolerance", "0"});
    EXPECT_EQ(Info(exact)["nodes"], 9);
    // No element loses a node, however far apart they may be.
    const std::string far = Edited(deck, {"merge-nodes", "--tolerance", "100"}, 1);
    EXPECT_THAT(m_told, HasSubstr("another one of the same element; not merged"));
    EXPECT_THAT(RunHere({"table", far, "--quantity", "area", "--csv"}).out, Not(HasSubstr(",0\n")));
}

TEST_F(EditTest, PartsOfADeckStayApart) {
    const std::string deck = Import(R"(BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,1.,1.,0.
GRID,5,,1.,0.,0.
GRID,6,,2.,0.,0.
CTRIA3,1,5,1,2,3
CTRIA3,2,5,5,6,3
PSHELL,5,7,0.1
MAT1,7,7.+10,,0.3
BEGIN SUPER=2
GRID,1,,1.,0.,0.
GRID,2,,2.,0.,0.
GRID,3,,2.,1.,0.
CTRIA3,1,5,1,2,3
PSHELL,5,7,0.1
MAT1,7,7.+10,,0.3
ENDDATA
)",
                                    "parts.bdf");
    // Four nodes lie at two places, in one part two of them.
    const std::string merged = Edited(deck, {"merge-nodes", "--tolerance", "0"});
    EXPECT_THAT(Difference(deck, merged), HasSubstr("nodes: 1 removed: PART-1 5\n"));
    EXPECT_EQ(Difference(
                  deck, Edited(deck, {"merge-nodes", "--tolerance", "0", "--instance", "SUPER=2"})),
              "");
    // Names say of which part an object is.
    Edited(deck, {"rename", "material", "MAT1 7 SUPER=2", "steel"}, 2);
    EXPECT_THAT(m_told, HasSubstr("its name has to end with \" SUPER=2\""));
    Edited(deck, {"rename", "material", "MAT1 7", "steel SUPER=2"}, 2);
    Edited(deck, {"rename", "instance", "SUPER=2", "wing"}, 2);
    const std::string renamed =
        Edited(deck, {"rename", "material", "MAT1 7 SUPER=2", "steel SUPER=2"});
    ASSERT_EQ(RunHere({"export", deck, "-o", m_folder / "before.bdf"}).status, 0);
    ASSERT_EQ(RunHere({"export", renamed, "-o", m_folder / "after.bdf"}).status, 0);
    EXPECT_EQ(Bytes(m_folder / "after.bdf"), Bytes(m_folder / "before.bdf"));
    // Both parts have a section 5 with its card.
    const std::string less = Edited(deck, {"delete", "section", "PSHELL 5", "--force"});
    EXPECT_THAT(Names(less, "sections"), ElementsAre("PSHELL 5 SUPER=2"));
    EXPECT_THAT(m_told, HasSubstr("kept cards \"PSHELL 5\": 1"));
}

TEST_F(EditTest, MergedSurfacesAndResultsKeepWhatTheyAddUpTo) {
    Content content;
    content.labels.clear();
    content.x = {0, 1, 1, 0, 1, 2, 2, 1};
    content.y = {0, 0, 1, 1, 0, 0, 1, 1};
    content.z = std::vector<double>(8, 0.0);
    content.blocks = {{1, "plate", "SHELL4", 4, {1, 2, 3, 4, 5, 6, 7, 8}, {}}};
    content.sideSets = {{1, "top", {1, 2}, {1, 1}}};
    exodus_file::Write(content, m_folder / "plates.e");
    const std::string model = m_folder / "plates.orq";
    ASSERT_EQ(RunHere({"import", m_folder / "plates.e", "-o", model}).status, 0);
    const std::string merged = Edited(model, {"merge-nodes", "--tolerance", "1e-9"});
    const auto sum = [](const std::vector<double>& values) {
        return std::accumulate(values.begin(), values.end(), 0.0);
    };
    EXPECT_EQ(AreasOf(merged, "top").size(), 6U);
    EXPECT_DOUBLE_EQ(sum(AreasOf(merged, "top")), 2);
    EXPECT_THAT(AreasOf(merged, "top"), ElementsAre(0.25, 0.5, 0.5, 0.25, 0.25, 0.25));
    ASSERT_EQ(RunHere({"export", merged, "-o", m_folder / "merged.e"}).status, 0);
    EXPECT_EQ(exodus_file::Read(m_folder / "merged.e").blocks.at(0).elements.at(1),
              (std::vector<int>{1, 4, 5, 2}));
}

TEST_F(EditTest, UnusedNodesGoUnlessACardMayNameThem) {
    const std::string deck = Import(kDeck, "deck.bdf");
    const std::string edited = Edited(deck, {"drop-unused", "nodes"});
    EXPECT_EQ(Difference(deck, edited), "nodes: 1 removed: PART-1 9\n");
    EXPECT_THAT(m_told, HasSubstr("kept cards may name them"));
    const CommandResult again = RunHere({"edit", edited, "drop-unused", "nodes", "--json"});
    EXPECT_THAT(json::parse(again.out)["report"]["dropped"], IsEmpty());
}

TEST_F(EditTest, LabelsBeginAtOneAndKeepTheirOrder) {
    const std::string deck = Import(kDeck, "deck.bdf");
    const std::string edited = Edited(deck, {"renumber"}, 1);
    EXPECT_THAT(m_told, HasSubstr("kept cards \"FORCE\": 2"));
    EXPECT_EQ(
        RunHere({"table", edited, "--elements", "1-2", "--quantity", "connectivity", "--csv"}).out,
        "instance,element,shape,node 1,node 2,node 3,node 4\n"
        "PART-1,1,SHELL4,1,3,4,2\nPART-1,2,SHELL4,7,9,10,8\n");
    const json again = json::parse(RunHere({"edit", edited, "renumber", "--json"}).out)["report"];
    EXPECT_THAT(again["changed"], IsEmpty());
    EXPECT_FALSE(again.contains("findings"));
}

TEST_F(EditTest, ADryRunTellsAllAndChangesNothing) {
    const std::string deck = Import(kDeck, "deck.bdf");
    const auto generation = Info(deck)["generation"];
    for (const Arguments& action : std::vector<Arguments>{{"merge-nodes", "--tolerance", "1"},
                                                          {"drop-unused", "nodes"},
                                                          {"renumber"},
                                                          {"delete", "set", "SPC1 1 123"}}) {
        Arguments whole = {"edit", deck, "--dry-run", "--json"};
        whole.insert(whole.begin() + 2, action.begin(), action.end());
        const json told = json::parse(RunHere(whole).out);
        EXPECT_EQ(told["dry_run"], true);
        EXPECT_FALSE(told["report"]["changed"].empty() && told["report"]["dropped"].empty());
        EXPECT_EQ(Info(deck)["generation"], generation) << action[0];
    }
}

TEST_F(EditTest, AKilledEditLeavesTheModelAsItWasOrEdited) {
    constexpr int kNodes = 200'000;
    Content content;
    content.labels.resize(kNodes);
    for (auto* axis : {&content.x, &content.y, &content.z}) {
        axis->assign(kNodes, 0);
    }
    for (std::size_t node = 0; node < kNodes; ++node) {
        content.x[node] = static_cast<double>(node / 2);
        content.labels[node] = static_cast<int>(2 * node + 1);
    }
    exodus_file::Write(content, m_folder / "large.e");
    const std::string whole = m_folder / "large.orq";
    ASSERT_EQ(RunHere({"import", m_folder / "large.e", "-o", whole}).status, 0);
    std::mt19937 random(11);
    for (int round = 0; round < 10; ++round) {
        const std::string model = m_folder / "killed.orq";
        fs::remove_all(model);
        fs::copy(whole, model, fs::copy_options::recursive);
        const bool isKill = round % 2 == 0;
        const pid_t edit = Start({"edit", model, "merge-nodes", "--tolerance", "0"},
                                 m_folder / "out", m_folder / "err");
        usleep(static_cast<useconds_t>(random() % 150'000));
        kill(edit, isKill ? SIGKILL : SIGINT);
        const int status = StatusOf(edit);
        const int nNodes = Info(model)["nodes"];
        EXPECT_THAT(nNodes, testing::AnyOf(kNodes, kNodes / 2)) << round;
        if (status == 128 + SIGINT) {
            EXPECT_EQ(nNodes, kNodes);
        }
        EXPECT_EQ(RunHere({"verify", model}).status, 0) << round;
    }
}

// --- The search for coincident points ------------------------------------------------------------

TEST(CoincidentNodes, FindsWhatComparingAllFinds) {
    std::mt19937 random(5);
    for (const double tolerance : {0.0, 1e-300, 1e-3, 0.05, 0.4, 3.0}) {
        for (const double scale : {1.0, 1e12}) {
            std::vector<Point> points;
            std::uniform_real_distribution<double> place(-1, 1);
            std::uniform_int_distribution<int> grid(-2, 2);
            for (int i = 0; i < 400; ++i) {
                // Some on a grid, so that many coincide and lie on borders of cells.
                points.push_back(i % 2 == 0 ? Point{place(random) * scale, place(random), -0.0}
                                            : Point{grid(random) * 0.4, grid(random) * 0.4, 0.0});
            }
            CoincidentNodes nodes(points, tolerance);
            std::vector<int> all(points.size());
            std::iota(all.begin(), all.end(), 0);
            const std::vector<int> candidates =
                orq::exchange::PossiblyCoincident(points, all, tolerance);
            const auto isCandidate = [&](int node) {
                return std::ranges::binary_search(candidates, node);
            };
            std::vector<int> staying;
            for (int i = 0; i < std::ssize(points); ++i) {
                const auto distanceTo = [&](int other) {
                    using orq::exchange::operator-;
                    return orq::exchange::Length(points[static_cast<std::size_t>(other)] -
                                                 points[static_cast<std::size_t>(i)]);
                };
                const auto nearest = std::ranges::min_element(staying, {}, distanceTo);
                const bool isNear = nearest != staying.end() && distanceTo(*nearest) <= tolerance;
                const int found = nodes.Find(i);
                ASSERT_EQ(found >= 0, isNear) << tolerance << " " << scale << " " << i;
                if (isNear) {
                    EXPECT_EQ(distanceTo(found), distanceTo(*nearest));
                    EXPECT_TRUE(isCandidate(i) && isCandidate(*nearest)) << tolerance << " " << i;
                } else {
                    nodes.Add(i);
                    staying.push_back(i);
                }
            }
        }
    }
}

// Pairs wherever in a cell, and so across its borders; points that are alone are hardly among them.
TEST(CoincidentNodes, AreAmongThePossibleOnes) {
    constexpr double kTolerance = 1e-3;
    constexpr int kPairs = 20000;
    std::vector<Point> points;
    for (int i = 0; i < kPairs; ++i) {
        const Point first = {0.37 * kTolerance * i, static_cast<double>(i), -1e5};
        points.push_back(first);
        points.push_back({first[0] + 0.9 * kTolerance, first[1], first[2]});
    }
    for (int i = 0; i < kPairs; ++i) {
        points.push_back({0.1 * i, 0, static_cast<double>(i)});
    }
    std::vector<int> all(points.size());
    std::iota(all.begin(), all.end(), 0);
    const std::vector<int> candidates = orq::exchange::PossiblyCoincident(points, all, kTolerance);
    ASSERT_GE(candidates.size(), 2U * kPairs);
    EXPECT_TRUE(std::equal(all.begin(), all.begin() + 2 * kPairs, candidates.begin()));
    EXPECT_LT(candidates.size(), 2.2 * kPairs);
}

}  // namespace
