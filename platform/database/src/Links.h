// The rows behind the links of an object.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "DatabaseState.h"
#include "ORQSimPosition.h"

namespace orq::database {

// Keys and targets of all rows of one of the link tables under (object, slot), in key order.
std::vector<std::pair<std::string, ORQSimPosition>> ReadLinks(DatabaseState& state,
                                                              storage::Table table,
                                                              std::int64_t object, int slot);
// The objects that refer to `target` through `slot` in one of the tables, by ascending ID.
std::vector<ORQSimPosition> ReadReferrers(DatabaseState& state, storage::Index index,
                                          const ORQSimDynamicID& target, int slot);

// Whether an identity denotes a whole object: sets, drawers and types are told by the number of
// the object that they belong to, and have no links, names or members of their own.
bool IsObject(const ORQSimDynamicID& id);
// Where links of a position hang: throws Usage for a set or a drawer, which have none, and for a
// null position, with the name of the link that was to be written.
DatabaseState& WritingLinks(const ORQSimPosition& object, int slot);
// Null for a position that has no links.
DatabaseState* ReadingLinks(const ORQSimPosition& object);
// The identity to be stored for a link's target: of the same database, and lasting.
ORQSimDynamicID StorableTarget(DatabaseState& state, const ORQSimPosition& target);

}  // namespace orq::database
