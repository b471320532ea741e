#include "compare/ComparedModels.h"

#include <fmt/format.h>

#include <utility>

namespace orq::exchange {

void ComparedModels::AddUnmatched(DifferenceKind kind, Matching& matching) {
    std::vector<ORQExcDifference::Member> removed;
    for (const int ordinal : matching.Removed()) {
        removed.push_back(matching.Before(ordinal));
    }
    std::vector<ORQExcDifference::Member> added;
    for (const int ordinal : matching.Added()) {
        added.push_back(matching.After(ordinal));
    }
    differences.AddMembers(kind, ORQExcDifference::Change::Removed, {}, {}, std::move(removed));
    differences.AddMembers(kind, ORQExcDifference::Change::Added, {}, {}, std::move(added));
}

std::string PropertiesText(const ORQExcModel::Properties& properties) {
    std::string text;
    for (const auto& [name, value] : properties) {
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", name, value);
    }
    return text;
}

}  // namespace orq::exchange
