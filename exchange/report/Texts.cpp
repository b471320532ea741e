#include <utf8.h>

#include <iterator>

#include "ORQExcTexts.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// C0, C1, and what turns the direction of text or ends a line. All of them are below 0x10000.
bool IsControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
           character == 0x200E || character == 0x200F ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

void Replace(char32_t, std::string& shown) {
    utf8::append(kReplacement, std::back_inserter(shown));
}

}  // namespace

std::string ORQExcWithoutControls(std::string_view text,
                                  void (*show)(char32_t character, std::string& shown)) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), kReplacement);
    std::string shown;
    for (auto at = valid.cbegin(); at != valid.cend();) {
        const char32_t character = utf8::next(at, valid.cend());
        if (IsControl(character)) {
            show(character, shown);
        } else {
            utf8::append(character, std::back_inserter(shown));
        }
    }
    return shown;
}

std::string ORQExcPrintable(std::string_view text) {
    return ORQExcWithoutControls(text, Replace);
}
