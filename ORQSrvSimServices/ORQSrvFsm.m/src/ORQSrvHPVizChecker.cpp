#include "ORQSrvHPVizChecker.h"

#include <algorithm>
#include <array>

#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvCheckerCommon.h"

using namespace orq::checker;

ORQSrvHPVizChecker::ORQSrvHPVizChecker(const ORQObjDocument& document) : m_document(document) {}

void ORQSrvHPVizChecker::Check_HPViz() {
    m_model = m_document.Focus().GetPosition(ORQSimSchema::Focus_model);
    Check_Mesh();
    Check_Regions();
    Check_Ply();
    Check_Steps();
    Check_History();
    Check_FocusResults();
    Check_sectionAssignments();
}

// --- Regions -------------------------------------------------------------------------------------

namespace {

bool IsAnalytical(const ORQSimPosition& region) {
    using namespace ORQSimSchema;
    constexpr std::array<int, 4> kinds = {AnalyticalSurface, AnalyticalSurface_Cylinder,
                                          AnalyticalSurface_Segments, AnalyticalSurface_Revolution};
    return std::ranges::any_of(kinds, [&](int kind) { return region.IsA(kind); });
}

// The rigid bodies of a mesh, and their reference nodes.
void CheckRigidBodies(const ORQObjDocument& document, ORQBasVector<ORQString>& messages) {
    const ORQSimPosition mesh = document.GetMesh();
    const ORQSimPosition bodies = mesh.GetPosition(ORQSimSchema::Mesh_rigidBodies);
    const ORQSimPosition referenceNodes =
        mesh.GetPosition(ORQSimSchema::Mesh_rigidBodyReferenceNode);
    if (bodies.IsNull()) {
        messages.push_back("Mesh has no Mesh_rigidBodies Collection.");
    }
    if (referenceNodes.IsNull()) {
        messages.push_back(" Mesh has no rigidBodyReferenceNode DSet.");
        return;
    }
    const ORQSimCollection collection(bodies.GetCollection());
    const ORQSimContext context(document.ContextID());
    const ORQSimDSet dataSet = referenceNodes.DSet();
    for (int i = 0; i < collection.Space(); ++i) {
        const ORQSimPosition body = context.GetRecord(collection.ID(), i);
        const int member = document.GetCMemberIndex(body);
        // A place without a record is no rigid body.
        if (!body.IsNull() &&
            dataSet.Select(collection.CreateVolatileCSet(&member, 1, true)).IsNull()) {
            messages.push_back("Rigid body " + QuotedName(body) +
                               " is not present in rigidBodyReferenceNode DSet.");
        }
    }
}

// The mesh that shows an analytical surface, and the axis of one of revolution.
void CheckSurface(const ORQSimPosition& surface, ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQString name = QuotedName(surface);
    const ORQObjMesh mesh(surface.GetPosition(AnalyticalSurface_mesh));
    if (mesh.IsNull()) {
        messages.push_back("Analytical surface " + name + " has no a mesh.");
    } else {
        const ORQString head = "Mesh for analytical surface " + name;
        if (mesh.GetNodeCollection().IsNull()) {
            messages.push_back(head + " has no nodeCollection.");
        }
        if (mesh.GetElementCollection().IsNull()) {
            messages.push_back(head + " has no elementCollection.");
        }
        if (mesh.GetConnectivity().IsNull()) {
            messages.push_back(head + " has no Connectivity.");
        }
    }
    if (surface.IsA(AnalyticalSurface_Revolution)) {
        const ORQSimPosition orientation = surface.GetPosition(AnalyticalSurface_orientation);
        const ORQString head = "Orientation for analytical surface of revolution " + name;
        if (!Has(orientation, Orientation_axisPointA)) {
            messages.push_back(head + " has no axisPointA.");
        }
        if (!Has(orientation, Orientation_axisPointB)) {
            messages.push_back(head + " has no axisPointB.");
        }
    }
}

}  // namespace

void ORQSrvHPVizChecker::Check_Regions() {
    const ORQSimMap regions = m_model.GetMap(ORQSimSchema::Model_surfaces);
    for (auto region = regions.Begin(); region.NotDone(); ++region) {
        if (!IsAnalytical(*region)) {
            continue;
        }
        if (!IsReferredTo(*region, ORQSimSchema::Constraint_RigidBody_analyticSurface)) {
            m_messages.push_back("Analytical Surface " + QuotedName(*region) +
                                 " is not referred to by any rigid body constraint "
                                 "(Constraint_RigidBody_analyticSurface).");
        }
        CheckObject("Analytical surface " + QuotedName(*region), m_messages, [&] {
            CheckRigidBodies(m_document, m_messages);
            CheckSurface(*region, m_messages);
        });
    }
}

// --- Plies ---------------------------------------------------------------------------------------

void ORQSrvHPVizChecker::Check_Ply() {
    const ORQSimMap plies = m_model.GetMap(ORQSimSchema::Model_plies);
    for (auto ply = plies.Begin(); ply.NotDone(); ++ply) {
        if (!IsReferredTo(*ply, ORQSimSchema::Focus_externalPlyIds)) {
            m_messages.push_back("Ply " + Quoted((*ply).Name()) +
                                 " is not referred to by Focus (Focus_externalPlyIds).");
        }
    }
}
