#include "SpeltAlike.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "Console.h"

namespace orqmodel {
namespace {

/// The number of changes of one character that lead from one text to the other.
int EditDistance(std::string_view a, std::string_view b) {
    std::vector<int> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 0; i < a.size(); ++i) {
        int diagonal = row[0];
        row[0] = static_cast<int>(i) + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const int changed = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string WithoutCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

}  // namespace

std::vector<std::string> SpeltAlike(const std::string& wanted, const std::string& part,
                                    std::span<const std::string> names) {
    const std::string plain_wanted = WithoutCase(wanted);
    const std::string plain_part = WithoutCase(part);
    const auto most = static_cast<int>(std::max<std::size_t>(2, wanted.size() / 3));
    std::vector<std::pair<int, std::string>> like;
    for (const std::string& name : names) {
        const std::string plain = WithoutCase(name);
        const int distance = EditDistance(plain_wanted, plain);
        if (plain.find(plain_part) != std::string::npos || distance <= most)
            like.emplace_back(distance, name);
    }
    std::sort(like.begin(), like.end());
    like.resize(std::min<std::size_t>(like.size(), 5));
    std::vector<std::string> alike;
    for (const auto& [distance, name] : like)
        alike.push_back(name);
    return alike;
}

std::string IsIt(std::span<const std::string> alike) {
    std::string text;
    for (const std::string& name : alike)
        text += (text.empty() ? "; is it " : ", ") + Printable(name);
    return text.empty() ? text : text + "?";
}

}  // namespace orqmodel
