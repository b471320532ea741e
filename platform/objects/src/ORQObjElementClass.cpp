#include "ORQObjElementClass.h"

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimCompartment.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"

ORQSimCSet ORQObjElementClass::GetElementCSet() const {
    const ORQSimSet owners = m_position.ReferrersSet(ORQSimSchema::ElementClassification_classes);
    for (auto owner = owners.Begin(); owner.NotDone(); ++owner) {
        const ORQSimDSet membership =
            (*owner).GetPosition(ORQSimSchema::ElementClassification_dataSet).DSet();
        const ORQObjMesh mesh = ORQObjElementClassification(*owner).GetMesh();
        // A class lists no elements itself: the data set of a classification says which belong to
        // the class with this member number.
        const ORQSimCollection classes(mesh.GetElementClassCollection().GetCollection());
        const int member = classes.MemberIndex(m_position);
        if (!membership.IsNull() && member >= 0) {
            return membership.Select(classes.CreateVolatileCSet(&member, 1, true))
                .Collect(mesh.GetElementCollection().GetCollection());
        }
    }
    return {};
}

void ORQObjElementClass::Register(const ORQObjMesh& mesh, const ORQSimPosition& elementSpec) {
    ORQSimCollection classes(mesh.GetElementClassCollection().GetCollection());
    if (classes.IsNull()) {
        ORQBasThrowUsage("an element class needs a mesh with a collection of element classes");
    }
    m_position = mesh.Position().CreateDataRecord(ORQSimSchema::ElementClass).Pos();
    m_position.SetPosition(ORQSimSchema::ElementClass_elementSpec, elementSpec);
    m_position.SetName(ORQSimSchema::Record_name, elementSpec.Name());
    classes.AddMember(m_position);
}

ORQObjMesh ORQObjElementClassification::GetMesh() const {
    // A mesh holds its classifications under two slots, and this may be either of them.
    const ORQSimPosition mesh = m_position.Parent(ORQSimSchema::Mesh_elementClassification);
    return mesh.IsNull() ? m_position.Parent(ORQSimSchema::Mesh_shapeFormulationLogicalSection)
                         : mesh;
}

std::map<int, ORQSimCSet> ORQObjElementClassification::GetElementCSets() const {
    const ORQObjMesh mesh = GetMesh();
    const ORQSimCollectionID classes = mesh.GetElementClassCollection().GetCollection();
    const ORQSimCollectionID elements = mesh.GetElementCollection().GetCollection();
    std::map<int, ORQSimCSet> sets;
    const ORQSimCtation ctation =
        m_position.GetPosition(ORQSimSchema::ElementClassification_dataSet).DSet().GetCtation();
    for (const ORQSimCompartment& compartment : ctation.Compartments()) {
        const ORQSimCSet members(compartment.CSet(compartment.Position(classes)));
        const ORQSimCSet own(compartment.CSet(compartment.Position(elements)));
        for (ORQSimCSetIterator i(members); !i.IsDone(); i.Next()) {
            const auto [set, isFirst] = sets.try_emplace(i.CurrentValue(), own);
            if (!isFirst) {
                set->second = set->second.Union(own);
            }
        }
    }
    return sets;
}

void ORQObjElementClassification::AppendElementClass(const ORQObjElementClass& elementClass) const {
    m_position.GetSet(ORQSimSchema::ElementClassification_classes).Insert(elementClass.Position());
}

void ORQObjElementClassification::SetMembership(const ORQSimPosition& dataSet) const {
    m_position.SetPosition(ORQSimSchema::ElementClassification_dataSet, dataSet);
}
