// The rules of the check command: each finds the damage that it is for, and nothing else.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "CheckedModel.h"
#include "CommandRun.h"
#include "EditedText.h"
#include "Files.h"
#include "ORQObjDiagnostics.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvDiagnosticsHandler.h"

namespace orqmodel {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Damage {
    std::vector<Edit> edits;         // of the text
    std::vector<std::string> found;  // rule, object and members of each finding
    Change change = nullptr;         // of the model
};

class CheckRulesTest : public CheckedModelTest {
  protected:
    void ExpectEach(const std::string& ending, const char* text,
                    const std::vector<Damage>& damages) {
        for (const Damage& damage : damages) {
            SCOPED_TRACE(testing::PrintToString(damage.found));
            Import(ending, Edited(text, damage.edits), damage.change);
            EXPECT_EQ(FoundOf({"--skip", "VIZ"}), damage.found);
        }
    }
};

/// Puts a number in the place of the first coordinate of the second node.
void SetCoordinate(const ORQObjDocument& document, double value) {
    const ORQSimDistribution coordinates(
        ORQObjMesh(document.GetMesh()).GetCoordinates().GetDistribution());
    const auto second = [&](int dimension, int member) {
        return ORQSimCollection(coordinates.Grid().Collection(dimension))
            .CreateTempCSetStrided(member, 1, 1, 1);
    };
    const ORQSimDrawerDescription drawer = coordinates.QueryDrawers().Get(0);
    ORQSimTransfer(coordinates)
        .SetWrite()
        .SetDrawer(drawer.DrawerID())
        .SetDim(0, second(0, 1))
        .SetDim(1, second(1, ORQSimCSet(drawer.CSet(1))[0]))
        .SetBuffer(ORQSimbufMain, &value, sizeof value)
        .ExecWrite();
}

/// What another program may leave behind.
void TakeSectionOfAssignment(const ORQObjDocument& document) {
    const ORQSimVector assignments =
        document.GetModel().GetVector(ORQSimSchema::Model_sectionAssignments);
    (*assignments.Begin()).SetPosition(ORQSimSchema::SectionAssignment_section, {});
}

void PutBothElementsIntoBothBlocks(const ORQObjDocument& document) {
    const ORQSimVector blocks = document.GetMesh().GetVector(ORQSimSchema::Mesh_blocks);
    for (auto block = blocks.Begin(); block.NotDone(); ++block) {
        (*block).SetPosition(ORQSimSchema::Block_elements,
                             ORQObjMesh(document.GetMesh()).GetElementCollection());
    }
}

/// The first section claims more layers than are stored.
void BreakLayers(const ORQObjDocument& document) {
    const ORQSimCollection sections(
        document.GetModel().GetPosition(ORQSimSchema::Model_sections).GetCollection());
    sections.GetMember(0).DataRecord().SetInt(ORQSimRecordField::Section_layered_numLayers, 99);
}

void AddStepThatRunsBack(const ORQObjDocument& document) {
    const ORQObjStepBuilder builder(document);
    constexpr std::array kTimes = {2.0, 1.0};
    builder.AddTimes(builder.AddStep("again", ORQSimSchema::Step_General), kTimes);
}

void AddStepOfFrequencies(const ORQObjDocument& document) {
    ORQObjStepBuilder(document).AddStep("modes", ORQSimSchema::Step_Lin_Frequency);
}

/// A step of increments of 1 that has results at some times.
Change StepAtTimes(std::vector<double> times) {
    return [times = std::move(times)](const ORQObjDocument& document) {
        const ORQObjStepBuilder builder(document);
        const ORQSimPosition step = builder.AddStep("push", ORQSimSchema::Step_General);
        builder.SetTimeIncrementation(step, 1, 4);
        builder.AddTimes(step, times);
    };
}

void EmptyTheLastBlock(const ORQObjDocument& document) {
    const ORQSimVector blocks = document.GetMesh().GetVector(ORQSimSchema::Mesh_blocks);
    ORQSimPosition last;
    for (auto block = blocks.Begin(); block.NotDone(); ++block) {
        last = *block;
    }
    last.SetPosition(
        ORQSimSchema::Block_elements,
        ORQSimCollection(ORQObjMesh(document.GetMesh()).GetElementCollection().GetCollection())
            .EmptyCSetID());
}

/// The second shell of the plate has a laminate of so many layers.
std::vector<Edit> WithLayersBeside(int count) {
    std::string section = "PCOMP,2";
    for (int i = 0; i < count; ++i) {
        section += fmt::format("{}1,0.1,0.,YES", i % 2 == 0 ? "\n," : ",");
    }
    return {{"CQUAD4,2,1", "CQUAD4,2,2"}, {"MAT8,1", section + "\nMAT8,1"}};
}

TEST_F(CheckRulesTest, EachFindsItsDamageOfAPlateAndNothingElse) {
    ExpectEach(
        ".bdf", kPlate,
        {{{}, {}},
         {{{"CQUAD4,1", "GRID,7,,9.,9.,9.\nCQUAD4,1"}}, {"NOD002 7"}},
         {{{"CQUAD4,2,1,2,3,6,5", "CQUAD4,2,1,2,3,5,5"}},
          {"NOD002 6", "ELM001 block \"PCOMP 1\" 2"}},
         {{{"PCOMP,1", "CQUAD4,3,1,5,4,1,2\nPCOMP,1"}}, {"ELM002 3"}},
         {{{"PCOMP,1",
            "GRID,11,,5.,0.,0.\nGRID,12,,6.,0.,0.\nGRID,13,,5.,1.,0.\nCTRIA3,3,1,11,12,13\n"
            "PCOMP,1"}},
          {"ELM003 1 11"}},
         {{{"CQUAD4,2,1,2,3,6,5", "GRID,15,,1.,1.,0.\nCQUAD4,2,1,2,3,6,15"}}, {"NOD003 5 15"}},
         // A node that is used by nothing opens no mesh.
         {{{"CQUAD4,2,1,2,3,6,5", "GRID,15,,1.,1.,0.\nCQUAD4,2,1,2,3,6,5"}}, {"NOD002 15"}},
         // A spring between the two joins them.
         {{{"CQUAD4,2,1,2,3,6,5",
            "GRID,15,,1.,1.,0.\nCQUAD4,2,1,2,3,6,15\nCELAS2,9,1.+6,5,1,15,1"}},
          {}},
         // So does an element without thickness, which glues its two sides.
         {{{"CQUAD4,2,1,2,3,6,5",
            "GRID,12,,1.,0.,0.\nGRID,15,,1.,1.,0.\nCQUAD4,2,1,12,3,6,15\nCQUAD4,3,1,2,5,15,12"}},
          {"ELM004 block \"PCOMP 1\" 3"}},
         // A rigid element ties them too.
         {{{"CQUAD4,2,1,2,3,6,5", "GRID,15,,1.,1.,0.\nCQUAD4,2,1,2,3,6,15\nRBE2,9,5,123,15"}}, {}},
         // Springs of several components lie upon each other; of one they are one too many.
         {{{"PCOMP,1", "CELAS2,8,1.+6,5,1,6,1\nCELAS2,9,1.+6,5,2,6,2\nPCOMP,1"}}, {}},
         {{{"PCOMP,1", "CELAS2,8,1.+6,5,1,6,1\nCELAS2,9,1.+6,5,1,6,1\nPCOMP,1"}}, {"ELM002 9"}},
         // A mass is no part of its own.
         {{{"PCOMP,1", "GRID,15,,5.,5.,5.\nCONM2,9,15,,1.\nPCOMP,1"}}, {}},
         {{{"CQUAD4,2,1,2,3,6,5", "CQUAD4,2,1,2,5,6,3"}}, {"ELM008 2"}},
         {{{"CQUAD4,2,1,2,3,6,5", "CQUAD4,2,1,2,3,5,6"}}, {"ELM005 block \"PCOMP 1\" 2"}},
         {{{"PCOMP,1", "GRID,7,,.5,.5,.04\nCPYRAM,3,3,1,2,5,4,7\nPSOLID,3,1\nPCOMP,1"}},
          {"ELM006 block \"PSOLID 3\" 3"}},
         // Each of these stands at the end of the plate.
         {{{"PCOMP,1", "GRID,7,,2.005,0.,0.\nGRID,8,,2.005,1.,0.\nCQUAD4,3,1,3,7,8,6\nPCOMP,1"}},
          {"ELM010 block \"PCOMP 1\" 3"}},
         {{{"PCOMP,1", "GRID,7,,2.2,1.,0.\nGRID,8,,2.2,2.,0.\nCQUAD4,3,1,3,7,8,6\nPCOMP,1"}},
          {"ELM011 block \"PCOMP 1\" 3"}},
         {{{"PCOMP,1", "GRID,7,,3.,.49,0.\nGRID,8,,3.,.51,0.\nCQUAD4,3,1,3,7,8,6\nPCOMP,1"}},
          {"ELM012 block \"PCOMP 1\" 3"}},
         {{{"PCOMP,1", "GRID,7,,3.,0.,0.\nGRID,8,,3.,1.,.8\nCQUAD4,3,1,3,7,8,6\nPCOMP,1"}},
          {"ELM013 block \"PCOMP 1\" 3"}},
         {{{"PCOMP,1", "GRID,7,,12.41,.5,0.\nCTRIA3,3,1,3,7,6\nPCOMP,1"}},
          {"ELM014 block \"PCOMP 1 CTRIA3\" 3"}},
         {{{"GRID,6,,2.,1.", "GRID,6,,1.535,.535"}}, {"ELM015 block \"PCOMP 1\" 2"}},
         {{{"PCOMP,1", "CTRIA3,3,1,3,2,1\nPCOMP,1"}}, {"ELM004 block \"PCOMP 1 CTRIA3\" 3"}},
         // A small element and a large one on either side of a node that the large one lacks.
         {{{"PCOMP,1",
            "GRID,7,,3.,0.,0.\nGRID,8,,3.,1.,0.\nGRID,9,,2.,.5,0.\nGRID,10,,3.,.5,0.\n"
            "CQUAD4,3,1,3,7,10,9\nCQUAD4,4,1,9,10,8,6\nPCOMP,1"}},
          {"NOD005 9"}},
         // A hole: the plate goes on around it.
         {{{"PCOMP,1",
            "GRID,7,,0.,2.,0.\nGRID,8,,1.,2.,0.\nGRID,9,,2.,2.,0.\nGRID,10,,3.,0.,0.\n"
            "GRID,11,,3.,1.,0.\nGRID,12,,3.,2.,0.\nGRID,13,,0.,3.,0.\nGRID,14,,1.,3.,0.\n"
            "GRID,15,,2.,3.,0.\nGRID,16,,3.,3.,0.\nCQUAD4,3,1,4,5,8,7\nCQUAD4,4,1,3,10,11,6\n"
            "CQUAD4,5,1,6,11,12,9\nCQUAD4,6,1,7,8,14,13\nCQUAD4,7,1,8,9,15,14\n"
            "CQUAD4,8,1,9,12,16,15\nPCOMP,1"}},
          {"ELM017 2 3 5 7"}},
         // Three solids on the first shell.
         {{{"PCOMP,1",
            "GRID,7,,.5,.5,1.\nGRID,8,,.5,.5,2.\nGRID,9,,.5,.5,-1.\nCPYRAM,3,3,1,2,5,4,7\n"
            "CPYRAM,4,3,1,2,5,4,8\nCPYRAM,5,3,1,4,5,2,9\nPSOLID,3,1\nPCOMP,1"}},
          {"ELM016 5"}},
         // Two rigid elements move a node, but in the last case one component each.
         {{{"PCOMP,1", "RBE2,8,1,123,5\nRBE2,9,3,12,5\nPCOMP,1"}},
          {"ELM019 node set \"RBE2 9\" 5"}},
         {{{"PCOMP,1", "RBE2,8,1,123,5\nRBAR,9,3,5,123456\nPCOMP,1"}},
          {"ELM019 node set \"RBAR 9\" 5"}},
         {{{"PCOMP,1", "RBE2,8,1,123,5\nRBE2,9,3,456,5\nPCOMP,1"}}, {}},
         // A rigid element joins parts.
         {{{"PCOMP,1",
            "GRID,11,,5.,0.,0.\nGRID,12,,6.,0.,0.\nGRID,13,,5.,1.,0.\nCTRIA3,3,1,11,12,13\n"
            "RBE2,9,6,123,13\nPCOMP,1"}},
          {}},
         {{{"PCOMP,1",
            "GRID,16,,3.,0.,0.\nGRID,21,,2.8,0.,0.\nGRID,22,,2.5,.5,0.\nGRID,23,,2.,.5,0.\n"
            "CTRIA6,3,1,3,16,6,21,22,23\nPCOMP,1"}},
          {"ELM007 block \"PCOMP 1 CTRIA6\" 3"}},
         {{{",45.,YES\nMAT8", ",30.,YES\nMAT8"}},
          {"LAY006 section \"PCOMP 1\"", "LAY007 section \"PCOMP 1\""}},
         {{{",1,0.1,45.,YES,1,0.1,-45.", ",1,0.1,225.,YES,1,0.1,-45."},
           {"1,0.1,45.,YES\nMAT8", "1,0.1,225.,YES\nMAT8"}},
          {"LAY004 section \"PCOMP 1\", layer 1", "LAY004 section \"PCOMP 1\", layer 4"}},
         {{{"45.,", ".7854,"}, {"-45.,", "-.7854,"}, {"-45.,", "-.7854,"}, {",45.,", ",.7854,"}},
          {"LAY005 section \"PCOMP 1\""}},
         {{{"MAT8,1", "MAT8,2,140.+9,10.+9,.3,5.+9\nMAT8,1"}}, {"MAT001 material \"MAT8 2\""}},
         {{{"MAT8,1", "PCONEAX,7,2,.01\nMAT8,2,140.+9,10.+9,.3,5.+9\nMAT8,1"}}, {}},
         {{{"MAT8,1,140.+9,10.+9,.3", "MAT8,1,10.+9,140.+9,.3"}}, {"MAT002 material \"MAT8 1\""}},
         {{{"MAT8,1,140.+9,10.+9,.3,5.+9", "MAT8,1,140.+9,10.+9,.3,5.+9,,,1.6-9"}},
          {"MAT004 material \"MAT8 1\""}},
         {{{"MAT8,1,140.+9,10.+9,.3,5.+9", "MAT8,1,140.+9,10.+9,.3,5.+9,,,1600."}}, {}},
         {{{"PCOMP,1\n", "PCOMP,2,,,,,,,SYM\n,1,0.1,0.,YES\nPCOMP,1\n"}},
          {"SEC003 section \"PCOMP 2\""}},
         {{}, {"MAT005 material \"MAT8 1\""}, AddStepOfFrequencies},
         {{{"PCOMP,1", "GRAV,3,,9.81,0.,0.,-1.\nPCOMP,1"}}, {"MAT005 material \"MAT8 1\""}},
         {{{"MAT8,1,140.+9,10.+9,.3,5.+9", "MAT8,1,140.+9,10.+9,.3,5.+9,,,1600."}},
          {},
          AddStepOfFrequencies},
         {{{",1,0.1,45.,YES,1,0.1,-45.", ",2,0.1,0.,YES,1,0.1,90."},
           {",1,0.1,-45.,YES,1,0.1,45.", ",1,0.1,90.,YES,2,0.1,0."},
           {"MAT8,1", "MAT8,2,140.+9,10.+9,.3,5.+9,,,1600.\nMAT8,1"}},
          {"MAT006 material \"MAT8 1\""}},
         {WithLayersBeside(9), {"LAY011 section \"PCOMP 1\" 1"}},
         {WithLayersBeside(8), {}},
         {{{"PCOMP,1", "CELAS2,8,1.+6,5,1,6,1\nPCOMP,1"}}, {"ELM020 8"}, EmptyTheLastBlock},
         // Another section is looked at all the same.
         {{{"CQUAD4,2,1", "CQUAD4,2,2"},
           {"MAT8,1", "PCOMP,2\n,1,0.1,30.,YES\n,1,0.1,0.,YES\nMAT8,1"}},
          {"LAY008 section \"PCOMP 1\"", "LAY006 section \"PCOMP 2\"",
           "LAY007 section \"PCOMP 2\""},
          BreakLayers},
         {{},
          {"NOD001 2"},
          [](const auto& document) {
              SetCoordinate(document, std::numeric_limits<double>::infinity());
          }},
         {{},
          {"SEC003 section \"PCOMP 1\"", "SEC001 block \"PCOMP 1\" 1 2"},
          TakeSectionOfAssignment}});
}

TEST_F(CheckRulesTest, EachFindsItsDamageOfAMembraneAndNothingElse) {
    ExpectEach(".msh", kMembrane,
               {{{}, {}},
                {{{"4 41", "4 inf"}}, {"FLD001 step \"Step-1\", field \"heat\" 4"}},
                {{{"4 41", "4 4.1e5"}}, {"FLD002 step \"Step-1\", field \"heat\" 4"}},
                {{{"4 41", "4 3.9e4"}}, {}},
                {{{"\"heat\"", "\"disp\""}, {"\"heat\"", "\"disp\""}},
                 {"FLD003 step \"Step-1\", field \"disp\" 4"}},
                {{{"\"right\"", "\"LEFT\""}}, {"SET003 element set \"LEFT\""}},
                {{}, {"STP001 step \"again\""}, AddStepThatRunsBack},
                {{}, {"JOB004 step \"push\""}, StepAtTimes({1, 2, 2.05, 3})},
                {{}, {}, StepAtTimes({1, 2, 3, 3.05})},
                {{}, {}, PutBothElementsIntoBothBlocks}});
}

// Two pyramids on one side of a face; each of them stands in two blocks, and is one solid all the same.
TEST_F(CheckRulesTest, AnElementOfTwoBlocksIsOneSolidOnAFace) {
    Import(".bdf",
           "BEGIN BULK\nGRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,1.,1.,0.\nGRID,4,,0.,1.,0.\n"
           "GRID,5,,.5,.5,1.\nGRID,6,,.5,.5,2.\nCPYRAM,1,1,1,2,3,4,5\nCPYRAM,2,2,1,2,3,4,6\n"
           "PSOLID,1,1\nPSOLID,2,1\nMAT1,1,1.+7,,.3\nENDDATA\n",
           PutBothElementsIntoBothBlocks);
    EXPECT_THAT(FoundOf({"--only", "ELM"}), IsEmpty());
}

// Where the block says that it joins two sides, it may have no thickness; elsewhere it may not.
TEST_F(CheckRulesTest, InterfacesMayBeWithoutThickness) {
    exodus_file::Content content;
    content.labels.clear();
    content.x = {0, 1, 1, 0, 0, 1, 1, 0};
    content.y = {0, 0, 1, 1, 0, 0, 1, 1};
    content.z = std::vector<double>(8, 2.0);
    const auto found = [&](const std::string& name, std::vector<std::int64_t> nodes) {
        content.blocks = {{1, name, "HEX8", 8, std::move(nodes), {}}};
        std::filesystem::remove_all(m_model);
        exodus_file::Write(content, m_folder / "glue.e");
        EXPECT_EQ(RunHere({"import", m_folder / "glue.e", "-o", m_model}).status, 0);
        return FoundOf({"--skip", "VIZ"});
    };
    const std::vector<std::int64_t> flat = {1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_THAT(found("cohesive_zone", flat), IsEmpty());
    EXPECT_THAT(found("agape", flat), ElementsAre("ELM004 block \"agape\" 1"));
    // In a plane, but not side upon side.
    content.x[4] = 3;
    EXPECT_THAT(found("cohesive_zone", flat), ElementsAre("ELM004 block \"cohesive_zone\" 1"));
}

/// A cloud of small shells, one of whose nodes is set elsewhere.
TEST_F(CheckRulesTest, ANodeFarFromTheOthersIsFound) {
    std::string deck = "BEGIN BULK\n";
    for (int i = 0; i < 120; ++i) {
        deck += fmt::format("GRID,{},,{}.,{}.,0.\n", i + 1, i / 2, i % 2);
    }
    for (int i = 0; i < 59; ++i) {
        deck += fmt::format("CQUAD4,{},1,{},{},{},{}\n", i + 1, 2 * i + 1, 2 * i + 3, 2 * i + 4,
                            2 * i + 2);
    }
    deck += "GRID,900,,0.,700.,0.\nCONM2,900,900,,1.\nPSHELL,1,1,.1\nMAT1,1,1.+7,,.3\nENDDATA\n";
    Import(".bdf", deck);
    EXPECT_THAT(FoundOf({"--skip", "VIZ"}), ElementsAre("NOD004 900"));
    Import(".bdf", Edited(deck, {{"700.", "500."}}));
    EXPECT_THAT(FoundOf({"--skip", "VIZ"}), IsEmpty());
}

TEST_F(CheckRulesTest, SurfacesLookToOneSideAndLieOutside) {
    // Two cubes beside each other, and two shells under them.
    exodus_file::Content content;
    content.labels.clear();
    content.x = {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2};
    content.y = {0, 0, 0, 1, 1, 1, 0, 0, 0, 1, 1, 1};
    content.z = {0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1};
    content.blocks = {
        {1, "cubes", "HEX8", 8, {1, 2, 5, 4, 7, 8, 11, 10, 2, 3, 6, 5, 8, 9, 12, 11}, {}},
        {2, "plate", "SHELL4", 4, {1, 2, 5, 4, 2, 3, 6, 5}, {}}};
    const auto found = [&](std::vector<std::int64_t> elements, std::vector<std::int64_t> sides) {
        content.sideSets = {{1, "wet", std::move(elements), std::move(sides)}};
        std::filesystem::remove_all(m_model);
        exodus_file::Write(content, m_folder / "cubes.e");
        EXPECT_EQ(RunHere({"import", m_folder / "cubes.e", "-o", m_model}).status, 0);
        return FoundOf({"--skip", "VIZ"});
    };
    EXPECT_THAT(found({1, 2, 1}, {6, 6, 1}), IsEmpty());
    EXPECT_THAT(found({3, 4}, {1, 1}), IsEmpty());
    EXPECT_THAT(found({3, 4}, {1, 2}), ElementsAre("SET005 surface \"wet\" 4"));
    EXPECT_THAT(found({1}, {2}), ElementsAre("SET006 surface \"wet\" 1"));
}

// What a deck may do, a mesh may not.
TEST_F(CheckRulesTest, SolidsThatFaceInwardsAreInvertedUnlessTheyAreOfADeck) {
    Import(".bdf",
           "BEGIN BULK\nGRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,0.,1.,0.\nGRID,4,,0.,0.,1.\n"
           "CTETRA,1,1,1,3,2,4\nPSOLID,1,1\nMAT1,1,1.+7,,.3\nENDDATA\n");
    EXPECT_THAT(FoundOf({"--only", "ELM"}), ElementsAre("ELM009 block \"PSOLID 1\" 1"));
    Import(".msh",
           "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n4\n1 0 0 0\n2 1 0 0\n3 0 1 0\n4 0 0 1\n"
           "$EndNodes\n$Elements\n1\n1 4 2 1 1 1 3 2 4\n$EndElements\n");
    EXPECT_THAT(FoundOf({"--only", "ELM"}), ElementsAre(HasSubstr("ELM005 block")));
}

// An axis along y has no direction in a shell whose normal is y.
TEST_F(CheckRulesTest, AnOrientationHasADirectionInTheShell) {
    exodus_file::Content content;
    content.labels.clear();
    content.x = {0, 1, 1, 0, 0, 1};
    content.y = {0, 0, 1, 1, 0, 0};
    content.z = {0, 0, 0, 0, 1, 1};
    content.blocks = {{1, "plate", "SHELL4", 4, {1, 2, 3, 4, 1, 2, 6, 5}, {}}};
    exodus_file::Write(content, m_folder / "corner.e");
    PutBytes(m_folder / "layup.json", R"({"version": 1, "materials": [{"name": "tape"}],
        "orientations": [{"name": "span", "axis1": [0, 2, 0], "axis2": [1, 1, 0]}],
        "sections": [{"name": "skin", "layers": [{"material": "tape", "orientation": "span",
                      "thickness": 1, "angle": 0}]}],
        "assignments": [{"section": "skin", "elements": ["plate"]}]})");
    ASSERT_EQ(RunHere({"import", m_folder / "corner.e", "-o", m_model, "--layup",
                       m_folder / "layup.json"})
                  .status,
              0);
    EXPECT_THAT(FoundOf({"--only", "LAY009"}),
                ElementsAre("LAY009 section \"skin\", orientation \"span\" 2"));
}

TEST_F(CheckRulesTest, HowAnAnalysisEndedIsTold) {
    auto& handler = omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
    {
        ORQObjDocument document(ORQSimDatabase::Create(m_model));
        ORQSimTransaction transaction(document.ContextID());
        const ORQObjModelBuilder builder(document.Database());
        ORQObjStepBuilder(document).AddStep("Heating", ORQSimSchema::Step_General);
        transaction.Commit();
        handler.SetDocument(document);
        handler.BeginStep("Heating");
        handler.SetJobStatus(static_cast<int>(ORQObjJobStatus::Running));
        const auto warn = [&](int code) {
            handler.AddWarningError(code, false, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                                    nullptr, 0);
        };
        for (int i = 0; i < 11; ++i) {
            warn(5);
        }
        warn(6);
        // Another program that looks meanwhile sees that the analysis goes on.
        EXPECT_THAT(FoundOf({"--only", "JOB001,JOB002"}), IsEmpty());
        omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    }
    EXPECT_THAT(FoundOf({"--only", "JOB"}), ElementsAre("JOB001", "JOB003 step \"Heating\""));
    const auto end = [&](ORQObjJobStatus status) {
        ORQObjDocument document(
            ORQSimDatabase::Open(ModelAt(m_model), ORQSimDatabase::Mode::ReadWrite));
        auto& another = omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
        another.SetDocument(document);
        another.SetJobStatus(static_cast<int>(status));
        omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    };
    end(ORQObjJobStatus::Failed);
    EXPECT_THAT(FoundOf({"--only", "JOB001,JOB002"}), ElementsAre("JOB002"));
    end(ORQObjJobStatus::Completed);
    EXPECT_THAT(FoundOf({"--only", "JOB001,JOB002"}), IsEmpty());
}

// Shells have the thickness of the layup that they were exported with, and another one now.
TEST_F(CheckRulesTest, LayersAreAsThickAsTheirShell) {
    Import(".bdf", kPlate);
    ASSERT_EQ(RunHere({"export", m_model, "-o", m_folder / "plate.e"}).status, 0);
    const auto found = [&](double thickness) {
        PutBytes(m_folder / "layup.json",
                 fmt::format(R"({{"version": 1, "materials": [{{"name": "tape"}}],
            "sections": [{{"name": "skin", "layers": [{{"material": "tape", "thickness": {},
                           "angle": 0}}]}}],
            "assignments": [{{"section": "skin", "elements": ["PCOMP 1"]}}]}})",
                             thickness));
        std::filesystem::remove_all(m_model);
        EXPECT_EQ(RunHere({"import", m_folder / "plate.e", "-o", m_model, "--layup",
                           m_folder / "layup.json"})
                      .status,
                  0);
        return FoundOf({"--skip", "VIZ"});
    };
    EXPECT_THAT(found(0.4), IsEmpty());
    EXPECT_THAT(found(0.41), ElementsAre("LAY010 block \"PCOMP 1\" 1 2"));
}

/// Four cubes around an edge along z, each with a node of its own at the upper end of the edge; a
/// cube beside them that is inside out, and one whose two faces lie upon each other; a node alone.
TEST_F(CheckRulesTest, AMeshOfFourFaultsHasExactlyThese) {
    exodus_file::Content content;
    content.labels.clear();
    content.x.clear();
    content.y.clear();
    content.z.clear();
    const auto add = [&](double x, double y, double z) {
        content.x.push_back(x);
        content.y.push_back(y);
        content.z.push_back(z);
    };
    for (int i = 0; i < 18; ++i) {
        add(i % 3, i / 3 % 3, i / 9);  // NOLINT(bugprone-integer-division)
    }
    for (int i = 0; i < 3; ++i) {
        add(1, 1, 1);  // with 14 before them
    }
    for (int i = 0; i < 4; ++i) {
        add(3, i % 2, i / 2);                         // NOLINT(bugprone-integer-division)
        add(2, 1.25 + i % 2 * .5, .25 + i / 2 * .5);  // NOLINT(bugprone-integer-division)
    }
    add(.5, .5, .5);
    content.blocks = {
        {1,
         "cubes",
         "HEX8",
         8,
         {1, 2, 5, 4, 10, 11, 14, 13, 2,  3,  6,  5,  11, 12, 15, 19, 4, 5, 8,  7,  13, 20, 17, 16,
          5, 6, 9, 8, 21, 15, 18, 17, 12, 26, 28, 15, 3,  22, 24, 6,  6, 9, 18, 15, 23, 25, 29, 27},
         {}}};
    exodus_file::Write(content, m_folder / "cubes.e");
    ASSERT_EQ(RunHere({"import", m_folder / "cubes.e", "-o", m_model}).status, 0);
    EXPECT_THAT(FoundOf({"--skip", "VIZ"}),
                ElementsAre("NOD002 30", "NOD003 14 19 20 21", "ELM004 block \"cubes\" 6",
                            "ELM005 block \"cubes\" 5"));
}

}  // namespace
}  // namespace orqmodel
