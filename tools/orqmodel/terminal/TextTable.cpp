#include "terminal/TextTable.h"

#include <fmt/format.h>

#include <algorithm>

namespace orqmodel {

void PrintTable(const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& isNumber, std::ostream& out) {
    std::vector<std::size_t> widths(isNumber.size(), 0);
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], fmt::formatted_size("{}", row[i]));
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += isNumber[i] ? fmt::format("  {:>{}}", row[i], widths[i])
                                : fmt::format("  {:<{}}", row[i], widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

}  // namespace orqmodel
