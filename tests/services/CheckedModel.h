// A small model in which the checker finds nothing, and ways to spoil it.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "NewDatabase.h"
#include "ORQObjElementClass.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjRegionBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvEltClassificationBuilder.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvNodalCoordinates.h"
#include "SoundAtEnd.h"
#include "ads_ComponentSymbolsEnm.h"

using Texts = std::vector<std::string>;

inline Texts Findings(const ORQObjDocument& document) {
    ORQSrvHPVizChecker checker(document);
    checker.Check_HPViz();
    Texts texts;
    for (const ORQString& message : checker.Messages()) {
        texts.push_back(message.UTF8());
    }
    return texts;
}

// Six nodes; elements 0 and 1 of spec SHELL4, 2 and 3 of TRI3, all with section "skin"; steps
// "Load", "Buckle", "Riks" and "Modes"; the analytical surface "DRUM".
class CheckedModel {
  public:
    CheckedModel() {
        BuildMesh();
        BuildSections();
        BuildRegions();
        BuildSteps();
    }

    // --- Places ----------------------------------------------------------------------------------

    ORQObjDocument Document() const { return builder.Document(); }
    ORQSimPosition Model() const { return builder.Model(); }
    ORQSimPosition Mesh() const { return builder.Mesh(); }
    ORQSimPosition Focus() const { return Document().Focus(); }
    ORQSimPosition Step(const char* name) const {
        return Model().GetMap(ORQSimSchema::Model_steps).Find(name);
    }
    ORQSimPosition Drum() const {
        return Model().GetMap(ORQSimSchema::Model_surfaces).Find("DRUM");
    }
    ORQSimPosition Class(int member) const {
        return ORQSimCollection(ORQObjMesh(Mesh()).GetElementClassCollection().GetCollection())
            .GetMember(member);
    }
    ORQSimPosition Assignment() const {
        return Model().GetVector(ORQSimSchema::Model_sectionAssignments)[0];
    }
    ORQSimPosition Request(int number) const {
        return Model().GetVector(ORQSimSchema::Model_outputRequests)[number];
    }
    ORQSimPosition Record() const { return Model().CreateDataRecord(ORQSimSchema::Property).Pos(); }
    // What describes the members of a step's set.
    static ORQSimPosition Description(const ORQSimPosition& step, int setSlot, int collectionSlot) {
        return ORQSimPosition(step.GetPosition(setSlot).CSet().CollectionID())
            .Parent(collectionSlot);
    }

    // --- Sets ------------------------------------------------------------------------------------

    static ORQSimCSetID Set(const ORQSimCollectionID& collection, const std::vector<int>& members) {
        return ORQSimCollection(collection)
            .CreateTempCSet(members.data(), static_cast<int>(members.size()), false);
    }
    ORQSimCSetID Nodes(const std::vector<int>& members) const {
        return Set(ORQObjMesh(Mesh()).GetNodeCollection().GetCollection(), members);
    }
    ORQSimCSetID Elements(const std::vector<int>& members) const {
        return Set(ORQObjMesh(Mesh()).GetElementCollection().GetCollection(), members);
    }

    // --- Spoiling --------------------------------------------------------------------------------

    static void Unlink(const ORQSimPosition& object, int slot) { object.SetPosition(slot, {}); }
    void TakeSectionFrom(int elementClass) const {
        Class(elementClass).GetSet(ORQSimSchema::ElementClass_sections).Remove(section);
    }
    void AssignSpecs(const std::vector<int>& shells, const std::vector<int>& triangles) const {
        std::vector<std::pair<ORQSimPosition, ORQSimCSetID>> assignment;
        for (const auto& [spec, members] : {std::pair{shell, shells}, {triangle, triangles}}) {
            if (!members.empty()) {
                assignment.emplace_back(spec, Elements(members));
            }
        }
        builder.AssignElementSpecs(assignment);
    }
    // Makes room for one more member in the collection of a step's set, and adds it to the set.
    static void AddMember(const ORQSimPosition& step, int setSlot) {
        ORQSimCollection collection(step.GetPosition(setSlot).CSet().CollectionID());
        collection.ExtendSpace(collection.Space() + 1);
        step.SetPosition(setSlot, collection.CreateTempCSetStrided(0, collection.Space(), 1, 1));
    }
    ORQObjFieldDefinition Displacement(int component) const {
        return {"U",
                steps.StandardFieldType("U_D"),
                ORQSimSchema::Field_Nodal,
                ORQObjMesh(Mesh()).GetNodeCollection(),
                {{component, "u"}}};
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    ORQObjSectionBuilder sections{builder.Document()};
    ORQObjStepBuilder steps{builder.Document()};
    ORQObjRegionBuilder regions{builder.Document()};
    ORQSimPosition shell;
    ORQSimPosition triangle;
    ORQSimPosition section;
    ORQSimPosition ply;
    ORQSimPosition userRequest;
    ORQSimPosition tip;   // a region of nodes
    ORQSimPosition skin;  // and of elements
    ORQObjMeshedField history;
    ORQObjMeshedField displacement;
    ORQObjMeshedField damage;
    SoundAtEnd sound{database};

  private:
    void BuildMesh() {
        const ORQSimCSetID nodes = builder.AddNodes(6);
        const std::vector<double> coordinates(18, 0.5);
        ORQSrvNodalCoordinates(builder.Coordinates(), 100)
            .Append(transaction, nodes, builder.SpatialDirections(3), coordinates.data());
        const std::array labels = {1, 2, 3, 4, 5, 6};
        const ORQSimPosition part = builder.AddInstance("PART-1");
        builder.SetLabels(ORQObjLabelerType::Node, part, nodes, labels.data());
        builder.AddElements(4);
        shell = builder.AddElementSpec("SHELL4");
        triangle = builder.AddElementSpec("TRI3");
        ORQSrvElementConnectivity connectivity(builder.Connectivity(), 100);
        const std::array quadNodes = {0, 1, 4, 3, 1, 2, 5, 4};
        const std::array triangleNodes = {0, 1, 4, 0, 4, 3};
        connectivity.Append(transaction, shell.ID(), Elements({0, 1}), builder.NodePlaces(4),
                            quadNodes.data());
        connectivity.Append(transaction, triangle.ID(), Elements({2, 3}), builder.NodePlaces(3),
                            triangleNodes.data());
        AssignSpecs({0, 1}, {2, 3});
        builder.SetLogicalSectionClassification(
            ORQSrvEltClassificationBuilder(Focus()).BuildEltClassification(
                ORQSrvEltClassificationType::Shape));
    }

    void BuildSections() {
        section = sections.AddShellSection("skin", 1, 2);
        ply = sections.AddPly("P1", 1);
        sections.AddLayer(section, ORQSimSchema::Layer_General, ply);
        const ORQSimPosition beam =
            sections.AddLayer(section, ORQSimSchema::Layer_Beam_Arbitrary, {});
        const ORQSimPosition segments = beam.CreateDataRecord(ORQSimSchema::Field_FTable).Pos();
        const double width = 0.1;
        segments.SetPosition(ORQSimSchema::Field_fTable,
                             segments.CreateSimpleFTable(1, {}, {}, &width, 1));
        beam.SetPosition(ORQSimSchema::Layer_Beam_Arbitrary_segments, segments);
        skin = builder.AddElementSet("SKIN", 1, Elements({0, 1, 2, 3}));
        sections.AddSectionAssignment(skin, section);
        ORQSrvEltClassificationBuilder(Focus()).LinkSections();
    }

    void BuildRegions() {
        tip = builder.AddNodeSet("TIP", 1, Nodes({2, 5}));
        regions.AddOutputRegion(builder.AddSurface("TOP", 1, {{0, Elements({0, 1})}}));
        const ORQSimPosition drum = regions.AddSurfaceOfRevolution("DRUM", 2, {0, 0, 0}, {0, 0, 1});
        regions.SetSurfaceMesh(drum, std::array{1.0, 0.0, 0.0, 1.0, 0.0, 1.0}, std::array{0, 1}, 2);
        regions.AddRigidBody("DRUM-BODY", 3, drum);
    }

    void BuildSteps() {
        const ORQSimPosition load = steps.AddStep("Load", ORQSimSchema::Step_General);
        const ORQSimCSetID times = steps.AddTimes(load, std::array{0.5, 1.0});
        const std::vector<double> values(12, 0.25);
        history = steps.AddHistoryField(load, Displacement(ads_Component3));
        history.Write(times, ORQSimCSet(Nodes({2, 5})), values.data());
        displacement = steps.AddFieldResult(load, Displacement(ads_Component1));
        displacement.Write(times, ORQSimCSet(Nodes({0, 1, 2, 3, 4, 5})), values.data());
        damage = steps.AddFieldResult(load, {"D",
                                             steps.UserFieldType("DAMAGE"),
                                             ORQSimSchema::Field_WholeElement,
                                             ORQObjMesh(Mesh()).GetElementCollection(),
                                             {{ads_ComponentNone, "D"}}});
        damage.Write(times, ORQSimCSet(Elements({0, 1, 2, 3})), values.data());
        userRequest = steps.AddUserOutputRequest("tip", {&tip, 1});
        steps.AddOutputRequest(userRequest, {&history, 1});
        steps.AddOutputRequest(steps.AddUserOutputRequest("all", {&skin, 1}), {&displacement, 1});

        steps.SetModes(steps.AddStep("Buckle", ORQSimSchema::Step_Lin_Buckle),
                       std::array{1.5, 2.5});
        const ORQSimPosition riks = steps.AddStep("Riks", ORQSimSchema::Step_Gen_StaticRiks);
        steps.SetTimeIncrementation(riks, 0.1, 1);
        steps.AddTimes(riks, std::array{1.0});
        steps.SetArcLengths(riks, std::array{0.5});
        const ORQSimPosition modes = steps.AddStep("Modes", ORQSimSchema::Step_Lin_Frequency);
        steps.SetModes(modes, std::array{40.0});
        steps.SetFrequencies(modes, std::array{1.0});
    }
};
