// The rows behind the links of an object.
#pragma once

#include <string_view>
#include <type_traits>
#include <vector>

#include "DatabaseState.h"
#include "LinkList.h"
#include "ORQSimPosition.h"

namespace orq::database {

// Keys and targets of all links of one kind under a slot of an object, in key order.
template <class Link>
void ReadLinks(DatabaseState& state, const ORQSimPosition& object, int slot, LinkList& links) {
    for (const Link& row : state.Rows().Find<Link>(object.ID().MinorID(), slot)) {
        std::string_view name;
        if constexpr (std::is_same_v<Link, storage::MapEntryRow>) {
            name = row.key;
        }
        links.Add(name, state.Objects().IdentityOf(row.target));
    }
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
