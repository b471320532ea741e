// What objects are called in messages.
#pragma once

#include <cstdint>
#include <string>

#include "DatabaseState.h"

namespace orq::database {

// "object 12 (model / mesh / nodes)": with the shortest path from the focus, by slots and names;
// with its own name where no path is found; the number alone where there is none either.
std::string NameInMessage(DatabaseState& state, std::int64_t object);
// The same of a set, which may have links of its own.
std::string NameInMessage(DatabaseState& state, std::int64_t collection, int set);

}  // namespace orq::database
