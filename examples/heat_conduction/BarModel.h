#pragma once

#include <string>
#include <string_view>

namespace heat {

/// A bar along x with node sets LEFT (x = 0) and RIGHT (x = length), as a new model database.
struct Bar {
    double length = 1.0;
    double width = 0.1;          ///< in y and z
    int cells = 20;              ///< along x
    int cellsAcross = 1;         ///< along y and z
    std::string shape = "HEX8";  ///< or TET4 (6 to a cell) or WEDGE6 (2 to a cell)
};

/// Throws HeatError for another shape or for less than one cell, and ORQBasFailure.
void WriteBar(const Bar& bar, const std::string& path);

}  // namespace heat
