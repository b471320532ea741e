#include "ORQSimContext.h"

#include <span>
#include <string>
#include <vector>

#include "DatabaseState.h"
#include "Links.h"
#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"

using orq::database::DatabaseState;
using orq::database::ReadingLinks;
using orq::storage::DataSetDrawerRow;
using orq::storage::DataSetRow;
using orq::storage::DistributionRow;
using orq::storage::Index;
using orq::storage::Table;

namespace {

// The identity by which operations of a context reach its database: that of the focus.
ORQSimDynamicID Root(ORQSimContextID context) {
    return {ORQSimCategoryRecord, context, 1, ORQSimTypeID(ORQSimSchema::Focus), 0};
}

}  // namespace

ORQString ORQSimTypeSchemaSnapshot::TypeName(int typeIndex) const {
    return ORQString(ORQSimSchema::NameOf(typeIndex));
}

ORQSimDistributionID ORQSimContext::CreateDistribution(const ORQSimGrid& grid,
                                                       const ORQSimRangeType& range,
                                                       ORQSimTypeID type) const {
    DatabaseState& state = DatabaseState::Writing(Root(m_id));
    std::vector<std::int64_t> collections;
    for (const ORQSimCollectionID& collection : grid.Collections()) {
        if (collection.IsNull() || collection.ContextID() != m_id) {
            ORQBasThrowUsage("dimension " + std::to_string(collections.size()) +
                             " of the grid: the collection is null or of another database");
        }
        state.CheckStorable(collection);
        collections.push_back(collection.MinorID());
    }
    state.CheckStorable(range.Collection());
    if (collections.empty() || ORQSimScalarSize(range.ScalarType()) == 0) {
        ORQBasThrowUsage("a distribution needs a grid and a scalar type; it was given " +
                         std::to_string(collections.size()) + " dimensions and type " +
                         std::to_string(range.ScalarType()));
    }
    const ORQSimDynamicID id = state.Objects().New(type.Index(), ORQSimCategoryDistribution);
    const std::int64_t rangeCollection =
        range.Collection().IsNull() ? 0 : range.Collection().MinorID();
    state.Rows().Insert(DistributionRow{id.MinorID(), range.ScalarType(), rangeCollection,
                                        std::as_bytes(std::span(collections))});
    return ORQSimDistributionID(id);
}

ORQSimDSetID ORQSimContext::CreateDSet(const ORQSimDistributionID& distribution,
                                       ORQSimTypeID type) const {
    DatabaseState& state = DatabaseState::Writing(Root(m_id));
    state.CheckStorable(distribution);
    const ORQSimDynamicID id = state.Objects().New(type.Index(), ORQSimCategoryDSet);
    state.Rows().Insert(
        DataSetRow{id.MinorID(), distribution.IsNull() ? 0 : distribution.MinorID()});
    const ORQSimDSetID dataSet(id);
    if (!distribution.IsNull()) {
        UpdateDSet(dataSet, distribution);
    }
    return dataSet;
}

void ORQSimContext::UpdateDSet(const ORQSimDSetID& dataSet,
                               const ORQSimDistributionID& distribution) const {
    DatabaseState& state = DatabaseState::Writing(dataSet);
    state.CheckStorable(distribution);
    state.Rows().Put(
        DataSetRow{dataSet.MinorID(), distribution.IsNull() ? 0 : distribution.MinorID()});
    state.Rows().Erase(Table::DataSetDrawer, dataSet.MinorID());
    for (const ORQSimDrawerID& drawer : ORQSimDistribution(distribution).DrawerIDArray()) {
        UpdateDSet(dataSet, drawer);
    }
}

void ORQSimContext::UpdateDSet(const ORQSimDSetID& dataSet, const ORQSimDrawerID& drawer) const {
    DatabaseState& state = DatabaseState::Writing(dataSet);
    state.CheckStorable(drawer);
    int place = 0;
    for (const DataSetDrawerRow& row : state.Rows().Find<DataSetDrawerRow>(dataSet.MinorID())) {
        if (row.drawer == drawer.Index()) {
            return;
        }
        place = row.place + 1;
    }
    state.Rows().Insert(DataSetDrawerRow{dataSet.MinorID(), place, drawer.Index()});
}

void ORQSimContext::CheckStorable(const ORQSimDynamicID& id) const {
    DatabaseState::Existing(Root(m_id)).CheckStorable(id);
}

ORQSimPosition ORQSimContext::GetRecord(const ORQSimCollectionID& collection, int member) const {
    return ORQSimCollection(collection).GetMember(member);
}

int ORQSimContext::GetCMemberIndex(const ORQSimDynamicID& object) const {
    DatabaseState* state = ReadingLinks(object);
    if (state == nullptr) {
        return -1;
    }
    auto row = state->Rows().FindBy<Index::MemberByObject>(object.MinorID());
    return row.Next() ? row->member : -1;
}

void ORQSimContext::GetCMembership(const ORQSimArray<ORQSimDynamicID>& objects,
                                   const ORQSimCollectionID& collection,
                                   ORQSimArray<int>& members) const {
    members.SetSize(objects.Size());
    const ORQSimCollection of(collection);
    for (int i = 0; i < objects.Size(); ++i) {
        members.Get(i) = of.MemberIndex(objects.ConstGet(i));
    }
}
