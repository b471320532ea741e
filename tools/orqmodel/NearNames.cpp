#include "NearNames.h"

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace orqmodel {

std::size_t EditDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string NearNames(std::string_view wanted, std::span<const std::string> known) {
    constexpr std::size_t kMostNear = 5;
    std::vector<std::pair<std::size_t, std::string_view>> near;
    for (const std::string& name : known) {
        near.emplace_back(EditDistance(wanted, name), name);
    }
    std::ranges::sort(near);
    std::string text;
    for (std::size_t i = 0; i < std::min(near.size(), kMostNear); ++i) {
        text.append(i == 0 ? "; near are \"" : ", \"").append(near[i].second).append("\"");
    }
    return text;
}

}  // namespace orqmodel
