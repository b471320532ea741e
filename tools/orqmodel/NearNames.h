#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orqmodel {

/// The names that are most like the wanted one, as the end of a message: `; near are "a", "b"`.
/// Empty when there is none at all.
std::string NearNames(std::string_view wanted, std::span<const std::string> known);

/// The text in small letters, as far as they are ASCII.
std::string WithoutCase(std::string text);

/// The names that are spelt most like the wanted one, whatever their case, or have `part` in them;
/// at most five, those that begin with it first, then the nearest; of equals in the given order.
std::vector<std::string> SpeltAlike(const std::string& wanted, const std::string& part,
                                    std::span<const std::string> names);

/// They as the end of a message: "; is it A, B?". Empty when there are none.
std::string IsIt(std::span<const std::string> alike);

}  // namespace orqmodel
