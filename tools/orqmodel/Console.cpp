#include "Console.h"

#include <utf8.h>

#include <iterator>
#include <nlohmann/json.hpp>

namespace orqmodel {

std::string Printable(std::string_view text) {
    constexpr char32_t kReplacement = 0xFFFD;
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), kReplacement);
    std::string printable;
    for (auto at = valid.cbegin(); at != valid.cend();) {
        const char32_t character = utf8::next(at, valid.cend());
        const bool is_control = character < 0x20 || (character >= 0x7F && character < 0xA0);
        utf8::append(is_control ? kReplacement : character, std::back_inserter(printable));
    }
    return printable;
}

namespace {

constexpr auto kReplaceInvalid = nlohmann::json::error_handler_t::replace;

}  // namespace

void PrintJson(std::ostream& out, const nlohmann::json& object) {
    out << object.dump(2, ' ', false, kReplaceInvalid) << '\n';
}

void PrintJsonLine(std::ostream& out, const nlohmann::json& object) {
    out << object.dump(-1, ' ', false, kReplaceInvalid) << '\n';
}

}  // namespace orqmodel
