#include <algorithm>
#include <numeric>
#include <utility>

#include "ORQExcNearNames.h"
#include "ORQExcTexts.h"

namespace {

/// The number of changes of one character that lead from one text to the other.
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

}  // namespace

std::string WithoutCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

std::string ORQExcNearNames(std::string_view wanted, std::span<const std::string> known) {
    // The one that was meant is among the first, or not near at all.
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

std::vector<std::string> ORQExcSpeltAlike(const std::string& wanted, const std::string& part,
                                          std::span<const std::string> names) {
    const std::string plainWanted = WithoutCase(wanted);
    const std::string plainPart = WithoutCase(part);
    const std::size_t most = std::max<std::size_t>(2, wanted.size() / 3);
    struct Like {
        bool isOtherBeginning;
        std::size_t distance;
        const std::string* name;
    };
    std::vector<Like> like;
    for (const std::string& name : names) {
        const std::string plain = WithoutCase(name);
        const std::size_t distance = EditDistance(plainWanted, plain);
        if (plain.find(plainPart) != std::string::npos || distance <= most) {
            like.push_back({!plain.starts_with(plainWanted), distance, &name});
        }
    }
    std::ranges::stable_sort(like, [](const Like& a, const Like& b) {
        return std::pair(a.isOtherBeginning, a.distance) <
               std::pair(b.isOtherBeginning, b.distance);
    });
    like.resize(std::min<std::size_t>(like.size(), 5));
    std::vector<std::string> alike;
    for (const Like& one : like) {
        alike.push_back(*one.name);
    }
    return alike;
}

std::string ORQExcIsIt(std::span<const std::string> alike) {
    std::string text;
    for (const std::string& name : alike) {
        text += (text.empty() ? "; is it " : ", ") + ORQExcPrintable(name);
    }
    return text.empty() ? text : text + "?";
}
