#pragma once

#include "ORQSimArray.h"
#include "ORQSimContext.h"
#include "ORQSimPosition.h"

/// The member number of an object in one collection, -1 when it is no member.
inline int ORQSrvMemberNumber(const ORQSimPosition& object, const ORQSimCollectionID& collection) {
    ORQSimArray<ORQSimDynamicID> objects(1);
    objects.Get(0) = object.ID();
    ORQSimArray<int> members;
    object.Context().GetCMembership(objects, collection, members);
    return members.ConstGet(0);
}
