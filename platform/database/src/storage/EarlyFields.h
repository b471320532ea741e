// Fields of records as versions 1 and 2 of the format kept them: each in a row of table field.
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

// Makes the function pack_fields(number, kind, value) for statements, which sums rows up to packed
// fields; to no value where one of them makes no sense.
void DefinePackFields(Connection& connection);

}  // namespace orq::storage
