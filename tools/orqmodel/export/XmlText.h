#pragma once

#include <string>
#include <string_view>

namespace orqmodel {

/// A text as it stands between tags or in quotes; control characters, which have no place in XML,
/// become blanks.
std::string XmlEscaped(std::string_view text);

}  // namespace orqmodel
