#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "ComponentSet.h"
#include "DrawerState.h"
#include "ORQSimIDs.h"

namespace orq::database {

/// Sets that live in memory until their database closes, and need no transaction. Equal ones of a
/// collection have the same identity, whose index is below -1.
class TempSets {
  public:
    /// Null when there is none.
    ORQSimCSetID Find(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    ORQSimCSetID FindOrAdd(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    /// Members of the set with this index; null where there is no such set.
    ComponentSetPtr Members(int index) const;

    /// The members along the extendable dimension of a drawer. It is one and the same set, whose
    /// members are replaced when the drawer has grown, so that describing a growing drawer does not
    /// keep every state of it; unless somebody else was given the set too.
    ORQSimCSetID Describe(const ORQSimCollectionID& collection, const DrawerState& drawer);

    void Clear() noexcept;

  private:
    struct Entry {
        ORQSimCollectionID collection;
        ComponentSetPtr members;
        bool isReplaceable = false;  // made to describe a drawer, and nobody else was given it
    };
    Entry& At(int place) { return m_entries[static_cast<std::size_t>(place)]; }
    const Entry& At(int place) const { return m_entries[static_cast<std::size_t>(place)]; }

    // The place of an equal set, -1 when there is none.
    int PlaceOf(const ORQSimCollectionID& collection, const ComponentSetPtr& members) const;
    int Add(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    void Replace(int place, const ComponentSetPtr& members);
    ORQSimCSetID IDOf(int place) const;

    std::vector<Entry> m_entries;                          // index -2 - place
    std::unordered_multimap<std::uint64_t, int> m_byHash;  // to the place
    std::unordered_map<int, int> m_described;              // by number of the drawer, to the place
};

}  // namespace orq::database
