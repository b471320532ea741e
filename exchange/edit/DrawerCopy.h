#pragma once

#include <functional>
#include <vector>

#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "edit/MemberReplacement.h"

namespace orq::exchange {

/// Copies the drawers of a distribution over nodes, or elements, to one over those that take their
/// place.
struct DrawerCopy {
    const MemberNumbering& numbering;
    ORQSimDistribution from;
    ORQSimDistribution to;
    ORQSimCollection former;  ///< of nodes or elements
    ORQSimCollection latter;
    /// Called for every piece that was copied; may throw to give up.
    std::function<void()> goOn;

    /// All drawers, in their order. Those that have no members left are left out.
    void Run() const;

  private:
    void CopyDense(const ORQSimDrawerDescription& drawer) const;
    void CopySparse(const ORQSimDrawerDescription& drawer) const;
    void FollowReferences(std::vector<int>& references) const;
};

/// The members that take the place of some, each once, in the order of the set.
std::vector<int> NewMembers(const MemberNumbering& numbering, const ORQSimCSet& set);

}  // namespace orq::exchange
