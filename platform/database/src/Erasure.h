// Taking rows away with their bulk data, whatever refers to them. Caches above may still know them.
#pragma once

#include <cstdint>

#include "storage/Store.h"

namespace orq::database {

void EraseDrawer(storage::Store& store, std::int64_t distribution, int drawer);
/// Makes the number of drawers that a distribution's row tells that of the drawers that there are.
void CountDrawers(storage::Store& store, std::int64_t distribution);
void EraseSet(storage::Store& store, int set);
/// Whatever the object is: with its links, names, fields and contents.
void EraseObject(storage::Store& store, std::int64_t object);

}  // namespace orq::database
