#pragma once

#include <string>
#include <string_view>

#include "ORQBasExport.h"

/// A text as it stands between tags or in quotes; control characters, which have no place in XML,
/// become blanks.
ORQ_EXPORT std::string ORQExcXmlEscaped(std::string_view text);
