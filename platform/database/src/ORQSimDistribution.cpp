#include "ORQSimDistribution.h"

#include <algorithm>
#include <string>

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimCSet.h"
#include "ORQSimPosition.h"
#include "SparseRows.h"

using orq::database::DatabaseState;
using orq::database::DistributionState;
using orq::database::DrawerState;

int ORQSimScalarSize(int scalarType) {
    switch (scalarType) {
        case ORQSimScalarByte:
            return 1;
        case ORQSimScalarInt:
        case ORQSimScalarUint:
        case ORQSimScalarFloat:
            return 4;
        case ORQSimScalarDouble:
        case ORQSimScalarInt64:
            return 8;
        default:
            return 0;
    }
}

std::int64_t ORQSimDrawerDescription::DataSizeItems(int dimension) const {
    return ORQSimCSet(CSet(dimension)).Size();
}

void ORQSimDrawerDescription::ChunkSizes(ORQSimArray<int>& sizes) const {
    sizes.SetSize(static_cast<int>(m_chunks.size()));
    std::ranges::copy(m_chunks, sizes.Ptr());
}

namespace {

const DistributionState* StateOf(const ORQSimDistributionID& id) {
    DatabaseState* state = DatabaseState::Reading(id);
    return state == nullptr ? nullptr : &state->Distributions().Get(id);
}

}  // namespace

ORQSimGrid ORQSimDistribution::Grid() const {
    const DistributionState* state = StateOf(m_id);
    return state == nullptr ? ORQSimGrid() : ORQSimGrid(state->grid);
}

ORQSimRangeType ORQSimDistribution::RangeType() const {
    const DistributionState* state = StateOf(m_id);
    return state == nullptr ? ORQSimRangeType(0)
                            : ORQSimRangeType(state->scalar, state->rangeCollection);
}

int ORQSimDistribution::NumDrawers() const {
    const DistributionState* state = StateOf(m_id);
    return state == nullptr ? 0 : static_cast<int>(state->drawers.size());
}

ORQSimArray<ORQSimDrawerID> ORQSimDistribution::DrawerIDArray() const {
    ORQSimArray<ORQSimDrawerID> ids(NumDrawers());
    for (int i = 0; i < ids.Size(); ++i) {
        ids.Get(i) = StateOf(m_id)->drawers[static_cast<std::size_t>(i)]->id;
    }
    return ids;
}

ORQSimArray<ORQSimPersistentDrawerDesc> ORQSimDistribution::QueryDrawers() const {
    const ORQSimArray<ORQSimDrawerID> ids = DrawerIDArray();
    ORQSimArray<ORQSimPersistentDrawerDesc> descriptions(ids.Size());
    std::ranges::transform(ids, descriptions.begin(),
                           [this](const auto& id) { return DrawerDescription(id); });
    return descriptions;
}

ORQSimDrawerDescription ORQSimDistribution::DrawerDescription(const ORQSimDrawerID& id) const {
    const DistributionState* state = StateOf(m_id);
    if (state == nullptr || DatabaseState::Reading(id) == nullptr) {
        return {};
    }
    const DrawerState* drawer = state->Find(id);
    if (drawer == nullptr) {
        ORQBasThrowUsage("drawer " + std::to_string(id.Index()) + " is not one of distribution " +
                         std::to_string(m_id.MinorID()));
    }
    DatabaseState& database = *DatabaseState::Reading(m_id);
    ORQSimDrawerDescription description;
    description.m_id = id;
    std::vector<ORQSimCSetID> sets;
    std::int64_t nItems = 1;
    for (std::size_t dim = 0; dim < drawer->NumDims(); ++dim) {
        sets.push_back(
            database.Distributions().DimensionSet(*state, *drawer, static_cast<int>(dim)));
        nItems *= drawer->Members(dim)->Size();
    }
    description.m_compartment = ORQSimOCompartment(std::move(sets));
    description.m_nItems = drawer->layout == ORQSimDrawerLayout::Sparse
                               ? orq::database::SparseRows::NumStored(database, *drawer)
                               : nItems;
    description.m_chunks = drawer->chunks;
    description.m_layout = drawer->layout;
    description.m_extendable = drawer->extendable;
    return description;
}

void ORQSimDistribution::DeleteDrawer(const ORQSimDrawerID& drawer) const {
    DatabaseState& state = DatabaseState::Writing(m_id);
    state.Distributions().DeleteDrawer(state.Distributions().Get(m_id), drawer);
}

ORQSimDrawer::ORQSimDrawer(const ORQSimPosition& position) : m_id(position.GetDrawer()) {}

ORQSimDrawerDescription ORQSimDrawer::Description() const {
    return ORQSimDistribution(m_id.DistributionID()).DrawerDescription(m_id);
}

int ORQSimDrawer::Space() const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return 0;
    }
    const ORQSimCollectionID collection = state->Objects().FindCollection(m_id.MinorID());
    return collection.IsNull() ? static_cast<int>(Description().DataSizeItems(0))
                               : state->Objects().Space(collection);
}
