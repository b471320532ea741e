#include "edit/MemberReplacement.h"

#include <algorithm>

#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDistribution.h"
#include "ORQSimReferences.h"
#include "edit/DrawerCopy.h"

namespace orq::exchange {
namespace {

/// The stored set of some members, under an identity of its own.
ORQSimCSetID StoreSet(ORQSimCollection& collection, const std::vector<int>& members) {
    const bool isRun = !members.empty() && std::ranges::is_sorted(members) &&
                       members.back() - members.front() + 1 == static_cast<int>(members.size());
    const auto count = static_cast<int>(members.size());
    return isRun ? collection.CreateCSetStrided(members.front(), count, 1, 1)
                 : collection.CreateOrderedCSet(members.data(), count);
}

ORQSimGrid GridOver(const ORQSimGrid& grid, const ORQSimCollectionID& former,
                    const ORQSimCollectionID& latter) {
    std::vector<ORQSimCollectionID> collections = grid.Collections();
    std::ranges::replace(collections, former, latter);
    return ORQSimGrid(std::move(collections));
}

ORQSimRangeType RangeOver(const ORQSimRangeType& range, const ORQSimCollectionID& former,
                          const ORQSimCollectionID& latter) {
    return {range.ScalarType(), range.Collection() == former ? latter : range.Collection()};
}

}  // namespace

MemberNumbering Compacted(std::vector<int> targets) {
    MemberNumbering numbering;
    for (std::size_t member = 0; member < targets.size(); ++member) {
        if (targets[member] == static_cast<int>(member)) {
            numbering.kept.push_back(static_cast<int>(member));
        }
    }
    for (int& target : targets) {
        target = target < 0 ? -1
                            : static_cast<int>(std::ranges::lower_bound(numbering.kept, target) -
                                               numbering.kept.begin());
    }
    numbering.targets = std::move(targets);
    return numbering;
}

void ReplaceMembers(const ORQSimPosition& position, const MemberNumbering& numbering,
                    const std::function<void(double)>& progress) {
    const ORQSimReferences references(position.Context().ID());
    const ORQSimCollection former(position.GetCollection());
    ORQSimCollection latter(position
                                .CreateTypedCollection(former.ID().TypeID().Index(),
                                                       static_cast<int>(numbering.kept.size()))
                                .GetCollection());
    for (const ORQSimCSetID& set : references.LinkedSets(former.ID())) {
        references.Redirect(set, StoreSet(latter, NewMembers(numbering, ORQSimCSet(set))));
    }
    const auto distributions = references.DistributionsOver(former.ID());
    std::size_t nDone = 0;
    for (const ORQSimDistributionID& id : distributions) {
        const ORQSimDistribution from(id);
        const ORQSimDistribution to(position.Context().CreateDistribution(
            GridOver(from.Grid(), former.ID(), latter.ID()),
            RangeOver(from.RangeType(), former.ID(), latter.ID()), id.TypeID()));
        const auto show = [&] {
            progress(static_cast<double>(nDone) / static_cast<double>(distributions.size()));
        };
        DrawerCopy{numbering, from, to, former, latter, show}.Run();
        for (const ORQSimDSetID& dataSet : references.DataSetsOn(id)) {
            position.Context().UpdateDSet(dataSet, to.ID());
        }
        references.Redirect(id, to.ID());
        // Its rows are gone at once, and its room is free for the next one after the commit.
        references.Delete(id);
        ++nDone;
        show();
    }
    references.Redirect(former.ID(), latter.ID());
    references.Delete(former.ID());
}

}  // namespace orq::exchange
