#pragma once

#include <vector>

#include "ORQBasExport.h"
#include "ORQExcModel.h"

/// What is known of shells, in the model's length unit.
enum class ORQExcShellValue {
    Thickness,  ///< of all layers together, or the element's own, at its corners on average
    Offset      ///< of the middle surface above the nodes, along the normal
};

/// Values by element ordinal; not a number where an element has none. An attribute of that name in
/// the model's file counts first, then what the element or its section has. Reads all elements at
/// once: 16 bytes for each, and the layers that vary over elements.
ORQ_EXPORT std::vector<double> ORQExcShellValuesOf(const ORQExcModel& model,
                                                   ORQExcShellValue value);
