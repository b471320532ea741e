#pragma once

#include <span>
#include <string>
#include <string_view>

namespace orqmodel {

/// The names that are most like the wanted one, as the end of a message: `; near are "a", "b"`.
/// Empty when there is none at all.
std::string NearNames(std::string_view wanted, std::span<const std::string> known);

}  // namespace orqmodel
