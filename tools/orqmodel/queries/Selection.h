#pragma once

#include <string>

#include "ORQExcModel.h"
#include "ORQSimCSet.h"
#include "queries/NamedObject.h"
#include "queries/RowSource.h"

namespace orqmodel {

/// A choice of nodes or elements; at most one of the four is given.
struct Selection {
    ScopedName set;  ///< of nodes or elements, or a surface
    std::string block;
    std::string nodes;  ///< labels, "1-10,15"
    std::string elements;

    bool IsEmpty() const {
        return set.name.empty() && block.empty() && nodes.empty() && elements.empty();
    }
    /// Whether it names elements for certain, by labels or by a block.
    bool NamesElements() const { return !elements.empty() || !block.empty(); }
};

/// The selected nodes or elements, ascending. Elements stand for their nodes where nodes are
/// wanted, faces of a surface for their nodes or elements; nodes do not stand for elements. Throws
/// ORQBasFailure (Usage), with near names, for what the model lacks and for nodes where elements
/// are wanted.
ORQSimCSet Selected(const ORQExcModel& model, const Selection& selection, RowPlace place);

}  // namespace orqmodel
