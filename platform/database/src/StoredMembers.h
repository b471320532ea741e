// How the members of a set are written down and read back.
#pragma once

#include "ComponentSet.h"
#include "storage/Store.h"

namespace orq::database {

/// What a row says of the members, which it may point into. Many members are written to bulk data
/// of their own, under a number that no object has.
storage::StoredMembers WriteMembers(storage::Store& store, const ComponentSet& members);

/// Throws Damaged where what is stored is no set that anybody could have given.
ComponentSetPtr ReadMembers(storage::Store& store, const storage::StoredMembers& stored);

}  // namespace orq::database
