#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace orqmodel {

/// Prints rows of cells in columns as wide as need be, two blanks before each; the first row is the
/// heading. Columns of numbers end alike, others begin alike. Each row has a cell for each column.
/// Where lines would be longer than `width` characters, the widest columns of text are cut; 0
/// stands for any length.
void PrintTable(const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& isNumber, std::ostream& out, int width = 0);

}  // namespace orqmodel
