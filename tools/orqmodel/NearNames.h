#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace orqmodel {

/// The number of changes of one character that lead from one text to the other.
std::size_t EditDistance(std::string_view a, std::string_view b);

/// The names that are most like the wanted one, as the end of a message: `; near are "a", "b"`.
/// Empty when there is none at all.
std::string NearNames(std::string_view wanted, std::span<const std::string> known);

}  // namespace orqmodel
