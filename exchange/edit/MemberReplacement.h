#pragma once

#include <functional>
#include <vector>

#include "ORQSimPosition.h"

namespace orq::exchange {

/// The nodes, or the elements, of a mesh as they are to be. For example, of four nodes 1 goes, and 3
/// becomes part of 0:
///
///   targets  0, -1, 1, 0     kept  0, 2
struct MemberNumbering {
    std::vector<int> targets;  ///< by ordinal: the new one, -1 for a member that is gone
    std::vector<int> kept;     ///< by new ordinal: the former one, ascending
};

/// Numbers the members that stay, which are their own targets, in their order; the others get the
/// new number of their target, or -1 where that is -1.
MemberNumbering Compacted(std::vector<int> targets);

/// Gives the mesh a collection of the kept members in place of its own of nodes or of elements, and
/// makes anew all that is over it: sets, which name each member once; drawers, of which the rows of
/// other members are gone; references, which name the target. Areas of nodes that become one add
/// up. Moves some megabytes at a time. REQUIRES: an open transaction. Throws ORQBasFailure (Usage)
/// where something cannot follow.
void ReplaceMembers(const ORQSimPosition& collection, const MemberNumbering& numbering,
                    const std::function<void(double)>& progress);

}  // namespace orq::exchange
