#include "HeatModel.h"

#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvFunctions.h"
#include "ORQSrvNodalCoordinates.h"

namespace heat {
namespace {

constexpr int kChunk = 100000;  // of the services when they write; here they only read

std::vector<int> MembersOf(const ORQSimCSet& set) {
    std::vector<int> members(static_cast<std::size_t>(set.Size()));
    set.OrderedMembers(members.data());
    return members;
}

}  // namespace

HeatModel::HeatModel(const ORQObjDocument& document)
    : m_document(document), m_uses(document.GetMesh()) {
    ReadCoordinates();
    ReadBlocks();
    m_uses.Invert();
}

void HeatModel::ReadCoordinates() {
    const ORQObjMesh mesh(m_document.GetMesh());
    m_nodes = ORQSimCSet(mesh.GetNodeCollection().GetCollection());
    if (ORQSimDistribution(mesh.GetCoordinates().GetDistribution()).NumDrawers() == 0) {
        throw HeatError("the model has no coordinates");
    }
    const ORQSrvNodalCoordinates coordinates(mesh.GetCoordinates(), kChunk);
    const ORQSimCSet directions = coordinates.Components();
    if (directions.Size() != 3) {
        throw HeatError("the model has " + std::to_string(directions.Size()) +
                        " dimensions; solid elements need 3");
    }
    m_coordinates.resize(3, NumNodes());
    coordinates.Read(m_nodes, directions, m_coordinates.data());
}

void HeatModel::ReadBlocks() {
    const ORQObjMesh mesh(m_document.GetMesh());
    m_nElements = ORQSimCollection(mesh.GetElementCollection().GetCollection()).Space();
    const ORQSrvElementConnectivity connectivity(mesh.GetConnectivity(), kChunk);
    const ORQSimCollection places(
        mesh.Position().GetPosition(ORQSimSchema::Mesh_elementNodePlaces).GetCollection());
    const ORQSimVector blocks = mesh.Position().GetVector(ORQSimSchema::Mesh_blocks);
    for (auto i = blocks.Begin(); i.NotDone(); ++i) {
        const std::string name = (*i).Name(ORQSimSchema::Record_name).UTF8();
        const std::string shape =
            (*i).DataRecord().ReturnString(ORQSimRecordField::Block_shape).UTF8();
        const Element* element = FindElement(shape);
        if (element == nullptr) {
            m_leftOut.emplace_back(name).append(" (").append(shape).append(")");
            continue;
        }
        const ORQSimCSet elements = (*i).GetPosition(ORQSimSchema::Block_elements).CSet();
        Block block{name, element, MembersOf(elements), {}};
        block.nodes.resize(block.elements.size() * element->points.size());
        connectivity.Read(elements, places.CreateVolatileCSetStrided(0, element->NumNodes(), 1, 1),
                          block.nodes.data());
        m_blocks.push_back(std::move(block));
    }
    if (m_blocks.empty()) {
        throw HeatError("the model has no block of HEX8, TET4 or WEDGE6 elements");
    }
}

std::vector<int> HeatModel::NodesOf(const std::string& set) const {
    const ORQSimPosition found =
        ORQSrvHasMatchedQuotes(set, ".", nullptr)
            ? ORQSrvGetNodeSetIDFromScopedName(m_document.Focus(), set, ".", nullptr)
            : ORQSimPosition();
    if (found.IsNull()) {
        throw HeatError("the model has no node set \"" + set + "\"");
    }
    return MembersOf(found.CSet());
}

}  // namespace heat
