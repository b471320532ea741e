/// Texts of foreign origin.
#pragma once

#include <string>
#include <string_view>

#include "ORQBasExport.h"

/// Text of foreign origin as it can be shown on one line: bytes that are not UTF-8, control
/// characters, and characters that turn the direction of text, become U+FFFD.
ORQ_EXPORT std::string ORQExcPrintable(std::string_view text);

/// Valid UTF-8, in which `show` appends what stands for each character that a terminal obeys
/// instead of showing it; bytes that are not UTF-8 become U+FFFD.
ORQ_EXPORT std::string ORQExcWithoutControls(std::string_view text,
                                             void (*show)(char32_t character, std::string& shown));
