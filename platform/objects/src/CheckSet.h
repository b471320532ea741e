/// What a builder is given to store. For the object layer's own sources.
#pragma once

#include <string>

#include "ORQBasFailure.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"

/// Throws Usage unless all members of the set belong to the collection. `what` begins the message,
/// for example `element set "WING"`.
inline void CheckSet(const ORQSimCSetID& id, const ORQSimPosition& collection,
                     const std::string& what) {
    const auto refuse = [&](const std::string& text) { ORQBasThrowUsage(what + ": " + text); };
    const ORQSimCollectionID wanted = collection.GetCollection();
    const std::string name = ORQSimSchema::NameOf(wanted.TypeID().Index());
    if (id.CollectionID().IsNull()) {
        refuse("the set is null, needed is one of " + name);
    }
    ORQSimContext(wanted.ContextID()).CheckStorable(id);
    if (id.CollectionID() != wanted) {
        refuse("the set is one of " + ORQSimSchema::NameOf(id.TypeID().Index()) +
               ", needed is one of " + name);
    }
    const ORQSimIntRange bounds = ORQSimCSet(id).Bounds();
    const int space = ORQSimCollection(wanted).Space();
    if (!ORQSimCSet(id).IsEmpty() && (bounds.First() < 0 || bounds.Last() >= space)) {
        refuse("member " + std::to_string(bounds.First() < 0 ? bounds.First() : bounds.Last()) +
               " is outside " + name + ", which has " + std::to_string(space) + " members");
    }
}
