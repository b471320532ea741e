// The model checker: each defect by its finding, and what follows from several.

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "CheckedDefects.h"
#include "CheckedModel.h"
#include "ORQBasAssertException.h"
#include "ORQSrvBulkShellLayers.h"

namespace {

using namespace checked_defects;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

void ExpectEach(const std::vector<Defect>& defects) {
    for (const Defect& defect : defects) {
        CheckedModel model;
        defect.seed(model);
        EXPECT_THAT(Findings(model.Document()), ElementsAreArray(defect.findings)) << defect.name;
    }
}

const Defect& Named(const std::vector<Defect>& defects, const std::string& name) {
    return *std::ranges::find(defects, name, &Defect::name);
}

}  // namespace

TEST(HPVizChecker, ACleanModelHasNoFindings) {
    EXPECT_THAT(Findings(CheckedModel().Document()), IsEmpty());
}

TEST(HPVizChecker, EachDefectOfTheMeshHasItsFinding) {
    ExpectEach(MeshDefects());
}
TEST(HPVizChecker, EachDefectOfTheRegionsHasItsFinding) {
    ExpectEach(RegionDefects());
}
TEST(HPVizChecker, EachDefectOfTheStepsHasItsFinding) {
    ExpectEach(StepDefects());
}
TEST(HPVizChecker, EachDefectOfTheHistoryHasItsFinding) {
    ExpectEach(HistoryDefects());
}
TEST(HPVizChecker, EachDefectOfTheSectionsHasItsFinding) {
    ExpectEach(SectionDefects());
}

TEST(HPVizChecker, SeveralDefectsAreFoundInTheOrderOfTheChecks) {
    CheckedModel model;
    Texts expected;
    for (const Defect& defect :
         {Named(MeshDefects(), "no user nodes"), Named(MeshDefects(), "no classification"),
          Named(RegionDefects(), "a surface without a mesh"),
          Named(RegionDefects(), "a ply that is not in use"),
          Named(StepDefects(), "modes without a system"),
          Named(HistoryDefects(), "a request without regions"),
          Named(HistoryDefects(), "values that no step has"),
          Named(StepDefects(), "an output region of elements"),
          Named(SectionDefects(), "a section that is not in use")}) {
        defect.seed(model);
        expected.insert(expected.end(), defect.findings.begin(), defect.findings.end());
    }
    EXPECT_THAT(Findings(model.Document()), ElementsAreArray(expected));

    ORQSrvHPVizChecker checker(model.Document());
    checker.Check_HPViz();
    checker.Check_HPViz();
    EXPECT_EQ(checker.Messages().size(), 2 * expected.size());
}

TEST(HPVizChecker, AModelWithoutAMeshIsCheckedOn) {
    CheckedModel model;
    model.Unlink(model.Model(), Model_mesh);
    EXPECT_THAT(Findings(model.Document()),
                ElementsAre("Mesh is not present in this Model.",
                            "Mesh has no Mesh_rigidBodies Collection.",
                            " Mesh has no rigidBodyReferenceNode DSet."));
}

TEST(HPVizChecker, WhatTheMeshLacksIsSaidForEachAnalyticalSurface) {
    CheckedModel model;
    const ORQSimPosition plate =
        model.regions.AddAnalyticalSurface("PLATE", 3, AnalyticalSurface_Segments);
    model.regions.SetSurfaceMesh(plate, std::array{0.0, 0.0, 0.0, 1.0, 0.0, 0.0}, std::array{0, 1},
                                 2);
    model.regions.AddRigidBody("PLATE-BODY", 4, plate);
    EXPECT_THAT(Findings(model.Document()), IsEmpty());
    model.Unlink(model.Mesh(), Mesh_rigidBodyReferenceNode);
    EXPECT_THAT(Findings(model.Document()),
                ElementsAre(" Mesh has no rigidBodyReferenceNode DSet.",
                            " Mesh has no rigidBodyReferenceNode DSet."));
}

// What hangs where another kind of thing should is a finding, and the check goes on to the end.
TEST(HPVizChecker, ObjectsOfAnotherKindAreFindings) {
    struct Case {
        std::string begin;
        std::string end;
        std::function<void(CheckedModel&)> seed;
    };
    const Case cases[] = {
        {"Shell section \"skin\" cannot be checked: field 0 of object ",
         " holds a string and cannot be read as an int.",
         [](auto& m) { m.section.DataRecord().SetString(0, "two"); }},
        {"Shell section \"skin\" cannot be checked: field 9 of object ",
         " holds doubles and cannot be read as a symbol.",
         [](auto& m) { m.section.DataRecord().SetDouble(9, 2); }},
        {"SerFld: #0; OutputRequest #1 cannot be checked: field 0 of object ",
         " holds a string and cannot be read as a type ID.",
         [](auto& m) { m.displacement.Position().DataRecord().SetString(0, "nodal"); }},
        {"SerFld: #0; OutputRequest #1 cannot be checked: field 0 of object ",
         " holds an int and cannot be read as a string.",
         [](auto& m) {
             m.displacement.Position().GetPosition(MeshedField_type).DataRecord().SetInt(0, 1);
             m.history.Position().SetPosition(MeshedField_type, m.steps.StandardFieldType("V_D"));
         }},
    };
    for (const Case& c : cases) {
        CheckedModel model;
        c.seed(model);
        const Defect& last = Named(SectionDefects(), "a ply of no model");
        last.seed(model);
        EXPECT_THAT(
            Findings(model.Document()),
            ElementsAre(testing::AllOf(testing::StartsWith(c.begin), testing::EndsWith(c.end)),
                        last.findings.front()));
    }
}

TEST(HPVizChecker, EveryKindOfAnalyticalSurfaceIsExamined) {
    for (const int b : {4, 5, 8, 10}) {
        CheckedModel model;
        model.regions.AddAnalyticalSurface("PLATE", 3, ads_CoreFragmentTypeIndex(61, b));
        EXPECT_THAT(Findings(model.Document()),
                    testing::Contains("Analytical surface \"PLATE\" has no a mesh."))
            << b;
    }
}

TEST(HPVizChecker, RegionsOfOutputAreExemptByTypeOrMembers) {
    const auto isFound = [](int type, int slot) {
        CheckedModel model;
        const ORQSimPosition region = model.Model().CreateDataRecord(type).Pos();
        ORQSimCollection(model.Model().GetPosition(Model_regions).GetCollection())
            .AddMember(region);
        region.SetPosition(slot, model.Record());
        model.regions.AddOutputRegion(region);
        return !Findings(model.Document()).empty();
    };
    const int plain = ads_CoreFragmentTypeIndex(53, 201);
    const int elements = ads_CoreFragmentTypeIndex(53, 26);
    EXPECT_TRUE(isFound(plain, elements));
    EXPECT_FALSE(isFound(ads_CoreFragmentTypeIndex(61, 3), elements));
    EXPECT_FALSE(isFound(ads_CoreFragmentTypeIndex(53, 22), elements));
    for (const int cluster : {28, 27, 29}) {
        EXPECT_FALSE(isFound(plain, ads_CoreFragmentTypeIndex(53, cluster))) << cluster;
    }
}

TEST(HPVizChecker, AnyClusterMakesARegionOfHistory) {
    for (const int cluster : {28, 27, 29, 26, 25}) {
        CheckedModel model;
        const ORQSimPosition region = model.Record();
        region.SetPosition(ads_CoreFragmentTypeIndex(53, cluster), model.Record());
        model.userRequest.GetSet(UserOutputRequest_outputRegions).Insert(region);
        EXPECT_EQ(Findings(model.Document()).empty(), cluster != 25) << cluster;
    }
}

TEST(HPVizChecker, SpecsThatNeedNoSectionAreExempt) {
    const auto isExamined = [](const char* spec) {
        CheckedModel model;
        model.TakeSectionFrom(0);
        model.shell.SetName(Record_name, spec);
        return !Findings(model.Document()).empty();
    };
    for (const char* spec :
         {"DCOUP3D", "DGAP",   "DRAG2D", "F2D2",    "F3D4", "FLINK",   "GAPUNI", "IDCOUP3D",
          "ITSUNI",  "JOINTC", "PSI24",  "U1",      "Z",    "XYZ",     "R2D2",   "R3D3",
          "R3D4",    "RB2D2",  "RB3D2",  "CONN3D2", "RAX2", "HEATCAP", "MASS1",  "ROTARYI"}) {
        EXPECT_FALSE(isExamined(spec)) << spec;
    }
    for (const char* spec : {"R2D2X", "R3D", "RB3D2X", "S4", "DCOU", "mass", "AMASS", "SHELL4"}) {
        EXPECT_TRUE(isExamined(spec)) << spec;
    }
}

TEST(HPVizChecker, ASectionThatCannotBeReadLeavesTheCheckWithWhatWasFound) {
    CheckedModel model;
    auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    const double thickness = 0.001;
    const ORQSimPosition table = model.Model().CreateDataRecord(Field_FTable).Pos();
    table.SetPosition(Field_fTable, table.CreateSimpleFTable(1, {}, {}, &thickness, 1));
    layers.AppendDistThickness(0, model.builder.AddElementSet("ONE", 2, model.Elements({0})),
                               table);
    layers.WriteBulkDistributions(model.Model());
    layers.Clean();
    const ORQSimPosition field = model.Model()
                                     .GetPosition(Model_sectionData)
                                     .GetPosition(SectionData_distributedThicknesses);
    const ORQSimDistribution distribution(ORQObjMeshedField(field).GetDistribution());
    const ORQSimGrid grid = distribution.Grid();
    const std::array values = {0.001, 0.001};
    ORQSimTransfer(distribution)
        .SetWrite()
        .SetMakeNewDrawer()
        .SetDim(0, model.Set(grid.Collection(0), {0, 1}))
        .SetDim(1, model.Set(grid.Collection(1), {1}))
        .SetBuffer(ORQSimbufMain, values.data(), sizeof values)
        .ExecWrite();
    Named(RegionDefects(), "a ply that is not in use").seed(model);

    ORQSrvHPVizChecker checker(model.Document());
    EXPECT_THROW(checker.Check_HPViz(), ORQBasAssertException);
    EXPECT_EQ(checker.Messages().size(), 1U);
}
