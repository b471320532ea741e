#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orq::exchange {

/// How often the card before is repeated: 1 for "=", 4 for "=(4)" and "=4"; nothing for what is
/// none of these.
std::optional<int> RepetitionsOf(std::string_view name);

/// The fields of the next card after one that is repeated by a rule: "=" takes the field before,
/// "==" all that are left, "*(x)" or "*x" adds x, anything else stands for itself. Nothing when
/// what is added to is no number.
std::optional<std::vector<std::string>> RepeatedFields(const std::vector<std::string>& fields,
                                                       const std::vector<std::string>& rule);

}  // namespace orq::exchange
