#include "ORQSimPosition.h"

#include <algorithm>
#include <limits>

#include "DatabaseState.h"
#include "FTableData.h"
#include "Links.h"
#include "ORQBasFailure.h"
#include "ORQSimCSet.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimSymbols.h"

using orq::database::AddReferrers;
using orq::database::ComponentSet;
using orq::database::DatabaseState;
using orq::database::IsObject;
using orq::database::ReadingLinks;
using orq::database::StorableTarget;
using orq::database::WritingLinks;
using orq::storage::ChildRow;
using orq::storage::CollectionRow;
using orq::storage::CompartmentRow;
using orq::storage::DataSetRow;
using orq::storage::Index;
using orq::storage::MapEntryRow;
using orq::storage::NameRow;
using orq::storage::SetEntryRow;
using orq::storage::VectorEntryRow;

// --- Links ---------------------------------------------------------------------------------------

ORQSimPosition ORQSimPosition::Focus() const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    return state == nullptr ? ORQSimPosition() : ORQSimPosition(state->Objects().Focus());
}

ORQSimPosition ORQSimPosition::Parent(int slot) const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return {};
    }
    std::vector<ORQSimPosition> parents;
    AddReferrers<ChildRow>(*state, m_id, slot, parents);
    AddReferrers<MapEntryRow>(*state, m_id, slot, parents);
    AddReferrers<VectorEntryRow>(*state, m_id, slot, parents);
    // The lowest, so that the result does not depend on the kind of link.
    return parents.empty() ? ORQSimPosition() : std::ranges::min(parents);
}

ORQSimPosition ORQSimPosition::Follow(int slot, int member) const {
    DatabaseState* state = ReadingLinks(*this);
    return state == nullptr ? ORQSimPosition()
                            : state->Objects().Child(m_id.MinorID(), slot, member);
}

void ORQSimPosition::Associate(int slot, int member, const ORQSimPosition& target) const {
    DatabaseState& state = WritingLinks(*this, slot);
    state.Objects().SetChild(m_id.MinorID(), slot, member,
                             target.IsNull() ? ORQSimDynamicID() : StorableTarget(state, target));
}

ORQSimMap ORQSimPosition::GetMap(int slot) const {
    return {*this, slot};
}
ORQSimVector ORQSimPosition::GetVector(int slot) const {
    return {*this, slot};
}
ORQSimSet ORQSimPosition::GetSet(int slot) const {
    return {*this, slot};
}

ORQSimSet ORQSimPosition::ReferrersSet(int slot) const {
    ORQSimSet referrers;
    if (DatabaseState* state = DatabaseState::Reading(m_id); state != nullptr) {
        std::vector<ORQSimPosition> found;
        AddReferrers<ChildRow>(*state, m_id, slot, found);
        AddReferrers<MapEntryRow>(*state, m_id, slot, found);
        AddReferrers<VectorEntryRow>(*state, m_id, slot, found);
        AddReferrers<SetEntryRow>(*state, m_id, slot, found);
        std::ranges::sort(found);  // each goes behind the ones before it
        for (const ORQSimPosition& position : found) {
            referrers.Insert(position);
        }
    }
    return referrers;
}

// --- Type and names ------------------------------------------------------------------------------

bool ORQSimPosition::IsA(int type) const {
    return DatabaseState::Reading(m_id) != nullptr &&
           ORQSimSchema::IsA(m_id.TypeID().Index(), type);
}

ORQSimPosition ORQSimPosition::TypePosition() const {
    return IsNull() ? ORQSimPosition()
                    : ORQSimPosition(ORQSimDynamicID(ORQSimCategoryType, m_id.ContextID(),
                                                     m_id.MinorID(), m_id.TypeID(), 0));
}

ORQString ORQSimPosition::Name(int slot) const {
    DatabaseState* state = ReadingLinks(*this);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<NameRow>(m_id.MinorID(), slot);
    return row.Next() ? ORQString(row->text) : ORQString();
}

ORQString ORQSimPosition::Name() const {
    if (m_id.Category() == ORQSimCategoryType) {
        return ORQString(ORQSimSchema::NameOf(m_id.TypeID().Index()));
    }
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return {};
    }
    if (ORQString name = Name(ORQSimSchema::Record_name); !name.IsEmpty()) {
        return name;
    }
    for (const MapEntryRow& row :
         state->Rows().FindBy<Index::MapEntryByTarget>(m_id.MinorID(), m_id.Index())) {
        if (state->Objects().IdentityOf(row.target) == m_id) {
            return ORQString(row.key);
        }
    }
    return GetSymbolName();
}

void ORQSimPosition::SetName(int slot, const ORQString& name) const {
    WritingLinks(*this, slot).Rows().Put(NameRow{m_id.MinorID(), slot, name.UTF8()});
}

ORQString ORQSimPosition::GetReferenceKey(int slot) const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return {};
    }
    for (const MapEntryRow& row :
         state->Rows().FindBy<Index::MapEntryByTarget>(m_id.MinorID(), m_id.Index(), slot)) {
        if (state->Objects().IdentityOf(row.target) == m_id) {
            return ORQString(row.key);
        }
    }
    return {};
}

ORQString ORQSimPosition::GetSymbolName() const {
    DatabaseState* state = ReadingLinks(*this);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().FindBy<Index::SymbolByObject>(m_id.MinorID());
    return row.Next() ? ORQString(row->name) : ORQString();
}

int ORQSimPosition::GetSymbolPosition() const {
    return ORQSimSymbols(m_id.ContextID()).Get(m_id);
}

// --- Contents ------------------------------------------------------------------------------------

ORQSimCSet ORQSimPosition::CSet() const {
    return ORQSimCSet(*this);
}

ORQSimCSetID ORQSimPosition::GetCSet() const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    const ORQSimCollectionID collection = GetCollection();
    if (state == nullptr || collection.IsNull()) {
        return ORQSimCSetID(m_id);
    }
    return state->Sets().Temps().FindOrAdd(
        collection, ComponentSet::Contiguous(0, state->Objects().Space(collection)));
}

ORQSimCollectionID ORQSimPosition::GetCollection() const {
    return ORQSimCollectionID(m_id);
}

ORQSimDSet ORQSimPosition::DSet() const {
    return ORQSimDSet(*this);
}

ORQSimDSetID ORQSimPosition::GetDSet() const {
    return ORQSimDSetID(m_id);
}

ORQSimDistributionID ORQSimPosition::GetDistribution() const {
    return ORQSimDistributionID(m_id);
}

ORQSimDrawerID ORQSimPosition::GetDrawer() const {
    const ORQSimCollectionID collection = GetCollection();
    return collection.IsNull() ? ORQSimDrawerID(m_id)
                               : ORQSimDrawerID(m_id.ContextID(), m_id.MinorID(), m_id.TypeID());
}

ORQSimFTableID ORQSimPosition::GetFTable() const {
    return ORQSimFTableID(m_id);
}

ORQSimDataRecord ORQSimPosition::DataRecord() const {
    return ORQSimDataRecord(GetDataRecord());
}

ORQSimDynamicID ORQSimPosition::GetDataRecord() const {
    return IsObject(m_id) ? m_id : ORQSimDynamicID();
}

ORQSimDataRecord ORQSimPosition::CreateDataRecord(int type) const {
    return ORQSimDataRecord(DatabaseState::Writing(m_id).Objects().New(type, ORQSimCategoryRecord));
}

ORQSimPosition ORQSimPosition::CreateTypedCollection(int type, int space) const {
    DatabaseState& state = DatabaseState::Writing(m_id);
    if (space < 0) {
        ORQBasThrowUsage("a collection cannot have a space of " + std::to_string(space));
    }
    const ORQSimDynamicID id = state.Objects().New(type, ORQSimCategoryCollection);
    state.Rows().Insert(CollectionRow{id.MinorID(), space});
    return id;
}

ORQSimPosition ORQSimPosition::CreateTypedDSet(const ORQSimCtation& ctation, int type) const {
    DatabaseState& state = DatabaseState::Writing(m_id);
    const ORQSimDynamicID id = state.Objects().New(type, ORQSimCategoryDSet);
    state.Rows().Insert(DataSetRow{id.MinorID(), 0});
    int place = 0;
    for (const ORQSimCompartment& compartment : ctation.Compartments()) {
        int dimension = 0;
        for (const ORQSimCSetID& set : compartment.CSetIDs()) {
            if (set.CollectionID().IsNull()) {
                ORQBasThrowUsage("compartment " + std::to_string(place) + ", dimension " +
                                 std::to_string(dimension) + ": the set is null");
            }
            state.Rows().Insert(CompartmentRow{id.MinorID(), place, dimension,
                                               state.Sets().Persistent(set).Index(),
                                               set.CollectionID().MinorID()});
            ++dimension;
        }
        ++place;
    }
    return id;
}

ORQSimPosition ORQSimPosition::CreateTypedDistribution(const ORQSimGrid& grid, int type,
                                                       const ORQSimRangeType& range) const {
    return Context().CreateDistribution(grid, range, ORQSimTypeID(type));
}

ORQSimPosition ORQSimPosition::CreateFTable(int type, int rows,
                                            const ORQBasVector<ORQString>& rowLabels,
                                            const ORQBasVector<ORQString>& columnLabels,
                                            const double* data, int count) const {
    return orq::database::CreateFTable(DatabaseState::Writing(m_id), type, rows, rowLabels,
                                       columnLabels, data, count);
}

ORQSimPosition ORQSimPosition::CreateSimpleFTable(int rows,
                                                  const ORQBasVector<ORQString>& rowLabels,
                                                  const ORQBasVector<ORQString>& columnLabels,
                                                  const double* data, int count) const {
    return CreateFTable(ORQSimSchema::FTable_general, rows, rowLabels, columnLabels, data, count);
}

ORQSimContext ORQSimPosition::Context() const {
    return ORQSimContext(m_id.ContextID());
}
ORQSimDatabase ORQSimPosition::Doc() const {
    return ORQSimDatabase(*this);
}
