#include "ORQObjElementClass.h"

#include "ORQBasFailure.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"

ORQSimCSet ORQObjElementClass::GetElementCSet() const {
    const ORQSimSet owners = m_position.ReferrersSet(ORQSimSchema::ElementClassification_classes);
    for (auto owner = owners.Begin(); owner.NotDone(); ++owner) {
        const ORQSimDSet membership =
            (*owner).GetPosition(ORQSimSchema::ElementClassification_dataSet).DSet();
        const ORQSimPosition mesh =
            (*owner).Parent(ORQSimSchema::Mesh_elementClassification).IsNull()
                ? (*owner).Parent(ORQSimSchema::Mesh_shapeFormulationLogicalSection)
                : (*owner).Parent(ORQSimSchema::Mesh_elementClassification);
        const ORQSimCollection classes(
            ORQObjMesh(mesh).GetElementClassCollection().GetCollection());
        const int member = classes.MemberIndex(m_position);
        if (!membership.IsNull() && member >= 0) {
            return membership.Select(classes.CreateVolatileCSet(&member, 1, true))
                .Collect(ORQObjMesh(mesh).GetElementCollection().GetCollection());
        }
    }
    return {};
}

void ORQObjElementClass::Register(const ORQObjMesh& mesh, const ORQSimPosition& elementSpec) {
    ORQSimCollection classes(mesh.GetElementClassCollection().GetCollection());
    if (classes.IsNull()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            "an element class needs a mesh with a collection of element classes");
    }
    m_position = mesh.Position().CreateDataRecord(ORQSimSchema::ElementClass).Pos();
    m_position.SetPosition(ORQSimSchema::ElementClass_elementSpec, elementSpec);
    m_position.SetName(ORQSimSchema::Record_name, elementSpec.Name());
    classes.AddMember(m_position);
}

void ORQObjElementClassification::AppendElementClass(const ORQObjElementClass& elementClass) const {
    m_position.GetSet(ORQSimSchema::ElementClassification_classes).Insert(elementClass.Position());
}

void ORQObjElementClassification::SetMembership(const ORQSimPosition& dataSet) const {
    m_position.SetPosition(ORQSimSchema::ElementClassification_dataSet, dataSet);
}
