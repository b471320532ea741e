// Defects of a model, each with the findings that it makes in an otherwise clean one.
#pragma once

#include <array>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "CheckedModel.h"
#include "ORQSimDistribution.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"

namespace checked_defects {

using namespace ORQSimSchema;

struct Defect {
    std::string name;
    std::function<void(CheckedModel&)> seed;
    Texts findings;
};

inline std::string NoSection(const std::string& number, const std::string& rest) {
    return " Element Class :#" + number + "; has no reference to Section; #elements:" + rest;
}

inline const std::vector<Defect>& MeshDefects() {
    static const std::vector<Defect> defects = {
        {"no coordinates",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_coordinates); },
         {"Coodinates distribution is not present in mesh."}},
        {"coordinates of another kind",
         [](auto& m) { m.Mesh().SetPosition(Mesh_coordinates, m.Record()); },
         {"Undefined coordinates distribution.", "There is no data in coordinates distribution.",
          "Some nodes from user node set are not present in coordinates distribution"}},
        {"empty coordinates",
         [](auto& m) {
             const ORQSimDistribution distribution(m.builder.Coordinates().GetDistribution());
             distribution.DeleteDrawer(distribution.DrawerIDArray().Get(0));
         },
         {"There is no data in coordinates distribution.",
          "Some nodes from user node set are not present in coordinates distribution"}},
        {"no assignment of specs",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_elementSpecAssignment); },
         {"Mesh has no elementSpecAssignment."}},
        {"a set for the assignment of specs, and classes not looked at",
         [](auto& m) {
             m.TakeSectionFrom(0);
             m.Mesh().SetPosition(Mesh_elementSpecAssignment, m.Elements({0}));
         },
         {"Mesh->elementSpecAssignment link points to an object of category 4 instead of a "
          "DSet."}},
        {"no nodes",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_nodes); },
         {"nodeCollection is not present"}},
        {"no user nodes",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_userNodes); },
         {"userNodes is not present"}},
        {"empty user nodes",
         [](auto& m) { m.Mesh().SetPosition(Mesh_userNodes, m.Nodes({})); },
         {"userNodes CSet is not present"}},
        {"user nodes that are elements",
         [](auto& m) { m.Mesh().SetPosition(Mesh_userNodes, m.Elements({0})); },
         {"Some nodes from user node set are not present in coordinates distribution"}},
        {"a user node without coordinates",
         [](auto& m) {
             m.builder.AddNodes(1);
             m.Mesh().SetPosition(Mesh_userNodes, m.Nodes({0, 6}));
         },
         {"Some nodes from user node set are not present in coordinates distribution"}},
        {"no classification",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_elementClassification); },
         {"elementClassCollection is not present"}},
        {"no logical classification",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_shapeFormulationLogicalSection); },
         {"shapeFormulationLogicalSectionClassification is not present"}},
        {"no classes",
         [](auto& m) {
             ORQSimSet classes = m.Mesh()
                                     .GetPosition(Mesh_elementClassification)
                                     .GetSet(ElementClassification_classes);
             classes.Remove(m.Class(0));
             classes.Remove(m.Class(1));
         },
         {"ElementClassification has no ElementClasses."}},
        {"a class without a section, the second one",
         [](auto& m) { m.TakeSectionFrom(1); },
         {NoSection("1",
                    "2; elClass->elSpec: \"TRI3\"; elSpecAssign->elSpec: \"TRI3\"; elements "
                    "in elementSpecAssign: YES; elements in connectivity: YES")}},
        {"a class without a section and spec",
         [](auto& m) {
             m.TakeSectionFrom(0);
             m.Unlink(m.Class(0), ElementClass_elementSpec);
         },
         {NoSection("0",
                    "2; elClass->elSpec: -MISSING-; elSpecAssign->elSpec: \"SHELL4\"; "
                    "elements in elementSpecAssign: YES; elements in connectivity: YES")}},
        {"a class of half assigned elements",
         [](auto& m) {
             m.TakeSectionFrom(0);
             m.AssignSpecs({1}, {2, 3});
         },
         {NoSection("0",
                    "2; elClass->elSpec: \"SHELL4\"; elSpecAssign->elSpec: \"SHELL4\"; "
                    "elements in elementSpecAssign: PARTIAL; elements in connectivity: "
                    "YES")}},
        {"a class of unassigned elements",
         [](auto& m) {
             m.TakeSectionFrom(0);
             m.AssignSpecs({}, {2, 3});
         },
         {" Element Class :#0; linked to more than 1 elSpec; #elments:0; ",
          NoSection("0",
                    "2; elClass->elSpec: \"SHELL4\"; elSpecAssign->elSpec: -MISSING-; "
                    "elements in elementSpecAssign: NO; elements in connectivity: YES")}},
        {"a class of two specs, of which one has no name",
         [](auto& m) {
             m.TakeSectionFrom(0);
             m.AssignSpecs({0}, {1, 2, 3});
             m.triangle.SetName(Record_name, "");
         },
         {" Element Class :#0; linked to more than 1 elSpec; #elments:2; \"SHELL4\",\"-MISSING-\"",
          NoSection("0",
                    "2; elClass->elSpec: \"SHELL4\"; elSpecAssign->elSpec: \"SHELL4\"; "
                    "elements in elementSpecAssign: YES; elements in connectivity: YES")}},
        {"a class of two scattered compartments, partly without connectivity",
         [](auto& m) {
             m.builder.AddElements(3);
             m.AssignSpecs({0, 1, 4, 6}, {2, 3, 5});
             m.builder.SetLogicalSectionClassification(
                 ORQSrvEltClassificationBuilder(m.Focus()).BuildEltClassification(
                     ORQSrvEltClassificationType::Shape));
             m.TakeSectionFrom(0);
         },
         {NoSection("0",
                    "4; elClass->elSpec: \"SHELL4\"; elSpecAssign->elSpec: \"SHELL4\"; "
                    "elements in elementSpecAssign: YES; elements in connectivity: "
                    "PARTIAL")}},
    };
    return defects;
}

inline const std::vector<Defect>& RegionDefects() {
    static const std::vector<Defect> defects = {
        {"a surface that nothing moves",
         [](auto& m) {
             m.Unlink(m.Model().GetVector(Model_constraints)[0],
                      Constraint_RigidBody_analyticSurface);
         },
         {"Analytical Surface \"DRUM\" is not referred to by any rigid body constraint "
          "(Constraint_RigidBody_analyticSurface)."}},
        {"no rigid bodies",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_rigidBodies); },
         {"Mesh has no Mesh_rigidBodies Collection."}},
        {"no reference nodes",
         [](auto& m) { m.Unlink(m.Mesh(), Mesh_rigidBodyReferenceNode); },
         {" Mesh has no rigidBodyReferenceNode DSet."}},
        {"a body without a reference node",
         [](auto& m) {
             const ORQSimPosition loose = m.Record();
             loose.SetName(Record_name, "LOOSE");
             ORQSimCollection(m.Mesh().GetPosition(Mesh_rigidBodies).GetCollection())
                 .AddMember(loose);
         },
         {"Rigid body \"LOOSE\" is not present in rigidBodyReferenceNode DSet."}},
        {"a surface without a mesh",
         [](auto& m) { m.Unlink(m.Drum(), AnalyticalSurface_mesh); },
         {"Analytical surface \"DRUM\" has no a mesh."}},
        {"a surface with an empty mesh",
         [](auto& m) { m.Drum().SetPosition(AnalyticalSurface_mesh, m.Record()); },
         {"Mesh for analytical surface \"DRUM\" has no nodeCollection.",
          "Mesh for analytical surface \"DRUM\" has no elementCollection.",
          "Mesh for analytical surface \"DRUM\" has no Connectivity."}},
        {"a surface without an axis",
         [](auto& m) { m.Unlink(m.Drum(), AnalyticalSurface_orientation); },
         {"Orientation for analytical surface of revolution \"DRUM\" has no axisPointA.",
          "Orientation for analytical surface of revolution \"DRUM\" has no axisPointB."}},
        {"a ply that is not in use",
         [](auto& m) { m.Focus().GetSet(Focus_externalPlyIds).Remove(m.ply); },
         {"Ply \"P1\" is not referred to by Focus (Focus_externalPlyIds)."}},
    };
    return defects;
}

inline const std::vector<Defect>& StepDefects() {
    static const std::vector<Defect> defects = {
        {"no steps",
         [](auto& m) {
             for (const char* name : {"Load", "Buckle", "Riks", "Modes"}) {
                 m.Model().GetMap(Model_steps).Remove(name);
             }
         },
         {"Model has no Steps."}},
        {"steps without a sequence",
         [](auto& m) { m.Model().GetVector(Model_stepSequence).Truncate(0); },
         {"Model_stepSequence is empty."}},
        {"a step that is not in use",
         [](auto& m) { m.Focus().GetSet(Focus_externalTaskIds).Remove(m.Step("Riks")); },
         {"Step \"Riks\" is not referred to by Focus (Focus_externalTaskIds)."}},
        {"no modes",
         [](auto& m) {
             const ORQSimPosition step = m.Step("Buckle");
             step.SetPosition(Task_modes,
                              m.Set(step.GetPosition(Task_modes).CSet().CollectionID(), {}));
         },
         {"Step_Lin_Buckle \"Buckle\" has a mode set that is empty (Task_modes)."}},
        {"no link to modes",
         [](auto& m) { m.Unlink(m.Step("Buckle"), Task_modes); },
         {"Step_Lin_Buckle \"Buckle\" has no modes link (Task_modes)."}},
        {"modes without a system",
         [](auto& m) { m.Unlink(m.Step("Modes"), Task_feSystem); },
         {"Step \"Modes\" has no FESystem."}},
        {"modes of another system",
         [](auto& m) { m.Step("Modes").SetPosition(Task_feSystem, m.Record()); },
         {"System is not ModalSystem for Step \"Modes\"."}},
        {"modes without eigenvalues",
         [](auto& m) {
             m.Unlink(m.Step("Modes").GetPosition(Task_feSystem), ModalSystem_eigenvalues);
         },
         {"ModalSystem has no eigenvalues link (ModalSystem_eigenvalues)for Step \"Modes\"."}},
        {"no time incrementation",
         [](auto& m) { m.Unlink(m.Step("Riks"), Step_Gen_timeIncrementation); },
         {"TimeIncrementation record does not exist for Step_Gen_StaticRiks \"Riks\" "
          "(Step_Gen_timeIncrementation)."}},
        {"no times",
         [](auto& m) { m.Unlink(m.Step("Buckle"), Task_times); },
         {"Task_times CSet's TimeCollection has no parent link to TimeDescription "
          "(TimeDescription_timeCollection)for Step \"Buckle\"."}},
        {"times without values",
         [](auto& m) {
             m.Unlink(m.Step("Buckle").GetPosition(Task_timeDescription),
                      TimeDescription_distribution);
         },
         {"TimeDescription has no data distribution for Step \"Buckle\"."}},
        {"a time without a value",
         [](auto& m) { m.AddMember(m.Step("Riks"), Task_times); },
         {"TimeDescription data distribution must have all members from times CSet for Step "
          "\"Riks\"."}},
        {"no arc lengths",
         [](auto& m) { m.Unlink(m.Step("Riks"), Step_Riks_arcLengths); },
         {"ArcLengthDescription record does not exist."}},
        {"arc lengths without values",
         [](auto& m) {
             m.Unlink(m.Description(m.Step("Riks"), Step_Riks_arcLengths,
                                    ArcLengthDescription_collection),
                      ArcLengthDescription_distribution);
         },
         {"ArcLengthDescription record does not exist for Step \"Riks\"."}},
        {"an arc length without a value",
         [](auto& m) { m.AddMember(m.Step("Riks"), Step_Riks_arcLengths); },
         {"This ArcLengthDescription data distribution has no all members from times CSet for "
          "Step \"Riks\"."}},
        {"no frequencies",
         [](auto& m) { m.Unlink(m.Step("Modes"), Step_frequencies); },
         {"FrequencyDescription record does not exist for Step \"Modes\"."}},
        {"frequencies without values",
         [](auto& m) {
             m.Unlink(
                 m.Description(m.Step("Modes"), Step_frequencies, FrequencyDescription_collection),
                 FrequencyDescription_distribution);
         },
         {"FrequencyDescription record does not exist for Step \"Modes\"."}},
        {"a frequency without a value",
         [](auto& m) { m.AddMember(m.Step("Modes"), Step_frequencies); },
         {"This FrequencyDescription data distribution has no all members from frequency CSet for "
          "Step \"Modes\"."}},
        {"an output region of elements",
         [](auto& m) { m.regions.AddOutputRegion(m.skin); },
         {"Region \"SKIN\" for output surface contribution has no elementsFacesCluster or "
          "elementsEdgesCluster DSet, or nodesCluster CSet."}},
    };
    return defects;
}

inline const std::vector<Defect>& HistoryDefects() {
    static const std::vector<Defect> defects = {
        {"history that is no field",
         [](auto& m) { m.Step("Load").GetSet(Task_historyFields).Insert(m.Record()); },
         {"Step \"Load\", History field #1 is not a MeshedField."}},
        {"history that nobody asked for",
         [](auto& m) { m.Request(0).GetVector(OutputRequest_field).Truncate(0); },
         {"Step \"Load\", History field #0 is not referred to by an OutputRequest "
          "(OutputRequest_field)."}},
        {"a request that no user made",
         [](auto& m) { m.userRequest.GetVector(OutputRequest_elaboratedRequest).Truncate(0); },
         {"OutputRequest for Step \"Load\", History field #0 is not referred to by "
          "UserOutputRequest (OutputRequest_elaboratedRequest)."}},
        {"a request without regions",
         [](auto& m) { m.userRequest.GetSet(UserOutputRequest_outputRegions).Remove(m.tip); },
         {"Step \"Load\", History field #0, UserOutputRequest \"tip\" has no Region link "
          "(UserOutputRequest_outputRegions)."}},
        {"a region without members",
         [](auto& m) { m.Unlink(m.tip, Region_nodesCluster); },
         {"Step \"Load\", History field #0, UserOutputRequest \"tip\" has no cluster link."}},
        {"values that no step has",
         [](auto& m) {
             m.Step("Load").GetSet(Task_fieldResults).Remove(m.displacement.Position());
         },
         {"For OutputRequest #1; Field #0; fieldtype: U_D has content but has no Task_fieldResults "
          "parent link."}},
        {"a field without a type",
         [](auto& m) { m.Unlink(m.history.Position(), MeshedField_type); },
         {"SerFld: #0; Step \"Load\"; fieldtype: -MISSING- has no field type."}},
        {"a field without a grid type",
         [](auto& m) { m.displacement.SetGridType(Region); },
         {"SerFld: #0; OutputRequest #1; fieldtype: U_D has no grid type."}},
        {"a grid type that the variable lacks",
         [](auto& m) { m.displacement.SetGridType(Field_NodalContact); },
         {"SerFld: #0; OutputRequest #1; fieldtype: U_D has the grid type Field_NodalContact, on "
          "which its field type does not occur."}},
        {"values at elements with a nodal grid type",
         [](auto& m) { m.damage.SetGridType(Field_Nodal); },
         {"SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has the grid type Field_Nodal, but values "
          "at elements."}},
        {"no components",
         [](auto& m) { m.Unlink(m.damage.Position(), MeshedField_component); },
         {"SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has no components.",
          "SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has values for 1 components that it does "
          "not have."}},
        {"a component of a tensor in a vector",
         [](auto& m) { m.steps.AddFieldResult(m.Step("Load"), m.Displacement(ads_Component11)); },
         {"SerFld: #2; Step \"Load\"; fieldtype: U_D has the component 1 (C_11), which its field "
          "type does not have.",
          "SerFld: #2; Step \"Load\"; fieldtype: U_D has no values."}},
        {"a component that is no symbol in a field of the model's own",
         [](auto& m) {
             m.steps.AddFieldResult(m.Step("Load"), {"X",
                                                     m.steps.UserFieldType("X"),
                                                     Field_WholeElement,
                                                     ORQObjMesh(m.Mesh()).GetElementCollection(),
                                                     {{34, "x"}}});
         },
         {"SerFld: #2; Step \"Load\"; fieldtype: X has the component 34, which its field type does "
          "not have.",
          "SerFld: #2; Step \"Load\"; fieldtype: X has no values."}},
        {"values at nodes without coordinates",
         [](auto& m) {
             m.builder.AddNodes(3);
             const std::vector<double> values(4, 1.0);
             m.displacement.Write(m.Step("Load").GetPosition(Task_times).GetCSet(),
                                  ORQSimCSet(m.Nodes({7, 8})), values.data());
         },
         {"SerFld: #0; OutputRequest #1; fieldtype: U_D has values for 2 nodes that do not exist "
          "(the first: 7)."}},
        {"values at elements without connectivity",
         [](auto& m) {
             m.builder.AddElements(1);
             const std::vector<double> values(2, 1.0);
             m.damage.Write(m.Step("Load").GetPosition(Task_times).GetCSet(),
                            ORQSimCSet(m.Elements({4})), values.data());
         },
         {"SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has values for 1 elements that do not "
          "exist (the first: 4)."}},
        {"values at a time that the step lacks",
         [](auto& m) {
             const ORQSimPosition step = m.Step("Load");
             step.SetPosition(Task_times,
                              m.Set(step.GetPosition(Task_times).CSet().CollectionID(), {0}));
             m.Step("Load").GetSet(Task_fieldResults).Remove(m.damage.Position());
             m.Step("Load").GetSet(Task_historyFields).Remove(m.history.Position());
             m.Request(0).GetVector(OutputRequest_field).Truncate(0);
         },
         {"SerFld: #0; OutputRequest #1; fieldtype: U_D has values at 1 times that its step does "
          "not have."}},
        {"values of a component that the field lacks",
         [](auto& m) {
             m.displacement.SetComponents(
                 m.Set(m.Document().GetComponentCollection().GetCollection(), {ads_Component2}));
         },
         {"SerFld: #0; OutputRequest #1; fieldtype: U_D has values for 1 components that it does "
          "not have.",
          "SerFld: #0; OutputRequest #1; fieldtype: U_D has no values for 1 of its components."}},
        {"components that are nodes",
         [](auto& m) { m.displacement.SetComponents(m.Nodes({0})); },
         {"SerFld: #0; OutputRequest #1; fieldtype: U_D has components of another collection."}},
        {"a result that is no field",
         [](auto& m) { m.Step("Load").GetSet(Task_fieldResults).Insert(m.Record()); },
         {"Step \"Load\", Result field #2 is not a MeshedField."}},
        {"a result without a distribution",
         [](auto& m) { m.Unlink(m.damage.Position(), Field_distribution); },
         {"SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has no distribution."}},
        {"results without values, one of them in two requests",
         [](auto& m) {
             for (const auto& field : {m.damage, m.displacement}) {
                 const ORQSimDistribution distribution(field.GetDistribution());
                 distribution.DeleteDrawer(distribution.DrawerIDArray().Get(0));
             }
             m.Request(0).GetVector(OutputRequest_field).PushBack(m.displacement.Position());
         },
         {"SerFld: #1; OutputRequest #0; fieldtype: U_D has no values.",
          "SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has no values."}},
        {"results at fewer times than their step has",
         [](auto& m) {
             m.AddMember(m.Step("Load"), Task_times);
             m.AddMember(m.Step("Load"), Task_times);
         },
         {"TimeDescription data distribution must have all members from times CSet for Step "
          "\"Load\".",
          "SerFld: #0; OutputRequest #1; fieldtype: U_D has no values at 2 of the times of its "
          "step.",
          "SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has no values at 2 of the times of its "
          "step."}},
        {"a result of no number, and one of a single number",
         [](auto& m) {
             const double none = std::numeric_limits<double>::quiet_NaN();
             std::vector<double> values(12, none);
             const auto times = m.Step("Load").GetPosition(Task_times).GetCSet();
             values[3] = -std::numeric_limits<double>::infinity();
             m.damage.Write(times, ORQSimCSet(m.Elements({0, 1, 2, 3})), values.data());
             values[11] = 0;
             m.displacement.Write(times, ORQSimCSet(m.Nodes({0, 1, 2, 3, 4, 5})), values.data());
         },
         {"SerFld: #1; Step \"Load\"; fieldtype: DAMAGE has only values that are not finite."}},
    };
    return defects;
}

inline const std::vector<Defect>& SectionDefects() {
    static const std::vector<Defect> defects = {
        {"an assignment without a section",
         [](auto& m) { m.Unlink(m.Assignment(), SectionAssignment_section); },
         {"SectionAssignment  #0 has no Section link.",
          "Section \"\" is not linked to Focus (Focus_externalSectionIds)."}},
        {"an assignment without a region, the second one",
         [](auto& m) { m.sections.AddSectionAssignment({}, m.section); },
         {"SectionAssignment  #1 has no Region link.",
          "Region referred by SectionAssignemt #1 has no elementsCluster CSet."}},
        {"a region without elements",
         [](auto& m) { m.Assignment().SetPosition(SectionAssignment_region, m.tip); },
         {"Region referred by SectionAssignemt #0 has no elementsCluster CSet."}},
        {"a section that is not in use",
         [](auto& m) { m.Focus().GetSet(Focus_externalSectionIds).Remove(m.section); },
         {"Section \"skin\" is not linked to Focus (Focus_externalSectionIds)."}},
        {"a section without layers",
         [](auto& m) {
             m.section.DataRecord().SetInt(ORQSimRecordField::Section_layered_numLayers, 0);
         },
         {"Shell section \"skin\" has no Layers (Section_layers)."}},
        {"a section that needs no layers",
         [](auto& m) {
             m.section.DataRecord().SetInt(ORQSimRecordField::Section_layered_numLayers, 0);
             m.section.DataRecord().SetSymb(ORQSimRecordField::Section_layered_definition, 2);
         },
         {}},
        {"a ply of no model",
         [](auto& m) { m.Model().GetMap(Model_plies).Remove("P1"); },
         {"Ply is not linked to Model, \"skin\", layer 1, ply \"P1\"."}},
        {"a profile that is no table",
         [](auto& m) {
             m.section.GetVector(Section_layers)[1].SetPosition(Layer_Beam_Arbitrary_segments,
                                                                m.Record());
         },
         {"Layer_Beam_Arbitrary_segments is not of type Field_FTable, \"skin\", layer 2."}},
        {"a profile without its table",
         [](auto& m) {
             m.Unlink(
                 m.section.GetVector(Section_layers)[1].GetPosition(Layer_Beam_Arbitrary_segments),
                 Field_fTable);
         },
         {"Layer_Beam_Arbitrary_segments has no an FTable, \"skin\", layer 2."}},
    };
    return defects;
}

}  // namespace checked_defects
