#include "edit/Removal.h"

#include <algorithm>
#include <array>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjStep.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "edit/SparseDrawer.h"

namespace orq::exchange {
namespace {

using namespace ORQSimSchema;

std::vector<ORQSimPosition> ListOf(ORQSimLinkIterator entries) {
    std::vector<ORQSimPosition> objects;
    for (; entries.NotDone(); ++entries) {
        objects.push_back(*entries);
    }
    return objects;
}

}  // namespace

/// Deletes the child under a slot, where there is one and nobody else has it.
void Removal::Child(const ORQSimPosition& object, int slot) const {
    const ORQSimPosition child = object.GetPosition(slot);
    if (child.IsNull()) {
        return;
    }
    object.SetPosition(slot, {});
    if (child.ID().Category() == ORQSimCategoryCSet) {
        Set(child);
    } else if (!m_references.IsUsed(child.ID())) {
        m_references.Delete(child.ID());
    }
}

void Removal::AllOf(const ORQSimPosition& object, int vectorSlot) const {
    for (const ORQSimPosition& entry : ListOf(object.GetVector(vectorSlot).Begin())) {
        Object(entry);
    }
}

/// A set to which nothing leads any more; the empty one of a collection is not stored.
void Removal::Set(const ORQSimPosition& set) const {
    if (set.ID().Index() > 0 && !m_references.IsUsed(set.ID())) {
        m_references.Delete(set.ID());
    }
}

// --- Sets and surfaces ---------------------------------------------------------------------------

void Removal::Region(const ORQSimPosition& region) const {
    AreasOf(region);
    for (const ORQSimPosition& property : ListOf(region.GetMap(Object_properties).Begin())) {
        Object(property);
    }
    std::vector<ORQSimPosition> sets;
    for (const int slot : {Region_nodesCluster, Region_elementsCluster}) {
        if (const ORQSimPosition set = region.GetPosition(slot); !set.IsNull()) {
            sets.push_back(set);
        }
    }
    for (const int slot : {Region_elementsFacesCluster, Region_elementsEdgesCluster}) {
        const ORQSimCtation faces = region.GetPosition(slot).DSet().GetCtation();
        for (const ORQSimCompartment& part : faces.Compartments()) {
            for (const ORQSimCSetID& set : part.CSetIDs()) {
                sets.emplace_back(set);
            }
        }
        Child(region, slot);
    }
    // The maps of sets hold the set itself under the name, not the region.
    for (const int slot : {Model_nodeSets, Model_elementSets}) {
        const ORQSimMap map = m_document.GetModel().GetMap(slot);
        for (const ORQSimPosition& set : sets) {
            if (const ORQString key = set.GetReferenceKey(slot); map.Find(key) == set) {
                map.Remove(key);
            }
        }
    }
    Object(region);
    for (const ORQSimPosition& set : sets) {
        Set(set);
    }
}

/// Writes the areas of the other surfaces anew: those of all of them are one drawer.
void Removal::AreasOf(const ORQSimPosition& region) const {
    const ORQObjMesh mesh(m_document.GetMesh());
    const ORQSimPosition stored = mesh.GetSurfaceNodalAreas();
    const ORQSimDistribution areas(stored.GetDistribution());
    const int member = ORQSimCollection(areas.Grid().Collection(0)).MemberIndex(region);
    for (const ORQSimDrawerDescription& drawer : areas.QueryDrawers()) {
        if (ORQSimCSet(drawer.CSet(0)).SeekMember(member) < 0) {
            continue;
        }
        SparseDrawer others = ReadSparse(areas, drawer);
        const auto row = std::ranges::find(others.rows, member) - others.rows.begin();
        others.rows.erase(others.rows.begin() + row);
        others.cells.erase(others.cells.begin() + row);
        areas.DeleteDrawer(drawer.DrawerID());
        WriteSparse(others, areas);
    }
}

// --- Sections and materials ----------------------------------------------------------------------

void Removal::Section(const ORQSimPosition& section) const {
    LayersOf(section);
    AllOf(section, Section_layers);
    Object(section);
}

/// Lets the layers of a section refer to nothing. The columns of sections keep their places.
void Removal::LayersOf(const ORQSimPosition& section) const {
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimPosition data = model.GetPosition(Model_sectionData);
    const ORQSimCollection sections(model.GetPosition(Model_sections).GetCollection());
    const int member = sections.MemberIndex(section);
    for (const int slot : {SectionData_materials, SectionData_orientations, SectionData_plies}) {
        const ORQSimDistribution references(data.GetPosition(slot).GetDistribution());
        for (const ORQSimDrawerDescription& drawer : references.QueryDrawers()) {
            if (ORQSimCSet(drawer.CSet(1)).SeekMember(member) < 0) {
                continue;
            }
            const ORQSimCSet layers(drawer.CSet(0));
            const std::vector<int> none(static_cast<std::size_t>(layers.Size()), -1);
            ORQSimTransfer(references)
                .SetWrite()
                .SetDrawer(drawer.DrawerID())
                .SetDim(0, layers)
                .SetDim(1, sections.CreateVolatileCSet(&member, 1, true))
                .SetBuffer(ORQSimbufMain, none.data(),
                           static_cast<std::int64_t>(none.size() * sizeof(int)))
                .ExecWrite();
        }
    }
}

void Removal::Material(const ORQSimPosition& material) const {
    for (const ORQSimPosition& table : ListOf(material.GetVector(Material_tables).Begin())) {
        for (const int slot :
             {MaterialTable_values, MaterialTable_temperatures, MaterialTable_fieldVariables}) {
            Child(table, slot);
        }
        Object(table);
    }
    Object(material);
}

// --- Results -------------------------------------------------------------------------------------

void Removal::Field(const ORQObjMeshedField& field) const {
    const ORQSimPosition type = field.Position().GetPosition(MeshedField_type);
    for (const ORQSimPosition& request :
         ListOf(field.Position().ReferrersSet(OutputRequest_field).Begin())) {
        // A request that fills no other field is for nothing.
        if (request.GetVector(OutputRequest_field).Size() == 1) {
            Object(request);
        }
    }
    Child(field.Position(), Field_distribution);
    const ORQSimPosition components = field.Position().GetPosition(MeshedField_component);
    Object(field.Position());
    Set(components);
    // The other fields of the type refer to it as this one did.
    if (type.IsA(FieldType_user) && type.ReferrersSet(MeshedField_type).Empty()) {
        Object(type);
    }
}

void Removal::Step(const ORQSimPosition& step) const {
    const ORQObjStep view(step);
    for (const auto& fields : {view.GetFieldResults(), view.GetHistoryFields()}) {
        for (const ORQObjMeshedField& field : fields) {
            Field(field);
        }
    }
    for (const ORQSimPosition& condition : ListOf(step.GetVector(Task_conditions).Begin())) {
        AllOf(condition, Condition_arguments);
        Object(condition);
    }
    // Sets go before the collections that they are of, and values before the collections that they
    // are over.
    for (const int slot : {Task_times, Task_modes, Step_frequencies, Step_Riks_arcLengths}) {
        Child(step, slot);
    }
    if (const ORQSimPosition times = step.GetPosition(Task_timeDescription); !times.IsNull()) {
        Child(times, TimeDescription_distribution);
        Child(times, TimeDescription_timeCollection);
    }
    if (const ORQSimPosition system = step.GetPosition(Task_feSystem); !system.IsNull()) {
        Child(system, ModalSystem_eigenvalues);
    }
    for (const int slot : {Task_timeDescription, Task_feSystem, Step_Gen_timeIncrementation}) {
        Child(step, slot);
    }
    Object(step);
}

}  // namespace orq::exchange
