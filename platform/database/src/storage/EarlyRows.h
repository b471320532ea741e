// Rows as earlier versions of the format kept them, packed as they are now: fields of records, each
// in a row of table field up to version 2, and dimensions of drawers, each in a row of table
// drawer_dimension up to version 3.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Sqlite.h"

namespace orq::storage {

// Adds a row's field to packed ones. False where it is of no kind that there is, or of another than
// its value.
bool PackEarlyField(std::vector<std::byte>& packed, std::int64_t number, std::int64_t kind,
                    const Value& value);

// Adds a row's dimension to packed ones. One behind a missing one is left out, so that there are
// too few. False where its values are none that it may have.
bool PackEarlyDimension(std::vector<std::byte>& packed, std::int64_t number, std::int64_t set,
                        std::int64_t chunk, std::int64_t extendable);

// Makes the functions pack_fields(number, kind, value) and pack_dimensions(dimension, set_id,
// chunk, extendable) for statements, which sum rows up to a packed value; to none where one of them
// makes no sense.
void DefinePacking(Connection& connection);

}  // namespace orq::storage
