#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "ORQBasFailure.h"

/// How many values a table has. Throws ORQBasFailure (Usage) when an int cannot hold the number.
inline int ORQSrvTableSize(int rows, int columns) {
    const std::int64_t count = std::int64_t{rows} * columns;
    if (count > std::numeric_limits<int>::max() || count < std::numeric_limits<int>::min()) {
        ORQBasThrowUsage("a table of " + std::to_string(rows) + " rows and " +
                         std::to_string(columns) + " columns has more than 2147483647 values");
    }
    return static_cast<int>(count);
}
