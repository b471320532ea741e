#pragma once

#include "ORQBasExport.h"
#include "ORQBasMap.h"
#include "ORQSimPosition.h"

/// Which section assignment governs a set of elements. Of several that do, the first in the order
/// of the model. An assignment without a region, or a region without elements, ends the process
/// ("AssertionFailed:!region.IsNull()", "AssertionFailed:!elsetPos.IsNull()").
class ORQ_EXPORT ORQSrvSectionServices {
  public:
    ORQSrvSectionServices() = delete;

    /// The assignment whose region has all elements of the set; null when there is none, also when
    /// the elements lie in several regions.
    static ORQSimPosition GetSectionAssignment(ORQSimPosition elementSet);
    /// Divides the set: temporary sets of its elements, each with the assignment that governs them;
    /// the elements that none governs with a null position.
    static ORQBasMap<ORQSimPosition, ORQSimPosition> GetSectionAssignments(
        ORQSimPosition elementSet);
};
