#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orqmodel {

/// Prints rows of cells in columns as wide as need be, two blanks before each; the first row is the
/// heading. Columns of numbers end alike, others begin alike. Each row has a cell for each column.
void PrintTable(const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& isNumber, std::ostream& out);

}  // namespace orqmodel
