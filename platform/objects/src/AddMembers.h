/// Room for new members of a collection. For the object layer's own sources.
#pragma once

#include <limits>
#include <string>

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimPosition.h"

/// Adds `count` members at the end of the collection, and returns the new ones.
/// Throws Usage when there cannot be so many.
inline ORQSimCSetID AddMembers(const ORQSimPosition& position, int count) {
    ORQSimCollection collection(position.GetCollection());
    const int first = collection.Space();
    if (count < 0 || count > std::numeric_limits<int>::max() - first) {
        ORQBasThrowUsage("cannot add " + std::to_string(count) + " members to " +
                         std::to_string(first));
    }
    collection.ExtendSpace(first + count);
    return collection.CreateTempCSetStrided(first, count, 1, 1);
}
