#include "ORQSrvEltClassificationBuilder.h"

#include <vector>

#include "ORQObjElementClass.h"
#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimCompartment.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"
#include "ORQSrvMemberNumber.h"
#include "ORQSrvSetIndex.h"

namespace {

// The member number of an object that is a member.
int Membership(const ORQSimPosition& object, const ORQSimCollectionID& collection) {
    const int member = ORQSrvMemberNumber(object, collection);
    ORQSrvAssertReported(member >= 0, "CMembers.Size() == 1");
    return member;
}

ORQSimCollection ClassesOf(const ORQObjMesh& mesh) {
    return ORQSimCollection(
        mesh.Position().GetPosition(ORQSimSchema::Mesh_elementClassCollection).GetCollection());
}

// Makes the class of a spec and returns the set in the class collection that holds it alone.
ORQSimCSetID RegisterClass(const ORQObjMesh& mesh,
                           const ORQObjElementClassification& classification,
                           const ORQSimPosition& spec) {
    ORQObjElementClass elementClass;
    elementClass.Register(mesh, spec);
    classification.AppendElementClass(elementClass);
    ORQSimCollection classes = ClassesOf(mesh);
    const int member = Membership(elementClass.Position(), classes.ID());
    return classes.CreateCSet(&member, 1, false);
}

// Refers the classes of one classification to the sections of their elements.
void LinkClasses(const ORQObjMesh& mesh, const ORQObjElementClassification& classification,
                 const ORQSrvSetIndex& regions, const std::vector<ORQSimPosition>& sections) {
    const ORQSimCollectionID classes = ClassesOf(mesh).ID();
    const ORQSimContext context = mesh.Position().Context();
    for (const auto& [member, elements] : classification.GetElementCSets()) {
        ORQSimSet linked =
            context.GetRecord(classes, member).GetSet(ORQSimSchema::ElementClass_sections);
        for (const int place : regions.Find(elements).places) {
            linked.Insert(sections[static_cast<std::size_t>(place)]);
        }
    }
}

}  // namespace

ORQSimPosition ORQSrvEltClassificationBuilder::BuildEltClassification(
    ORQSrvEltClassificationType type) const {
    ORQSrvAssertReported(type == ORQSrvEltClassificationType::Shape,
                         "!\"Element Classification elaboration not yet implemented.\"");
    const ORQSimPosition classification =
        ORQSrvEltClassBuilderImplShape().BuildEltClassification(m_position);
    if (!classification.IsNull()) {
        LinkSections();
    }
    return classification;
}

void ORQSrvEltClassificationBuilder::LinkSections() const {
    const ORQObjModel model(m_position.GetPosition(ORQSimSchema::Focus_model));
    const ORQSimVector assignments =
        model.Position().GetVector(ORQSimSchema::Model_sectionAssignments);
    std::vector<ORQSimCSet> regions;
    std::vector<ORQSimPosition> sections;
    for (auto assignment = assignments.Begin(); assignment.NotDone(); ++assignment) {
        const ORQSimPosition section =
            (*assignment).GetPosition(ORQSimSchema::SectionAssignment_section);
        if (section.IsNull()) {
            continue;
        }
        regions.push_back((*assignment)
                              .GetPosition(ORQSimSchema::SectionAssignment_region)
                              .GetPosition(ORQSimSchema::Region_elementsCluster)
                              .CSet());
        sections.push_back(section);
    }
    if (regions.empty()) {
        return;
    }
    const ORQSrvSetIndex index(regions);
    const ORQObjMesh mesh(model.GetMesh());
    const ORQSimPosition built = mesh.GetElementClassification();
    const ORQSimPosition logical = mesh.GetShapeFormulationLogicalSectionClassification();
    LinkClasses(mesh, built, index, sections);
    if (logical != built) {
        LinkClasses(mesh, logical, index, sections);
    }
}

ORQSimPosition ORQSrvEltClassBuilderImplShape::BuildEltClassification(ORQSimPosition position) {
    const ORQObjMesh mesh(ORQObjModel(position.GetPosition(ORQSimSchema::Focus_model)).GetMesh());
    const ORQSimCollectionID elements = mesh.GetElementCollection().GetCollection();
    const ORQSimCollectionID specs = position.GetPosition(ORQSimSchema::Focus_libraries)
                                         .GetPosition(ORQSimSchema::Libraries_elementSpecs)
                                         .GetCollection();
    const ORQSimPosition assignment = mesh.GetElementSpecAssignment();
    if (assignment.IsNull()) {
        return {};
    }
    const ORQSimContext context = position.Context();
    const ORQObjElementClassification classification(
        position.CreateDataRecord(ORQSimSchema::ElementClassification).Pos());
    mesh.SetElementClassification(classification.Position());
    mesh.SetElementClassCollection(
        position.CreateTypedCollection(ORQSimSchema::ElementClassCollection, 0));

    std::vector<ORQSimCompartment> compartments;  // by member number of their spec
    const ORQSimCtation assigned = assignment.DSet().GetCtation();
    for (const ORQSimCompartment& eltSpecCompartement : assigned.Compartments()) {
        const int eltSpecColIndex = eltSpecCompartement.Position(specs);
        const int eltColIndex = eltSpecCompartement.Position(elements);
        // The spec must come first: its index is compared with 1, not with -1.
        ORQSrvAssertReported(eltColIndex != -1 && eltSpecColIndex != 1,
                             "eltColIndex != -1 && eltSpecColIndex != 1");
        ORQSrvAssertReported(eltSpecCompartement.Size() == 2, "eltSpecCompartement.Size() == 2");
        const ORQSimCSet specCSet(eltSpecCompartement.CSet(eltSpecColIndex));
        ORQSrvAssertReported(specCSet.Size() == 1, "specCSet.Size() == 1");
        const ORQSimCSetID elementSet = eltSpecCompartement.CSet(eltColIndex);

        int member = 0;
        specCSet.Members(&member);
        const ORQSimPosition record = context.GetRecord(specs, member);
        const ORQSimPosition spec = record.GetPosition(ORQSimSchema::ElementSpec_definition);
        const auto index = static_cast<std::size_t>(Membership(spec, specs));
        if (index >= compartments.size()) {
            compartments.resize(index + 1);
        }
        const ORQSimCompartment& gathered = compartments[index];
        compartments[index] = ORQSimCompartment(
            gathered.Size() == 0
                ? std::vector{RegisterClass(mesh, classification, spec), elementSet}
                : std::vector{gathered.CSet(0), ORQSimCSet(gathered.CSet(1))
                                                    .Union(ORQSimCSet(elementSet))
                                                    .RegisterWithCollection()});
    }
    classification.SetMembership(position.CreateTypedDSet(
        ORQSimCtation(std::move(compartments)), ORQSimSchema::ElementClassification_membership));
    return classification.Position();
}
