#include "TempSets.h"

#include <algorithm>

namespace orq::database {

ComponentSetPtr TempSets::Members(int index) const {
    const auto place = static_cast<std::size_t>(-2 - index);
    return place < m_entries.size() ? m_entries[place].members : ComponentSet::Empty();
}

int TempSets::PlaceOf(const ORQSimCollectionID& collection, const ComponentSetPtr& members) const {
    const auto [begin, end] = m_byHash.equal_range(members->Hash());
    for (auto entry = begin; entry != end; ++entry) {
        const Entry& temp = At(entry->second);
        if (temp.collection == collection && temp.members->SameSequence(*members)) {
            return entry->second;
        }
    }
    return -1;
}

int TempSets::Add(const ORQSimCollectionID& collection, const ComponentSetPtr& members) {
    const int place = static_cast<int>(m_entries.size());
    m_entries.push_back({collection, members});
    m_byHash.emplace(members->Hash(), place);
    return place;
}

void TempSets::Replace(int place, const ComponentSetPtr& members) {
    Entry& temp = At(place);
    // Before the former entry is erased: if this throws, nothing has changed.
    m_byHash.emplace(members->Hash(), place);
    const auto [begin, end] = m_byHash.equal_range(temp.members->Hash());
    m_byHash.erase(
        std::find_if(begin, end, [&](const auto& entry) { return entry.second == place; }));
    temp.members = members;
}

ORQSimCSetID TempSets::IDOf(int place) const {
    const ORQSimCollectionID& collection = At(place).collection;
    return ORQSimCSetID(collection.ContextID(), collection.MinorID(), collection.TypeID(),
                        -2 - place);
}

ORQSimCSetID TempSets::Find(const ORQSimCollectionID& collection, const ComponentSetPtr& members) {
    const int place = PlaceOf(collection, members);
    if (place < 0) {
        return {};
    }
    // Somebody else holds its number now.
    At(place).isReplaceable = false;
    return IDOf(place);
}

ORQSimCSetID TempSets::FindOrAdd(const ORQSimCollectionID& collection,
                                 const ComponentSetPtr& members) {
    if (members->IsEmpty()) {
        return ORQSimCSetID(collection.ContextID(), collection.MinorID(), collection.TypeID(), 0);
    }
    const ORQSimCSetID known = Find(collection, members);
    return known.IsNull() ? IDOf(Add(collection, members)) : known;
}

ORQSimCSetID TempSets::Describe(const ORQSimCollectionID& collection, const DrawerState& drawer) {
    const ComponentSetPtr& members = drawer.rows.Members();
    if (members->IsEmpty()) {
        return FindOrAdd(collection, members);
    }
    int& place = m_described.try_emplace(drawer.id.Index(), -1).first->second;
    if (place >= 0 && At(place).members == members) {
        return IDOf(place);
    }
    const int same = PlaceOf(collection, members);
    if (same >= 0) {
        At(same).isReplaceable = false;
        place = same;
    } else if (place >= 0 && At(place).isReplaceable) {
        Replace(place, members);
    } else {
        place = Add(collection, members);
        At(place).isReplaceable = true;
    }
    return IDOf(place);
}

void TempSets::Clear() noexcept {
    m_entries.clear();
    m_byHash.clear();
    m_described.clear();
}

}  // namespace orq::database
