#include "formats/nastran/NastranReplication.h"

#include <cstdint>

#include "formats/nastran/NastranCard.h"
#include "formats/nastran/NastranText.h"

namespace orq::exchange {
namespace {

/// "4" of "(4)" and of "4".
std::string_view WithoutBrackets(std::string_view text) {
    text = BulkTrimmed(text);
    return text.starts_with('(') && text.ends_with(')')
               ? BulkTrimmed(text.substr(1, text.size() - 2))
               : text;
}

std::optional<std::string> Raised(std::string_view value, std::string_view by) {
    const auto wholeValue = BulkInt(value);
    const auto wholeBy = BulkInt(by);
    if (wholeValue && wholeBy) {
        // The sum of two ints may exceed one; it is refused when the card is read.
        return std::to_string(std::int64_t{*wholeValue} + *wholeBy);
    }
    const auto realValue = value.empty() ? std::optional(0.0) : BulkReal(value);
    const auto realBy = BulkReal(by);
    return realValue && realBy ? std::optional(BulkText(*realValue + *realBy)) : std::nullopt;
}

}  // namespace

std::optional<int> RepetitionsOf(std::string_view name) {
    if (!name.starts_with('=')) {
        return std::nullopt;
    }
    name = WithoutBrackets(name.substr(1));
    const auto count = name.empty() ? std::optional(1) : BulkInt(name);
    return count && *count > 0 ? count : std::nullopt;
}

std::optional<std::vector<std::string>> RepeatedFields(const std::vector<std::string>& fields,
                                                       const std::vector<std::string>& rule) {
    std::vector<std::string> repeated;
    for (std::size_t i = 0; i < rule.size(); ++i) {
        const std::string& said = rule[i];
        const std::string before = i < fields.size() ? fields[i] : std::string();
        if (said == "==") {
            // "==" ends the rule: the fields that are left are copied.
            for (; i < fields.size(); ++i) {
                repeated.push_back(fields[i]);
            }
            break;
        }
        if (said.starts_with('*')) {
            const auto raised = Raised(before, WithoutBrackets(std::string_view(said).substr(1)));
            if (!raised) {
                return std::nullopt;
            }
            repeated.push_back(*raised);
        } else {
            repeated.push_back(said == "=" ? before : said);
        }
    }
    return repeated;
}

}  // namespace orq::exchange
