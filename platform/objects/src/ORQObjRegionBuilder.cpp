#include "ORQObjRegionBuilder.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "AddMembers.h"
#include "CheckSet.h"
#include "FindOrMake.h"
#include "MakeRegion.h"
#include "MeshParts.h"
#include "ORQBasFailure.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimCompartment.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimRecordFields.h"
#include "ORQSimTransfer.h"

namespace {

constexpr int kDimension = 3;

void CheckRows(std::size_t nValues, int perRow, const char* what) {
    if (perRow < 1 || nValues % static_cast<std::size_t>(perRow) != 0) {
        ORQBasThrowUsage(std::to_string(nValues) + " " + what + " of a surface are no rows of " +
                         std::to_string(perRow));
    }
}

// All values of a distribution of two dimensions, in one drawer.
template <class Value>
ORQSimDrawerID WriteAll(const ORQSimDistributionID& id, const ORQSimCSetID& rows,
                        const ORQSimCSetID& columns, std::span<const Value> values) {
    ORQSimTransfer make{ORQSimDistribution(id)};
    make.SetWrite()
        .SetMakeNewDrawer()
        .SetDim(0, rows)
        .SetDim(1, columns)
        .SetBuffer(ORQSimbufMain, values.data(), static_cast<std::int64_t>(values.size_bytes()))
        .ExecWrite();
    return make.DrawerID();
}

// The data set under a slot with one more compartment, in place of the former.
void AppendCompartment(const ORQSimPosition& owner, int slot, int type,
                       std::vector<ORQSimCSetID> sets) {
    // Data sets are not changed once they are made.
    std::vector<ORQSimCompartment> compartments =
        owner.GetPosition(slot).DSet().GetCtation().Compartments();
    compartments.emplace_back(std::move(sets));
    owner.SetPosition(slot, owner.CreateTypedDSet(ORQSimCtation(std::move(compartments)), type));
}

ORQSimCSetID OneMember(const ORQSimPosition& collection, int member) {
    return ORQSimCollection(collection.GetCollection()).CreateTempCSet(&member, 1, true);
}

}  // namespace

ORQSimPosition ORQObjRegionBuilder::AddAnalyticalSurface(const ORQString& name, int number,
                                                         int type) const {
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimPosition surface =
        MakeRegion(model, type, name, number, ORQSimSchema::Model_surfaces);
    model.GetMap(ORQSimSchema::Model_surfaces).Insert(name, surface);
    return surface;
}

ORQSimPosition ORQObjRegionBuilder::AddSurfaceOfRevolution(const ORQString& name, int number,
                                                           const Point& axisA,
                                                           const Point& axisB) const {
    using namespace ORQSimSchema;
    const ORQSimPosition surface = AddAnalyticalSurface(name, number, AnalyticalSurface_Revolution);
    const ORQSimPosition orientation =
        NeedRecord(surface, AnalyticalSurface_orientation, Orientation);
    for (const auto& [slot, point] :
         {std::pair{Orientation_axisPointA, &axisA}, std::pair{Orientation_axisPointB, &axisB}}) {
        NeedRecord(orientation, slot, AxisPoint)
            .DataRecord()
            .SetDouble(ORQSimRecordField::AxisPoint_coordinates, kDimension, point->data());
    }
    return surface;
}

ORQSimPosition ORQObjRegionBuilder::SetSurfaceMesh(const ORQSimPosition& surface,
                                                   std::span<const double> points,
                                                   std::span<const int> connectivity,
                                                   int nodesPerElement) const {
    using namespace ORQSimSchema;
    CheckRows(points.size(), kDimension, "coordinates");
    CheckRows(connectivity.size(), nodesPerElement, "node numbers");
    const int nNodes = static_cast<int>(points.size()) / kDimension;
    const auto isNone = [nNodes](int node) { return node < 0 || node >= nNodes; };
    if (const auto wrong = std::ranges::find_if(connectivity, isNone);
        wrong != connectivity.end()) {
        ORQBasThrowUsage("node " + std::to_string(*wrong) + " of a surface is none of its " +
                         std::to_string(nNodes) + " nodes");
    }
    const ORQSimPosition mesh = surface.CreateDataRecord(Mesh).Pos();
    surface.SetPosition(AnalyticalSurface_mesh, mesh);
    const MeshParts parts = NeedMeshParts(mesh, m_document.GetComponentCollection());
    const ORQSimCollection components(m_document.GetComponentCollection().GetCollection());
    WriteAll(mesh.GetPosition(Mesh_coordinates).GetDistribution(), AddMembers(parts.nodes, nNodes),
             // The components are those of ORQObjModelBuilder::SpatialDirections.
             components.CreateTempCSetStrided(1, kDimension, 1, 1), points);
    const ORQSimDSetID rows = mesh.GetPosition(Mesh_connectivity).GetDSet();
    const int nElements = static_cast<int>(connectivity.size()) / nodesPerElement;
    mesh.Context().UpdateDSet(rows,
                              WriteAll(ORQSimDSet(rows).GetRelationalDistributionID(),
                                       AddMembers(parts.elements, nElements),
                                       AddMembers(parts.places, nodesPerElement), connectivity));
    return mesh;
}

ORQSimPosition ORQObjRegionBuilder::AddRigidBody(const ORQString& name, int referenceNode,
                                                 const ORQSimPosition& surface) const {
    using namespace ORQSimSchema;
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimPosition mesh = m_document.GetMesh();
    const ORQSimCSetID node = OneMember(mesh.GetPosition(Mesh_nodes), referenceNode);
    CheckSet(node, mesh.GetPosition(Mesh_nodes), "rigid body \"" + name.UTF8() + "\"");
    const ORQSimPosition bodies = NeedCollection(mesh, Mesh_rigidBodies, RigidBodyCollection);
    const ORQSimPosition body = model.CreateDataRecord(RigidBody).Pos();
    body.SetName(Record_name, name);
    const int member = ORQSimCollection(bodies.GetCollection()).AddMember(body);
    AppendCompartment(mesh, Mesh_rigidBodyReferenceNode, RigidBodyReferenceNodes,
                      {OneMember(bodies, member), node});

    const ORQSimPosition constraint = model.CreateDataRecord(Constraint_RigidBody).Pos();
    constraint.SetPosition(Constraint_RigidBody_body, body);
    constraint.SetPosition(Constraint_RigidBody_analyticSurface, surface);
    model.GetVector(Model_constraints).PushBack(constraint);
    return body;
}

void ORQObjRegionBuilder::AddOutputRegion(const ORQSimPosition& region) const {
    using namespace ORQSimSchema;
    const ORQSimPosition regions = m_document.GetModel().GetPosition(Model_regions);
    const int member = ORQSimCollection(regions.GetCollection()).MemberIndex(region);
    if (member < 0) {
        ORQBasThrowUsage("an object that is no region of the model cannot have output");
    }
    const ORQSimPosition output = NeedRecord(m_document.Focus(), Focus_output, Output);
    const ORQSimCSet known =
        output.GetPosition(Output_regions).DSet().Collect(regions.GetCollection());
    if (known.SeekMember(member) < 0) {
        AppendCompartment(output, Output_regions, OutputRegions, {OneMember(regions, member)});
    }
}
