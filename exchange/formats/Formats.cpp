#include "formats/Formats.h"

#include <algorithm>

#include "ORQExcFormats.h"

using namespace orq::exchange;

std::vector<ORQExcFormat> ORQExcFormats() {
    std::vector<ORQExcFormat> formats;
    for (const FormatRow& row : FormatTable()) {
        formats.push_back({row.name, row.endings, row.open != nullptr, row.write != nullptr});
    }
    return formats;
}

namespace orq::exchange {

const FormatRow* FindByEnding(const std::filesystem::path& file,
                              bool (*isMeant)(const FormatRow& row)) {
    std::string ending = file.extension().string();
    std::ranges::transform(ending, ending.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    for (const FormatRow& row : FormatTable()) {
        if (isMeant(row) && std::ranges::find(row.endings, ending) != row.endings.end()) {
            return &row;
        }
    }
    return nullptr;
}

std::string EndingsOf(bool (*isMeant)(const FormatRow& row)) {
    std::string list;
    for (const FormatRow& row : FormatTable()) {
        for (const std::string_view ending : row.endings) {
            list.append(isMeant(row) ? " " : "").append(isMeant(row) ? ending : "");
        }
    }
    return list;
}

}  // namespace orq::exchange
