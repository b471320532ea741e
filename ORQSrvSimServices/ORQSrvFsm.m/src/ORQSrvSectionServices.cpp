#include "ORQSrvSectionServices.h"

#include "ORQObjDocument.h"
#include "ORQSimCSet.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"

namespace {

constexpr const char* s_sectionServicesSource = ORQ_SRV_SOURCE("ORQSrvSectionServices");

ORQSimLinkIterator Assignments(const ORQSimPosition& elementSet) {
    return ORQObjDocument(elementSet)
        .GetModel()
        .GetVector(ORQSimSchema::Model_sectionAssignments)
        .Begin();
}

ORQSimPosition RegionElements(const ORQSimPosition& assignment, int regionLine, int elsetLine) {
    const ORQSimPosition region = assignment.GetPosition(ORQSimSchema::SectionAssignment_region);
    ORQSrvAssertFatal(!region.IsNull(), "!region.IsNull()", s_sectionServicesSource, regionLine);
    const ORQSimPosition elsetPos = region.GetPosition(ORQSimSchema::Region_elementsCluster);
    ORQSrvAssertFatal(!elsetPos.IsNull(), "!elsetPos.IsNull()", s_sectionServicesSource, elsetLine);
    return elsetPos;
}

}  // namespace

ORQSimPosition ORQSrvSectionServices::GetSectionAssignment(ORQSimPosition elementSet) {
    if (elementSet.IsNull() || elementSet.CSet().IsEmpty()) {
        return {};
    }
    const ORQSimCSet elements = elementSet.CSet();
    for (auto assignment = Assignments(elementSet); assignment.NotDone(); ++assignment) {
        const ORQSimPosition elsetPos = RegionElements(*assignment, 36, 40);
        if (elsetPos == elementSet ||
            elsetPos.CSet().Intersection(elements).Size() == elements.Size()) {
            return *assignment;
        }
    }
    return {};
}

ORQBasMap<ORQSimPosition, ORQSimPosition> ORQSrvSectionServices::GetSectionAssignments(
    ORQSimPosition elementSet) {
    ORQBasMap<ORQSimPosition, ORQSimPosition> assignments;
    if (elementSet.IsNull()) {
        return assignments;
    }
    ORQSimCSet remainder = elementSet.CSet();
    for (auto assignment = Assignments(elementSet); assignment.NotDone() && !remainder.IsEmpty();
         ++assignment) {
        const ORQSimCSet governed =
            RegionElements(*assignment, 77, 82).CSet().Intersection(remainder);
        if (!governed.IsEmpty()) {
            assignments.InsertUnique(governed.RegisterWithTempCollection(), *assignment);
            remainder = remainder - governed;
        }
    }
    if (!remainder.IsEmpty()) {
        assignments.InsertUnique(remainder.RegisterWithTempCollection(), ORQSimPosition());
    }
    return assignments;
}
