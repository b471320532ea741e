#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <string_view>

#include "ORQBasFailure.h"
#include "ORQExcModel.h"
#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvNodalCoordinates.h"
#include "model/OrdinalSet.h"

namespace {

constexpr int kChunk = 100000;  // for the services, and of elements at a time

std::string Text(const ORQString& string) {
    return string.UTF8();
}

ORQExcModel::Properties PropertiesOf(const ORQSimPosition& object) {
    ORQExcModel::Properties properties;
    const ORQSimMap map = object.GetMap(ORQSimSchema::Object_properties);
    for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
        properties.emplace_back(Text(entry.Key()),
                                (*entry).DataRecord().GetInt(ORQSimRecordField::Property_value));
    }
    return properties;
}

/// Refuses a model that breaks what readers rely on: another program may have written it.
[[noreturn]] void FailDamaged(const std::string& text) {
    throw ORQBasFailure(ORQBasFailureKind::Damaged, text);
}

/// Requires that the collection has all members of a set.
void RequireMembers(const ORQSimCSet& set, const ORQSimPosition& collection,
                    const std::string& name) {
    if (set.IsEmpty()) {
        return;
    }
    if (set.CollectionID() != collection.GetCollection()) {
        FailDamaged(name + ": has members of another collection");
    }
    const int space = ORQSimCollection(collection.GetCollection()).Space();
    const auto require = [&](int member) {
        if (member < 0 || member >= space) {
            FailDamaged(fmt::format("{}: has the member {} of {}", name, member, space));
        }
    };
    // The ends of an ascending set bound its members.
    if (set.IsAscending()) {
        require(set[0]);
        require(set[set.Size() - 1]);
        return;
    }
    for (ORQSimCSetIterator member{set}; !member.IsDone(); member.Next()) {
        require(member.CurrentValue());
    }
}

bool IsAnalytical(const ORQSimPosition& region) {
    using namespace ORQSimSchema;
    return region.IsA(AnalyticalSurface) || region.IsA(AnalyticalSurface_Cylinder) ||
           region.IsA(AnalyticalSurface_Segments) || region.IsA(AnalyticalSurface_Revolution);
}

/// The components of the coordinates, 2 or 3.
ORQSimCSet ComponentsOf(const ORQObjMesh& mesh) {
    const ORQSimDistribution coordinates(mesh.GetCoordinates().GetDistribution());
    const ORQSimCollectionID nodes = mesh.GetNodeCollection().GetCollection();
    if (coordinates.RangeType().ScalarType() != ORQSimScalarDouble) {
        FailDamaged("coordinates: are not stored as doubles");
    }
    for (const ORQSimDrawerDescription& drawer : coordinates.QueryDrawers()) {
        if (drawer.Compartment().Size() != 2 || drawer.Compartment().Position(nodes) != 0) {
            FailDamaged("coordinates: are not of nodes and components");
        }
    }
    ORQSimCSet components = ORQSrvNodalCoordinates(mesh.GetCoordinates(), kChunk).Components();
    if (components.Size() < 2 || components.Size() > 3) {
        FailDamaged(fmt::format("coordinates: have {} components", components.Size()));
    }
    return components;
}

}  // namespace

ORQExcModel::ORQExcModel(const ORQObjDocument& document) : m_document(document) {
    const ORQObjMesh mesh(document.GetMesh());
    m_nNodes = ORQSimCollection(mesh.GetNodeCollection().GetCollection()).Space();
    m_nElements = ORQSimCollection(mesh.GetElementCollection().GetCollection()).Space();
    // Without a drawer the service has no components to return.
    if (ORQSimDistribution(mesh.GetCoordinates().GetDistribution()).NumDrawers() > 0) {
        m_components = ComponentsOf(mesh);
        m_dimension = m_components.Size();
    }
    ReadBlocks();
    m_nodeSets = ReadSets(ORQSimSchema::Model_nodeSets, ORQSimSchema::Region_nodesCluster,
                          mesh.GetNodeCollection());
    m_elementSets = ReadSets(ORQSimSchema::Model_elementSets, ORQSimSchema::Region_elementsCluster,
                             mesh.GetElementCollection());
}

ORQSimCSet ORQExcModel::Nodes() const {
    return ORQObjMesh(m_document.GetMesh()).GetNodeCollection().CSet();
}

ORQSimCSet ORQExcModel::Elements() const {
    return ORQObjMesh(m_document.GetMesh()).GetElementCollection().CSet();
}

std::string ORQExcModel::Title() const {
    return Text(m_document.Focus().Name(ORQSimSchema::Document_title));
}

void ORQExcModel::ReadBlocks() {
    const ORQSimVector blocks = m_document.GetMesh().GetVector(ORQSimSchema::Mesh_blocks);
    for (auto i = blocks.Begin(); i.NotDone(); ++i) {
        const ORQSimPosition position = *i;
        Block block;
        block.position = position;
        block.name = Text(position.Name(ORQSimSchema::Record_name));
        block.number = position.DataRecord().GetInt(ORQSimRecordField::Block_number);
        block.shapeName =
            Text(position.DataRecord().ReturnString(ORQSimRecordField::Block_shapeInFile));
        block.shape = ORQExcFindShapeByName(
            Text(position.DataRecord().ReturnString(ORQSimRecordField::Block_shape)));
        if (block.shape == nullptr) {
            FailDamaged(fmt::format(
                "block \"{}\": the element shape \"{}\" is not known", block.name,
                Text(position.DataRecord().ReturnString(ORQSimRecordField::Block_shape))));
        }
        block.elements = position.GetPosition(ORQSimSchema::Block_elements).CSet();
        RequireMembers(block.elements, ORQObjMesh(m_document.GetMesh()).GetElementCollection(),
                       fmt::format("block \"{}\"", block.name));
        const ORQSimDistribution attributes(
            position.GetPosition(ORQSimSchema::Block_attributes).GetDistribution());
        if (!attributes.IsNull()) {
            const ORQSimCollection names(attributes.Grid().Collection(1));
            for (int member = 0; member < names.Space(); ++member) {
                block.attributes.push_back(
                    Text(names.GetMember(member).Name(ORQSimSchema::Record_name)));
            }
        }
        block.properties = PropertiesOf(position);
        block.definition =
            Text(position.DataRecord().ReturnString(ORQSimRecordField::Block_definition));
        m_blocks.push_back(std::move(block));
    }
}

std::vector<ORQExcModel::Set> ORQExcModel::ReadSets(int mapSlot, int clusterSlot,
                                                    const ORQSimPosition& collection) const {
    std::vector<Set> sets;
    const ORQSimMap map = m_document.GetModel().GetMap(mapSlot);
    for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
        // The number of a set is in its region; a set that was made without one has none.
        const ORQSimPosition region = (*entry).Parent(clusterSlot);
        sets.push_back({Text(entry.Key()),
                        region.DataRecord().GetInt(ORQSimRecordField::Region_number),
                        (*entry).CSet(), PropertiesOf(region)});
        RequireMembers(sets.back().members, collection,
                       fmt::format("set \"{}\"", sets.back().name));
    }
    std::ranges::stable_sort(sets, {}, &Set::number);
    return sets;
}

std::vector<const ORQExcModel::Set*> ORQExcModel::ElementSetsBesideBlocks() const {
    std::set<std::string_view> blocks;
    for (const Block& block : m_blocks) {
        blocks.insert(block.name);
    }
    std::vector<const Set*> sets;
    for (const Set& set : m_elementSets) {
        if (!blocks.contains(set.name)) {
            sets.push_back(&set);
        }
    }
    return sets;
}

std::vector<ORQExcModel::Surface> ORQExcModel::Surfaces() const {
    std::vector<Surface> surfaces;
    const ORQSimMap map = m_document.GetModel().GetMap(ORQSimSchema::Model_surfaces);
    for (auto entry = map.Begin(); entry.NotDone(); ++entry) {
        const ORQSimPosition region = *entry;
        Surface surface{Text(entry.Key()),
                        region.DataRecord().GetInt(ORQSimRecordField::Region_number),
                        {},
                        PropertiesOf(region),
                        IsAnalytical(region)};
        const ORQSimCtation faces =
            region.GetPosition(ORQSimSchema::Region_elementsFacesCluster).DSet().GetCtation();
        for (const ORQSimCompartment& compartment : faces.Compartments()) {
            const ORQSimCSet sides(compartment.CSet(1));
            if (sides.Size() != 1) {
                FailDamaged(fmt::format("surface \"{}\": has {} sides at once", surface.name,
                                        sides.Size()));
            }
            const ORQSimCSet elements(compartment.CSet(0));
            RequireMembers(elements, ORQObjMesh(m_document.GetMesh()).GetElementCollection(),
                           fmt::format("surface \"{}\"", surface.name));
            for (ORQSimCSetIterator element{elements}; !element.IsDone(); element.Next()) {
                surface.faces.push_back({element.CurrentValue(), sides[0]});
            }
        }
        surfaces.push_back(std::move(surface));
    }
    std::ranges::stable_sort(surfaces, {}, &Surface::number);
    return surfaces;
}

void ORQExcModel::ReadCoordinates(int begin, int end, std::span<double> coordinates) const {
    const ORQSimCollection nodes(
        ORQObjMesh(m_document.GetMesh()).GetNodeCollection().GetCollection());
    ReadCoordinates(nodes.CreateVolatileCSetStrided(begin, end - begin, 1, 1), coordinates);
}

void ORQExcModel::ReadCoordinates(const ORQSimCSet& nodes, std::span<double> coordinates) const {
    ORQSrvNodalCoordinates(ORQObjMesh(m_document.GetMesh()).GetCoordinates(), kChunk)
        .Read(nodes, m_components, coordinates.data());
}

void ORQExcModel::ReadConnectivity(const Block& block, int begin, int end,
                                   std::span<int> nodes) const {
    ReadConnectivity(block, orq::exchange::SliceOf(block.elements, begin, end), nodes);
}

void ORQExcModel::ReadConnectivity(const Block& block, const ORQSimCSet& elements,
                                   std::span<int> nodes) const {
    const ORQSimCollection places(
        m_document.GetMesh().GetPosition(ORQSimSchema::Mesh_elementNodePlaces).GetCollection());
    const ORQSimPosition connectivity = ORQObjMesh(m_document.GetMesh()).GetConnectivity();
    const ORQSimDistribution rows(connectivity.DSet().GetRelationalDistributionID());
    if (places.IsNull() || rows.IsNull()) {
        FailDamaged("the elements have no connectivity");
    }
    if (rows.RangeType().ScalarType() != ORQSimScalarInt) {
        FailDamaged("connectivity: is not stored as ints");
    }
    std::ranges::fill(nodes, -1);  // a read leaves alone what no drawer holds
    ORQSrvElementConnectivity(connectivity, kChunk)
        .Read(elements, places.CreateVolatileCSetStrided(0, block.shape->nNodes, 1, 1),
              nodes.data());
    const auto wrong =
        std::ranges::find_if(nodes, [&](int node) { return node < 0 || node >= m_nNodes; });
    if (wrong != nodes.end()) {
        const int row = static_cast<int>((wrong - nodes.begin()) / block.shape->nNodes);
        FailDamaged(*wrong == -1 ? fmt::format("block \"{}\": element {} lacks nodes", block.name,
                                               elements[row])
                                 : fmt::format("block \"{}\": element {} has the node {} of {}",
                                               block.name, elements[row], *wrong, m_nNodes));
    }
}

std::vector<ORQExcModel::FaceNodes> ORQExcModel::NodesOf(const std::vector<Face>& faces) const {
    std::vector<FaceNodes> nodesOf(faces.size());
    for (const Block& block : m_blocks) {
        // The connectivity of a block is read once for all faces.
        std::vector<std::size_t> places;  // of the faces of this block's elements
        std::vector<int> elements;
        for (std::size_t i = 0; i < faces.size(); ++i) {
            if (block.elements.SeekMember(faces[i].element) >= 0) {
                places.push_back(i);
                elements.push_back(faces[i].element);
            }
        }
        if (elements.empty()) {
            continue;
        }
        std::ranges::sort(elements);
        elements.erase(std::unique(elements.begin(), elements.end()), elements.end());
        const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> nodes(elements.size() * nNodes);
        ReadConnectivity(
            block,
            ORQSimCollection(block.elements.CollectionID())
                .CreateVolatileCSet(elements.data(), static_cast<int>(elements.size()), true),
            nodes);
        for (const std::size_t place : places) {
            const auto row = static_cast<std::size_t>(
                std::ranges::lower_bound(elements, faces[place].element) - elements.begin());
            for (const int local : block.shape->SideAt(faces[place].side).nodes) {
                nodesOf[place].push_back(nodes[row * nNodes + static_cast<std::size_t>(local)]);
            }
        }
    }
    return nodesOf;
}

std::vector<ORQExcModel::Use> ORQExcModel::UsesOf(int node) const {
    // The connectivity is stored by element, so all of it is searched, a slice at a time.
    std::vector<Use> uses;
    std::vector<int> nodes;
    const ORQSimDistribution connectivity(
        ORQObjMesh(m_document.GetMesh()).GetConnectivity().DSet().GetRelationalDistributionID());
    for (const ORQSimDrawerDescription& drawer : connectivity.QueryDrawers()) {
        const ORQSimCSet elements(drawer.CSet(0));
        const ORQSimCSet places(drawer.CSet(1));
        for (int begin = 0; begin < elements.Size();) {
            const int end = begin + std::min(elements.Size() - begin, kChunk);
            const ORQSimCSet some = orq::exchange::SliceOf(elements, begin, end);
            nodes.resize(static_cast<std::size_t>(some.Size()) *
                         static_cast<std::size_t>(places.Size()));
            ORQSimTransfer(connectivity)
                .SetRead()
                .SetDrawer(drawer.DrawerID())
                .SetDim(0, some)
                .SetDim(1, places)
                .SetBuffer(ORQSimbufMain, nodes.data(),
                           static_cast<std::int64_t>(nodes.size() * sizeof(int)))
                .ExecRead();
            for (auto at = std::ranges::find(nodes, node); at != nodes.end();
                 at = std::find(at + 1, nodes.end(), node)) {
                const auto cell = static_cast<int>(at - nodes.begin());
                uses.push_back({some[cell / places.Size()], cell % places.Size()});
            }
            begin = end;
        }
    }
    return uses;
}

void ORQExcModel::ReadAttributes(const Block& block, int begin, int end,
                                 std::span<double> values) const {
    ReadAttributes(block, orq::exchange::SliceOf(block.elements, begin, end), values);
}

void ORQExcModel::ReadAttributes(const Block& block, const ORQSimCSet& elements,
                                 std::span<double> values) const {
    const ORQSimDistribution attributes(
        block.position.GetPosition(ORQSimSchema::Block_attributes).GetDistribution());
    ORQSimTransfer(attributes)
        .SetRead()
        .SetDim(0, elements)
        .SetDim(1, ORQSimCSet(attributes.Grid().Collection(1)))
        .SetBuffer(ORQSimbufMain, values.data(), static_cast<std::int64_t>(values.size_bytes()))
        .ExecRead();
}

std::vector<int> ORQExcModel::Labels(ORQObjLabelerType type, int count) const {
    std::vector<int> byOrdinal(static_cast<std::size_t>(count), 0);
    ORQObjLabeler labeler(m_document, type);
    labeler.Read();
    for (const ORQString& instance : labeler.Occurrences()) {
        ORQSimArray<int> labels;
        ORQSimArray<int> ordinals;
        labeler.GetInstanceLabelsAndOrdinals(instance, labels, ordinals);
        for (int i = 0; i < labels.Size(); ++i) {
            byOrdinal[static_cast<std::size_t>(ordinals.ConstGet(i))] = labels.ConstGet(i);
        }
    }
    return byOrdinal;
}

std::vector<ORQExcModel::Instance> ORQExcModel::Instances() const {
    std::vector<Instance> instances;
    for (const auto& [type, ordinalsOf] :
         {std::pair(ORQObjLabelerType::Node, &Instance::nodes),
          std::pair(ORQObjLabelerType::Element, &Instance::elements)}) {
        ORQObjLabeler labeler(m_document, type);
        labeler.Read();
        for (const ORQString& name : labeler.Occurrences()) {
            ORQSimArray<int> labels;
            ORQSimArray<int> ordinals;
            labeler.GetInstanceLabelsAndOrdinals(name, labels, ordinals);
            auto at = std::ranges::find(instances, Text(name), &Instance::name);
            if (at == instances.end()) {
                at = instances.insert(at, {Text(name), {}, {}});
            }
            std::vector<int>& members = (*at).*ordinalsOf;
            members.reserve(members.size() + static_cast<std::size_t>(ordinals.Size()));
            for (int i = 0; i < ordinals.Size(); ++i) {
                members.push_back(ordinals.ConstGet(i));
            }
        }
    }
    return instances;
}

std::vector<int> ORQExcModel::NodeLabels() const {
    return Labels(ORQObjLabelerType::Node, m_nNodes);
}

std::vector<int> ORQExcModel::ElementLabels() const {
    return Labels(ORQObjLabelerType::Element, m_nElements);
}
