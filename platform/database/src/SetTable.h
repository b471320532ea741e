#pragma once

#include <unordered_map>

#include "ComponentSet.h"
#include "ORQSimIDs.h"
#include "TempSets.h"

namespace orq::database {

class DatabaseState;

/// The component sets of a database. A set's index is above 0 when it is stored, 0 for the empty
/// set, below -1 when it is temporary.
class SetTable {
  public:
    explicit SetTable(DatabaseState& state) : m_state(state) {}

    /// Members of a stored or a temporary set; null where there is no such set. Throws Damaged
    /// where they are no members of the set's collection. A stored set is read once.
    ComponentSetPtr Members(const ORQSimCSetID& id);

    ORQSimCSetID Store(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    /// An equal stored set; null when there is none.
    ORQSimCSetID FindStored(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    /// The ID itself, or that of an equal stored set when it is temporary.
    ORQSimCSetID Persistent(const ORQSimCSetID& id);

    TempSets& Temps() { return m_temps; }

    /// Forgets what was read of rows; temporary sets stay.
    void Forget() noexcept { m_stored.clear(); }

  private:
    DatabaseState& m_state;
    std::unordered_map<int, ComponentSetPtr> m_stored;
    TempSets m_temps;
};

}  // namespace orq::database
