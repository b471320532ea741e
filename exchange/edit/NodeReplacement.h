#pragma once

#include <functional>
#include <vector>

#include "ORQObjDocument.h"

namespace orq::exchange {

/// The nodes of a mesh as they are to be. For example, of four nodes 1 goes, and 3 becomes part of
/// 0:
///
///   targets  0, -1, 1, 0     kept  0, 2
struct NodeNumbering {
    std::vector<int> targets;  ///< by ordinal: the new one, -1 for a node that is gone
    std::vector<int> kept;     ///< by new ordinal: the former one, ascending
};

/// Gives the mesh a collection of the kept nodes in place of its own, and makes anew all that is
/// over it: sets, which name each node once; drawers, of which the rows of other nodes are gone;
/// references, which name the target. Areas of nodes that become one add up. Moves some megabytes
/// at a time. REQUIRES: an open transaction. Throws ORQBasFailure (Usage) where something cannot
/// follow.
void ReplaceNodes(const ORQObjDocument& document, const NodeNumbering& numbering,
                  const std::function<void(double)>& progress);

}  // namespace orq::exchange
