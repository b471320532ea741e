// The rows behind the links of an object.
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "DatabaseState.h"
#include "ORQSimPosition.h"

namespace orq::database {

// Keys and targets of all links of one kind under (object, slot), in key order.
template <class Link>
std::vector<std::pair<std::string, ORQSimPosition>> ReadLinks(DatabaseState& state,
                                                              std::int64_t object, int slot) {
    std::vector<std::pair<std::string, ORQSimPosition>> links;
    for (const Link& row : state.Rows().Find<Link>(object, slot)) {
        std::string name;
        if constexpr (std::is_same_v<Link, storage::MapEntryRow>) {
            name = row.key;
        }
        links.emplace_back(std::move(name), state.Objects().IdentityOf(row.target));
    }
    return links;
}

// Adds the objects that refer to `target` by links of one kind through `slot`.
template <class Link>
void AddReferrers(DatabaseState& state, const ORQSimDynamicID& target, int slot,
                  std::vector<ORQSimPosition>& referrers) {
    for (const Link& row :
         state.Rows().FindBy<Link::kByTarget>(target.MinorID(), target.Index(), slot)) {
        // A set and its collection share object and, where empty, index; the category differs.
        if (state.Objects().IdentityOf(row.target) == target) {
            referrers.emplace_back(state.Objects().Find(row.object));
        }
    }
}

// Whether an identity denotes a whole object. Sets, drawers and types have the number of the object
// that they belong to, and no links, names or members of their own.
bool IsObject(const ORQSimDynamicID& id);
// Where links of a position hang: throws Usage for a set or a drawer, which have none, and for a
// null position, with the name of the link that was to be written.
DatabaseState& WritingLinks(const ORQSimPosition& object, int slot);
// Null for a position that has no links.
DatabaseState* ReadingLinks(const ORQSimPosition& object);
// The identity to be stored for a link's target: of the same database, and lasting.
ORQSimDynamicID StorableTarget(DatabaseState& state, const ORQSimPosition& target);

}  // namespace orq::database
