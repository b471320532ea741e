#include "terminal/TextTable.h"

#include <algorithm>
#include <numeric>

namespace orqmodel {
namespace {

constexpr std::size_t kLeastWidth = 6;  // of a column that is cut

bool BeginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

/// Characters of a text in UTF-8.
std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, BeginsCharacter));
}

/// The text, or its beginning and an ellipsis.
std::string Cut(const std::string& text, std::size_t width) {
    if (WidthOf(text) <= width) {
        return text;
    }
    std::size_t nCharacters = 0;
    std::size_t end = 0;
    while (end < text.size() && (!BeginsCharacter(text[end]) || nCharacters++ < width - 1)) {
        ++end;
    }
    return text.substr(0, end) + "…";
}

/// Takes from the widest columns of text until a line fits.
void Fit(std::vector<std::size_t>& widths, const std::vector<bool>& isNumber, std::size_t width) {
    const auto length = [&] {
        return std::accumulate(widths.begin(), widths.end(), 2 * widths.size());
    };
    while (length() > width) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (!isNumber[i] && (widest == nullptr || widths[i] > *widest)) {
                widest = &widths[i];
            }
        }
        if (widest == nullptr || *widest <= kLeastWidth) {
            return;
        }
        --*widest;
    }
}

}  // namespace

void PrintTable(const std::vector<std::vector<std::string>>& rows,
                const std::vector<bool>& isNumber, std::ostream& out, int width) {
    std::vector<std::size_t> widths(isNumber.size(), 0);
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], WidthOf(row[i]));
        }
    }
    if (width > 0) {
        Fit(widths, isNumber, static_cast<std::size_t>(width));
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = Cut(row[i], widths[i]);
            const std::string blanks(widths[i] - WidthOf(cell), ' ');
            line += "  " + (isNumber[i] ? blanks + cell : cell + blanks);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

}  // namespace orqmodel
