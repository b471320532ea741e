/// Standard objects that are made where they are missing. For the object layer's own sources.
#pragma once

#include <vector>

#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimPosition.h"

/// The child under a slot, made by `make` when there is none.
template <class Make>
ORQSimPosition FindOrMake(const ORQSimPosition& parent, int slot, Make&& make) {
    ORQSimPosition child = parent.GetPosition(slot);
    if (child.IsNull()) {
        child = make();
        parent.SetPosition(slot, child);
    }
    return child;
}

inline ORQSimPosition NeedRecord(const ORQSimPosition& parent, int slot, int type) {
    return FindOrMake(parent, slot, [&] { return parent.CreateDataRecord(type).Pos(); });
}

inline ORQSimPosition NeedCollection(const ORQSimPosition& parent, int slot, int type,
                                     int space = 0) {
    return FindOrMake(parent, slot, [&] { return parent.CreateTypedCollection(type, space); });
}

inline ORQSimPosition NeedDistribution(const ORQSimPosition& parent, int slot, int type,
                                       const std::vector<ORQSimPosition>& grid,
                                       const ORQSimRangeType& range) {
    return FindOrMake(parent, slot, [&] {
        std::vector<ORQSimCollectionID> collections;
        for (const ORQSimPosition& position : grid) {
            collections.push_back(position.GetCollection());
        }
        return parent.CreateTypedDistribution(ORQSimGrid(collections), type, range);
    });
}
