#include "SetTable.h"

#include <string>
#include <utility>

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "StoredMembers.h"

namespace orq::database {

using storage::ComponentSetRow;
using storage::Index;

ComponentSetPtr SetTable::Members(const ORQSimCSetID& id) {
    const int index = id.Index();
    if (index == 0) {
        return ComponentSet::Empty();
    }
    if (index < 0) {
        return m_temps.Members(index);
    }
    if (const auto known = m_stored.find(index); known != m_stored.end()) {
        return known->second;
    }
    auto row = m_state.Rows().Find<ComponentSetRow>(index);
    if (!row.Next()) {
        return ComponentSet::Empty();
    }
    ComponentSetPtr members = ReadMembers(m_state.Store(), row->members);
    // Members are used as places in arrays without another check, so a damaged set is refused
    // before it is kept.
    if (row->collection != id.MinorID() ||
        (!members->IsEmpty() && members->Highest() >= m_state.Objects().Space(id.CollectionID()))) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_state.ShownPath() + ": set " + std::to_string(index) +
                                " has members that are not of collection " +
                                std::to_string(id.MinorID()));
    }
    return m_stored[index] = std::move(members);
}

ORQSimCSetID SetTable::Store(const ORQSimCollectionID& collection, const ComponentSetPtr& members) {
    int index = 0;
    if (!members->IsEmpty()) {
        index = m_state.Store().NewSet();
        m_state.Rows().Put(ComponentSetRow{index, collection.MinorID(),
                                           static_cast<std::int64_t>(members->Hash()),
                                           WriteMembers(m_state.Store(), *members)});
        m_stored[index] = members;
    }
    return ORQSimCSetID(collection.ContextID(), collection.MinorID(), collection.TypeID(), index);
}

ORQSimCSetID SetTable::FindStored(const ORQSimCollectionID& collection,
                                  const ComponentSetPtr& members) {
    const auto id = [&](int index) {
        return ORQSimCSetID(collection.ContextID(), collection.MinorID(), collection.TypeID(),
                            index);
    };
    if (members->IsEmpty()) {
        return id(0);
    }
    for (const ComponentSetRow& row : m_state.Rows().FindBy<Index::ComponentSetByHash>(
             collection.MinorID(), static_cast<std::int64_t>(members->Hash()))) {
        if (Members(id(row.id))->SameSequence(*members)) {
            return id(row.id);
        }
    }
    return {};
}

ORQSimCSetID SetTable::Persistent(const ORQSimCSetID& id) {
    m_state.CheckStorable(id);
    if (id.Index() >= 0) {
        return id;
    }
    const ComponentSetPtr members = Members(id);
    const ORQSimCSetID stored = FindStored(id.CollectionID(), members);
    return stored.IsNull() ? Store(id.CollectionID(), members) : stored;
}

}  // namespace orq::database
