#pragma once

#include <filesystem>
#include <string>

#include "formats/FormatTable.h"

namespace orq::exchange {

/// The row of a file's ending, in whatever case, among those that `isMeant`; null when there is
/// none.
const FormatRow* FindByEnding(const std::filesystem::path& file,
                              bool (*isMeant)(const FormatRow& row));

/// The endings of those rows, for a message: " .e .ex2".
std::string EndingsOf(bool (*isMeant)(const FormatRow& row));

}  // namespace orq::exchange
