#include "ORQSimDSet.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <map>
#include <utility>

#include "ComponentSet.h"
#include "DatabaseState.h"
#include "ORQSimDistribution.h"
#include "ORQSimPosition.h"
#include "ORQSimTransfer.h"

using orq::database::ComponentSet;
using orq::database::DatabaseState;
using orq::storage::CompartmentRow;
using orq::storage::DataSetDrawerRow;
using orq::storage::DataSetRow;

namespace {

// The members that the values of a block name, read in slices of bounded size.
ORQSimCSet ReferencedMembers(const ORQSimDistributionID& id, const std::vector<ORQSimCSet>& block,
                             const ORQSimCollectionID& collection) {
    // 8 MiB of values at a time, whatever the block's size.
    constexpr std::int64_t kItemsPerSlice = 1 << 20;
    const ORQSimDistribution distribution(id);
    std::int64_t itemsPerRow = 1;
    for (std::size_t dim = 1; dim < block.size(); ++dim) {
        itemsPerRow *= block[dim].Size();
    }
    ORQSimCSet result(collection, {}, ComponentSet::Empty());
    if (itemsPerRow == 0) {
        return result;
    }
    const auto rowsPerSlice =
        static_cast<int>(std::max<std::int64_t>(1, kItemsPerSlice / itemsPerRow));
    std::vector<int> rows(static_cast<std::size_t>(block[0].Size()));
    block[0].OrderedMembers(rows.data());
    // Wide enough for references of any type, also for those that say that there is none.
    std::vector<std::int64_t> values;
    std::vector<int> members;
    for (std::size_t begin = 0; begin < rows.size();
         begin += static_cast<std::size_t>(rowsPerSlice)) {
        const std::size_t n = std::min(rows.size() - begin, static_cast<std::size_t>(rowsPerSlice));
        const std::vector<int> slice(rows.begin() + static_cast<std::ptrdiff_t>(begin),
                                     rows.begin() + static_cast<std::ptrdiff_t>(begin + n));
        values.assign(n * static_cast<std::size_t>(itemsPerRow), -1);
        ORQSimTransfer read(distribution);
        read.SetRead().SetBufferType(ORQSimScalarInt64);
        read.SetDim(0, ORQSimCSet(block[0].CollectionID(), {}, ComponentSet::FromOrdered(slice)));
        for (std::size_t dim = 1; dim < block.size(); ++dim) {
            read.SetDim(static_cast<int>(dim), block[dim]);
        }
        read.SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof values[0]));
        read.ExecRead();
        members.clear();
        for (const std::int64_t value : values) {
            // -1 refers to no member; as an unsigned value it is above the largest int.
            if (value >= 0 && value <= std::numeric_limits<int>::max()) {
                members.push_back(static_cast<int>(value));
            }
        }
        result = result.Union(ORQSimCSet(collection, {}, ComponentSet::FromMembers(members)));
    }
    return result;
}

// The compartments of a data set apart from its drawers.
std::vector<ORQSimCompartment> StoredCompartments(DatabaseState& state, const ORQSimDSetID& id) {
    std::vector<std::vector<ORQSimCSetID>> sets;             // by place
    std::map<std::int64_t, ORQSimCollectionID> collections;  // by object
    for (const CompartmentRow& row : state.Rows().Find<CompartmentRow>(id.MinorID())) {
        // Places without rows are compartments without sets.
        sets.resize(static_cast<std::size_t>(row.place) + 1);
        const auto [known, isNew] = collections.try_emplace(row.setCollection);
        if (isNew) {
            known->second = state.Objects().FindCollection(row.setCollection);
        }
        const ORQSimCollectionID& collection = known->second;
        sets.back().emplace_back(collection.ContextID(), collection.MinorID(), collection.TypeID(),
                                 row.set);
    }
    return {std::make_move_iterator(sets.begin()), std::make_move_iterator(sets.end())};
}

}  // namespace

ORQSimDSet::ORQSimDSet(const ORQSimDSetID& id) : m_id(id) {}

ORQSimDSet::ORQSimDSet(const ORQSimPosition& position) : m_id(position.GetDSet()) {
    if (const ORQSimCollectionID collection = position.GetCollection(); !collection.IsNull()) {
        m_selected.push_back({ORQSimCSet(collection)});
    }
}

bool ORQSimDSet::IsEmpty() const {
    return std::ranges::all_of(Blocks(), [](const Block& block) {
        return block.empty() ||
               std::ranges::any_of(block, [](const ORQSimCSet& set) { return set.IsEmpty(); });
    });
}

ORQSimDistributionID ORQSimDSet::GetRelationalDistributionID() const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return m_distribution;
    }
    auto row = state->Rows().Find<DataSetRow>(m_id.MinorID());
    return row.Next() ? ORQSimDistributionID(state->Objects().Find(row->distribution))
                      : ORQSimDistributionID();
}

std::vector<ORQSimDSet::Block> ORQSimDSet::Blocks() const {
    if (DatabaseState::Reading(m_id) == nullptr) {
        return m_selected;
    }
    std::vector<Block> blocks;
    const ORQSimCtation ctation = GetCtation();
    for (const ORQSimCompartment& compartment : ctation.Compartments()) {
        blocks.emplace_back(compartment.CSetIDs().begin(), compartment.CSetIDs().end());
    }
    return blocks;
}

ORQSimCtation ORQSimDSet::GetCtation() const {
    std::vector<ORQSimCompartment> compartments;
    if (DatabaseState* state = DatabaseState::Reading(m_id); state != nullptr) {
        compartments = StoredCompartments(*state, m_id);
        const ORQSimDistributionID distribution = GetRelationalDistributionID();
        for (const DataSetDrawerRow& row : state->Rows().Find<DataSetDrawerRow>(m_id.MinorID())) {
            const ORQSimDrawerID drawer(distribution.ContextID(), distribution.MinorID(),
                                        distribution.TypeID(), row.drawer);
            compartments.push_back(
                ORQSimDistribution(distribution).DrawerDescription(drawer).Compartment());
        }
        return ORQSimCtation(std::move(compartments));
    }
    for (const Block& block : m_selected) {
        std::vector<ORQSimCSetID> sets;
        for (const ORQSimCSet& set : block) {
            sets.push_back(set.ID().IsNull() ? set.RegisterWithTempCollection() : set.ID());
        }
        compartments.emplace_back(std::move(sets));
    }
    return ORQSimCtation(std::move(compartments));
}

ORQSimDSet ORQSimDSet::Select(const ORQSimCSet& set) const {
    ORQSimDSet selection;
    selection.m_distribution = GetRelationalDistributionID();
    for (Block& block : Blocks()) {
        bool meets = !block.empty();
        for (ORQSimCSet& dim : block) {
            if (dim.CollectionID() == set.CollectionID()) {
                dim = dim.Intersection(set);
                meets = meets && !dim.IsEmpty();
            }
        }
        if (meets) {
            selection.m_selected.push_back(std::move(block));
        }
    }
    return selection;
}

ORQSimCSet ORQSimDSet::Collect(const ORQSimCollectionID& collection) const {
    ORQSimCSet result(collection, {}, ComponentSet::Empty());
    const ORQSimDistributionID distribution = GetRelationalDistributionID();
    const bool isReferenced =
        !distribution.IsNull() &&
        ORQSimDistribution(distribution).RangeType().Collection() == collection;
    for (const Block& block : Blocks()) {
        bool isDimension = false;
        for (const ORQSimCSet& dim : block) {
            if (dim.CollectionID() == collection) {
                result = result.Union(dim);
                isDimension = true;
            }
        }
        if (!isDimension && isReferenced) {
            result = result.Union(ReferencedMembers(distribution, block, collection));
        }
    }
    return result;
}
