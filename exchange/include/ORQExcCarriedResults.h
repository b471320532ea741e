#pragma once

#include <optional>

#include "ORQBasExport.h"
#include "ORQExcElementValues.h"
#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"

/// Where values of elements are wanted.
struct ORQExcCarrying {
    std::optional<ORQExcElementValues::To> to = {};  ///< none: as they are stored
    bool acrossBorders = false;  ///< with Nodes: see ORQExcElementValues::GroupsOf
};

/// The results of a model with the values of elements carried elsewhere, as ORQExcElementValues does;
/// what writes results writes them like those that are stored.
///
///   Middles     a field with points becomes one of one value an element, in each layer and section
///               point
///   Nodes       an element field becomes a field of nodes for each layer and section point. Where
///               its elements are of several blocks or sections there is one for each of them,
///               called NAME_BLOCK, or NAME_BLOCK_SECTION in a block of several; its values are
///               averages over these elements alone, so that a node on a border has a value in each
///
/// Values are computed when they are read, from some thousand elements at a time. The report says of
/// each field what became of it: one of faces, or of integration points of which the places are not
/// known, stays as it is, and where that holds for some of its elements only, theirs are dropped.
/// The model and the results must outlive what is returned.
ORQ_EXPORT ORQExcResults ORQExcCarriedResults(const ORQExcModel& model,
                                              const ORQExcResults& results, ORQExcCarrying carrying,
                                              ORQExcReport& report);
