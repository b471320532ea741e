#include "ORQObjModelBuilder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "AddMembers.h"
#include "CheckSet.h"
#include "FindOrMake.h"
#include "MakeRegion.h"
#include "MeshParts.h"
#include "ORQBasFailure.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimCompartment.h"
#include "ORQSimContext.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimSymbols.h"
#include "ORQSimTransfer.h"

namespace {

// Labels are stored in pieces of this many.
constexpr int kLabelChunk = 100000;

struct SymbolRow {
    int place;
    const char* name;
};
// The places at which the services look for degrees of freedom and vector components.
constexpr std::array<SymbolRow, 6> kDofs = {{{2, "DISPLACEMENT_1"},
                                             {3, "DISPLACEMENT_2"},
                                             {4, "DISPLACEMENT_3"},
                                             {15, "ROTATION_ANGLE_1"},
                                             {16, "ROTATION_ANGLE_2"},
                                             {17, "ROTATION_ANGLE_3"}}};
// The places are the codes by which output variables name their components. Some tensor
// components have two codes.
constexpr std::array<SymbolRow, 29> kComponents = {{{0, "C_1"},
                                                    {12, "C_2"},
                                                    {20, "C_3"},
                                                    {1, "C_11"},
                                                    {5, "C_12"},
                                                    {9, "C_12_SECOND"},
                                                    {10, "C_13"},
                                                    {11, "C_13_SECOND"},
                                                    {13, "C_21"},
                                                    {14, "C_22"},
                                                    {18, "C_23"},
                                                    {19, "C_23_SECOND"},
                                                    {21, "C_31"},
                                                    {22, "C_32"},
                                                    {23, "C_33"},
                                                    {24, "PRINCIPAL_VALUE_1"},
                                                    {25, "PRINCIPAL_VALUE_2"},
                                                    {26, "PRINCIPAL_VALUE_3"},
                                                    {27, "ORIENTATION_0"},
                                                    {28, "ORIENTATION_1"},
                                                    {29, "ORIENTATION_2"},
                                                    {30, "ORIENTATION_3"},
                                                    {31, "ROTATION_1"},
                                                    {32, "ROTATION_2"},
                                                    {33, "ROTATION_3"},
                                                    {35, "PRINCIPAL_1"},
                                                    {36, "PRINCIPAL_2"},
                                                    {37, "PRINCIPAL_3"},
                                                    {38, "WHOLE"}}};
constexpr int kComponentSpace = 39;  // as many as there are component codes

template <class Rows>
void NeedSymbols(const ORQSimPosition& collection, int type, const Rows& rows) {
    const ORQSimSymbols symbols(collection.ID().ContextID());
    for (const SymbolRow& row : rows) {
        if (symbols.Get(ORQSimTypeID(type), row.place, collection.GetCollection()).IsNull()) {
            symbols.Create(ORQSimTypeID(type), row.place, row.name, collection.GetCollection());
        }
    }
}

void BuildLibraries(const ORQSimPosition& focus) {
    using namespace ORQSimSchema;
    const ORQSimPosition libraries = NeedRecord(focus, Focus_libraries, Libraries);
    NeedSymbols(
        NeedCollection(libraries, Libraries_components, ComponentCollection, kComponentSpace),
        ComponentSymbol, kComponents);
    NeedSymbols(NeedCollection(libraries, Libraries_dofTypes, DofTypeCollection, 18), DofSymbol,
                kDofs);
    NeedCollection(libraries, Libraries_elementSpecs, ElementSpecCollection);
    NeedCollection(libraries, Libraries_materials, MaterialCollection);
    NeedCollection(libraries, Libraries_points, PointCollection);
    NeedCollection(libraries, Libraries_tableRows, MapperCollection_other);
}

void BuildModel(const ORQObjDocument& document) {
    using namespace ORQSimSchema;
    const ORQSimPosition model = NeedRecord(document.Focus(), Focus_model, Model);
    const ORQSimPosition mesh = NeedRecord(model, Model_mesh, Mesh);
    const auto [nodes, elements, places] = NeedMeshParts(mesh, document.GetComponentCollection());
    const ORQSimPosition instances = NeedCollection(mesh, Mesh_instances, InstanceCollection);
    NeedCollection(model, Model_regions, RegionCollection);
    NeedCollection(mesh, Mesh_faces, FaceCollection);
    NeedDistribution(mesh, Mesh_nodeLabels, UserLabels, {instances, nodes},
                     ORQSimRangeType(ORQSimScalarInt));
    NeedDistribution(mesh, Mesh_elementLabels, UserLabels, {instances, elements},
                     ORQSimRangeType(ORQSimScalarInt));
}

// Members 0 to `count` - 1 of a collection, which grows where it has fewer.
ORQSimCSetID FirstMembers(const ORQSimPosition& position, int count) {
    ORQSimCollection collection(position.GetCollection());
    collection.ExtendSpace(count);
    return collection.CreateTempCSetStrided(0, count, 1, 1);
}

// A copy of a set under an identity of its own, so that two names never mean one set.
ORQSimCSetID StoreApart(const ORQSimCSetID& id) {
    const ORQSimCSet set(id);
    ORQSimCollection collection(set.CollectionID());
    const ORQSimIntRange bounds = set.Bounds();
    // A contiguous set is stored by its ends, without a list of its members.
    if (set.IsAscending() && bounds.Last() - bounds.First() + 1 == set.Size()) {
        return collection.CreateCSetStrided(bounds.First(), set.Size(), 1, 1);
    }
    std::vector<int> members(static_cast<std::size_t>(set.Size()));
    set.OrderedMembers(members.data());
    return collection.CreateOrderedCSet(members.data(), set.Size());
}

// Places of the labels in ascending order of the labels.
std::vector<int> AscendingPlaces(const std::vector<int>& members, const int* labels,
                                 const ORQString& instance) {
    std::vector<int> places(members.size());
    std::iota(places.begin(), places.end(), 0);
    const auto label = [&](int place) { return labels[place]; };
    std::ranges::sort(places, {}, label);
    const std::string where = " in instance \"" + instance.UTF8() + "\"";
    if (!places.empty() && label(places.front()) < 1) {
        ORQBasThrowUsage(
            "member " + std::to_string(members[static_cast<std::size_t>(places.front())]) + where +
            " has label " + std::to_string(label(places.front())) + "; labels begin at 1");
    }
    const auto twice = std::ranges::adjacent_find(places, {}, label);
    if (twice != places.end()) {
        ORQBasThrowUsage("label " + std::to_string(label(*twice)) + where +
                         " is given to members " +
                         std::to_string(members[static_cast<std::size_t>(*twice)]) + " and " +
                         std::to_string(members[static_cast<std::size_t>(*(twice + 1))]));
    }
    return places;
}

// The table of an instance: ascending labels, and the members that have them.
void WriteLabels(const ORQSimDistribution& distribution, int instanceMember,
                 const ORQSimCSet& members, const int* labels) {
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = 1;
    chunks.Get(1) = kLabelChunk;
    ORQSimTransfer(distribution)
        .SetWrite()
        .SetMakeNewDrawerChunked(chunks)
        .SetDim(0, ORQSimCollection(distribution.Grid().Collection(0))
                       .CreateVolatileCSet(&instanceMember, 1, true))
        .SetDim(1, members)
        .SetBuffer(ORQSimbufMain, labels, std::int64_t{sizeof(int)} * members.Size())
        .ExecWrite();
}

}  // namespace

ORQObjModelBuilder::ORQObjModelBuilder(const ORQSimDatabase& database) : m_document(database) {
    BuildLibraries(m_document.Focus());
    BuildModel(m_document);
}

ORQSimPosition ORQObjModelBuilder::Coordinates() const {
    return ORQObjMesh(Mesh()).GetCoordinates();
}

void ORQObjModelBuilder::SetTitle(const ORQString& title) const {
    m_document.Focus().SetName(ORQSimSchema::Document_title, title);
}

void ORQObjModelBuilder::SetModelPrefix(const ORQString& prefix) const {
    Model().DataRecord().SetString(ORQSimRecordField::Model_namePrefix, prefix);
}

ORQSimCSetID ORQObjModelBuilder::SpatialDirections(int dimension) const {
    if (dimension < 2 || dimension > 3) {
        ORQBasThrowUsage("a mesh has 2 or 3 spatial directions, not " + std::to_string(dimension));
    }
    return ORQSimCollection(m_document.GetComponentCollection().GetCollection())
        .CreateTempCSetStrided(1, dimension, 1, 1);
}

ORQSimCSetID ORQObjModelBuilder::AddNodes(int count) const {
    return AddMembers(ORQObjMesh(Mesh()).GetNodeCollection(), count);
}

ORQSimPosition ORQObjModelBuilder::AddInstance(const ORQString& name) const {
    ORQSimCollection instances(ORQObjMesh(Mesh()).GetInstanceCollection().GetCollection());
    for (int i = 0; i < instances.Space(); ++i) {
        if (const ORQSimPosition instance = instances.GetMember(i); instance.Name() == name) {
            return instance;
        }
    }
    const ORQSimPosition instance = Mesh().CreateDataRecord(ORQSimSchema::Instance).Pos();
    instance.SetName(ORQSimSchema::Record_name, name);
    instances.AddMember(instance);
    return instance;
}

void ORQObjModelBuilder::SetLabels(ORQObjLabelerType type, const ORQSimPosition& instance,
                                   const ORQSimCSetID& memberSet, const int* labels) const {
    const bool isNode = type == ORQObjLabelerType::Node;
    const ORQObjMesh mesh(Mesh());
    const ORQSimDistribution distribution(
        (isNode ? mesh.GetNodeLabels() : mesh.GetElementLabels()).GetDistribution());
    const ORQSimCollection instances(distribution.Grid().Collection(0));
    const ORQSimCollection labelled(distribution.Grid().Collection(1));
    const int instanceMember = instances.MemberIndex(instance);
    if (instanceMember < 0) {
        ORQBasThrowUsage("labels are given to an object that is no instance of the mesh");
    }
    CheckSet(memberSet, labelled.ID(), "labels of instance \"" + instance.Name().UTF8() + "\"");
    for (const ORQSimDrawerDescription& drawer : distribution.QueryDrawers()) {
        if (ORQSimCSet(drawer.CSet(0)).SeekMember(instanceMember) >= 0) {
            ORQBasThrowUsage("instance \"" + instance.Name().UTF8() + "\" has labels already");
        }
    }

    const ORQSimCSet members(memberSet);
    const std::span given(labels, static_cast<std::size_t>(members.Size()));
    // Most meshes are numbered in order: then nothing is sorted or copied.
    const bool areInOrder =
        std::ranges::adjacent_find(given, std::greater_equal<>()) == given.end();
    if (areInOrder && (given.empty() || given.front() >= 1)) {
        WriteLabels(distribution, instanceMember, members, labels);
    } else {
        std::vector<int> ordinals(given.size());
        members.OrderedMembers(ordinals.data());
        const std::vector<int> places = AscendingPlaces(ordinals, labels, instance.Name());
        std::vector<int> ascendingLabels;
        std::vector<int> ascendingOrdinals;
        ascendingLabels.reserve(places.size());
        ascendingOrdinals.reserve(places.size());
        for (const int place : places) {
            ascendingLabels.push_back(labels[place]);
            ascendingOrdinals.push_back(ordinals[static_cast<std::size_t>(place)]);
        }
        WriteLabels(distribution, instanceMember,
                    labelled.CreateVolatileOrderedCSet(ascendingOrdinals.data(), members.Size()),
                    ascendingLabels.data());
    }
    if (isNode) {
        const ORQSimCSet userNodes = mesh.GetUserNodes().CSet().Union(members);
        Mesh().SetPosition(ORQSimSchema::Mesh_userNodes, userNodes.RegisterWithCollection());
    }
}

// --- Elements ------------------------------------------------------------------------------------

ORQSimCSetID ORQObjModelBuilder::AddElements(int count) const {
    return AddMembers(ORQObjMesh(Mesh()).GetElementCollection(), count);
}

ORQSimPosition ORQObjModelBuilder::Connectivity() const {
    return ORQObjMesh(Mesh()).GetConnectivity();
}

ORQSimCSetID ORQObjModelBuilder::NodePlaces(int count) const {
    return FirstMembers(Mesh().GetPosition(ORQSimSchema::Mesh_elementNodePlaces), count);
}

ORQSimPosition ORQObjModelBuilder::AddElementSpec(const ORQString& name) const {
    const ORQSimSymbols symbols(m_document.ContextID());
    const ORQSimCollectionID id = m_document.GetElementSpecCollection().GetCollection();
    const ORQSimTypeID type(ORQSimSchema::ElementSpec);
    const ORQSimDynamicID known = symbols.Find(type, name, id);
    if (!known.IsNull()) {
        return known;
    }
    ORQSimCollection specs(id);
    // AddMember gives the next free number, which the symbol has to have before it is a member.
    const ORQSimPosition spec = symbols.Create(type, specs.Space(), name, id);
    specs.AddMember(spec);
    spec.SetName(ORQSimSchema::Record_name, name);
    spec.SetPosition(ORQSimSchema::ElementSpec_definition, spec);
    return spec;
}

ORQSimCSetID ORQObjModelBuilder::AddElementSpecPoints(const ORQSimPosition& spec, int count) const {
    const ORQSimCSetID points = AddMembers(m_document.GetPointCollection(), count);
    spec.SetPosition(ORQSimSchema::ElementSpec_points, points);
    return points;
}

void ORQObjModelBuilder::AssignElementSpecs(
    const std::vector<std::pair<ORQSimPosition, ORQSimCSetID>>& assignment) const {
    ORQSimCollection specs(m_document.GetElementSpecCollection().GetCollection());
    std::vector<ORQSimCompartment> compartments;
    for (const auto& [spec, elements] : assignment) {
        const int member = specs.MemberIndex(spec);
        const std::string place = "assignment " + std::to_string(compartments.size());
        if (member < 0) {
            ORQBasThrowUsage(place + " of element specs: the object is no element spec");
        }
        CheckSet(elements, ORQObjMesh(Mesh()).GetElementCollection(),
                 place + ", of element spec \"" + spec.Name().UTF8() + "\"");
        compartments.emplace_back(std::vector{specs.CreateTempCSet(&member, 1, true), elements});
    }
    Mesh().SetPosition(ORQSimSchema::Mesh_elementSpecAssignment,
                       Mesh().CreateTypedDSet(ORQSimCtation(std::move(compartments)),
                                              ORQSimSchema::ElementSpecAssignment));
}

void ORQObjModelBuilder::SetLogicalSectionClassification(
    const ORQSimPosition& classification) const {
    Mesh().SetPosition(ORQSimSchema::Mesh_shapeFormulationLogicalSection, classification);
}

ORQSimPosition ORQObjModelBuilder::AddBlock(const ORQString& name, int number,
                                            const ORQString& shapeInFile, const ORQString& shape,
                                            const ORQSimCSetID& elements) const {
    CheckSet(elements, ORQObjMesh(Mesh()).GetElementCollection(), "block \"" + name.UTF8() + "\"");
    const ORQSimDataRecord record = Mesh().CreateDataRecord(ORQSimSchema::Block);
    record.SetInt(ORQSimRecordField::Block_number, number);
    record.SetString(ORQSimRecordField::Block_shapeInFile, shapeInFile);
    record.SetString(ORQSimRecordField::Block_shape, shape);
    const ORQSimPosition block = record.Pos();
    block.SetName(ORQSimSchema::Record_name, name);
    block.SetPosition(ORQSimSchema::Block_elements, StoreApart(elements));
    Mesh().GetVector(ORQSimSchema::Mesh_blocks).PushBack(block);
    return block;
}

ORQSimPosition ORQObjModelBuilder::AddBlockAttributes(const ORQSimPosition& block,
                                                      const std::vector<ORQString>& names) const {
    const ORQSimPosition attributes =
        block.CreateTypedCollection(ORQSimSchema::BlockAttributeCollection, 0);
    for (const ORQString& name : names) {
        const ORQSimPosition attribute = block.CreateDataRecord(ORQSimSchema::BlockAttribute).Pos();
        attribute.SetName(ORQSimSchema::Record_name, name);
        ORQSimCollection(attributes.GetCollection()).AddMember(attribute);
    }
    return NeedDistribution(block, ORQSimSchema::Block_attributes, ORQSimSchema::BlockAttributes,
                            {ORQObjMesh(Mesh()).GetElementCollection(), attributes},
                            ORQSimRangeType(ORQSimScalarDouble));
}

void ORQObjModelBuilder::AddProperty(const ORQSimPosition& object, const ORQString& name,
                                     int value) const {
    const ORQSimDataRecord record = object.CreateDataRecord(ORQSimSchema::Property);
    record.SetInt(ORQSimRecordField::Property_value, value);
    object.GetMap(ORQSimSchema::Object_properties).Insert(name, record.Pos());
}

// --- Sets and surfaces ---------------------------------------------------------------------------

ORQSimPosition ORQObjModelBuilder::AddSet(const ORQString& name, int number,
                                          const ORQSimCSetID& members, int mapSlot,
                                          int clusterSlot) const {
    const ORQSimPosition region = MakeRegion(Model(), ORQSimSchema::Region, name, number, mapSlot);
    const ORQSimCSetID set = StoreApart(members);
    region.SetPosition(clusterSlot, set);
    Model().GetMap(mapSlot).Insert(name, set);
    return region;
}

ORQSimPosition ORQObjModelBuilder::AddNodeSet(const ORQString& name, int number,
                                              const ORQSimCSetID& nodes) const {
    CheckSet(nodes, ORQObjMesh(Mesh()).GetNodeCollection(), "node set \"" + name.UTF8() + "\"");
    return AddSet(name, number, nodes, ORQSimSchema::Model_nodeSets,
                  ORQSimSchema::Region_nodesCluster);
}

ORQSimPosition ORQObjModelBuilder::AddElementSet(const ORQString& name, int number,
                                                 const ORQSimCSetID& elements) const {
    CheckSet(elements, ORQObjMesh(Mesh()).GetElementCollection(),
             "element set \"" + name.UTF8() + "\"");
    return AddSet(name, number, elements, ORQSimSchema::Model_elementSets,
                  ORQSimSchema::Region_elementsCluster);
}

ORQSimPosition ORQObjModelBuilder::AddSurface(
    const ORQString& name, int number, const std::map<int, ORQSimCSetID>& elementsByFace) const {
    // All faces are checked before anything is made.
    for (const auto& [face, elements] : elementsByFace) {
        const std::string place = "surface \"" + name.UTF8() + "\", face " + std::to_string(face);
        if (face < 0) {
            ORQBasThrowUsage(place + ": faces are counted from 0");
        }
        CheckSet(elements, ORQObjMesh(Mesh()).GetElementCollection(), place);
    }
    const ORQSimPosition region =
        MakeRegion(Model(), ORQSimSchema::Region, name, number, ORQSimSchema::Model_surfaces);
    ORQSimCollection faces(Mesh().GetPosition(ORQSimSchema::Mesh_faces).GetCollection());
    std::vector<ORQSimCompartment> compartments;
    for (const auto& [face, elements] : elementsByFace) {
        faces.ExtendSpace(face + 1);
        compartments.emplace_back(std::vector{elements, faces.CreateTempCSet(&face, 1, true)});
    }
    region.SetPosition(
        ORQSimSchema::Region_elementsFacesCluster,
        region.CreateTypedDSet(ORQSimCtation(std::move(compartments)), ORQSimSchema::ElementFaces));
    Model().GetMap(ORQSimSchema::Model_surfaces).Insert(name, region);
    return region;
}
