#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"

/// The names that are most like the wanted one, as the end of a message: `; near are "a", "b"`.
/// Empty when there is none at all.
ORQ_EXPORT std::string ORQExcNearNames(std::string_view wanted, std::span<const std::string> known);

/// The text in small letters, as far as they are ASCII.
std::string WithoutCase(std::string text);

/// The names that are spelt most like the wanted one, whatever their case, or have `part` in them;
/// at most five, those that begin with it first, then the nearest; of equals in the given order.
ORQ_EXPORT std::vector<std::string> ORQExcSpeltAlike(const std::string& wanted,
                                                     const std::string& part,
                                                     std::span<const std::string> names);

/// The same names as a message suffix, "; is it A, B?"; empty when there are none.
ORQ_EXPORT std::string ORQExcIsIt(std::span<const std::string> alike);
