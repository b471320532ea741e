#pragma once

#include <span>
#include <string>
#include <vector>

namespace orqmodel {

/// The names that are spelt most like the wanted one, whatever their case, or have `part` in them;
/// at most five, the best first.
std::vector<std::string> SpeltAlike(const std::string& wanted, const std::string& part,
                                    std::span<const std::string> names);

/// They as the end of a message: "; is it A, B?". Empty when there are none.
std::string IsIt(std::span<const std::string> alike);

}  // namespace orqmodel
