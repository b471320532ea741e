#include "Console.h"

#include <fmt/format.h>
#include <utf8.h>

#include <iterator>
#include <nlohmann/json.hpp>

namespace orqmodel {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Whether a terminal does something else than to show a character: C0, C1, and what turns the
/// direction of text or ends a line. All of them are below 0x10000.
bool IsControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x061C ||
           character == 0x200E || character == 0x200F ||
           (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

/// Valid UTF-8, in which `show` appends what stands for a control character.
template <class Show>
std::string WithoutControls(std::string_view text, const Show& show) {
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), kReplacement);
    std::string shown;
    for (auto at = valid.cbegin(); at != valid.cend();) {
        const char32_t character = utf8::next(at, valid.cend());
        if (IsControl(character))
            show(character, shown);
        else
            utf8::append(character, std::back_inserter(shown));
    }
    return shown;
}

void Replace(char32_t, std::string& shown) {
    utf8::append(kReplacement, std::back_inserter(shown));
}

/// Outside of strings JSON has no control characters but line breaks, inside none below 0x20.
void PrintDumped(std::ostream& out, const std::string& dumped) {
    out << WithoutControls(dumped, [](char32_t character, std::string& shown) {
        if (character == '\n')
            shown += '\n';
        else
            shown += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
    }) << '\n';
}

constexpr auto kReplaceInvalid = nlohmann::json::error_handler_t::replace;

}  // namespace

std::string Printable(std::string_view text) {
    return WithoutControls(text, Replace);
}

PrintableBuffer::~PrintableBuffer() {
    WriteLine();
}

PrintableBuffer::int_type PrintableBuffer::overflow(int_type character) {
    if (character != traits_type::eof()) {
        const char one = traits_type::to_char_type(character);
        xsputn(&one, 1);
    }
    return out_ ? traits_type::not_eof(character) : traits_type::eof();
}

std::streamsize PrintableBuffer::xsputn(const char* text, std::streamsize size) {
    std::string_view rest(text, static_cast<std::size_t>(size));
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        line_ += rest.substr(0, end);
        rest.remove_prefix(end + 1);
        WriteLine();
        out_ << '\n';
    }
    line_ += rest;
    return out_ ? size : 0;
}

int PrintableBuffer::sync() {
    WriteLine();
    return out_.flush() ? 0 : -1;
}

void PrintableBuffer::WriteLine() {
    out_ << WithoutControls(line_, [](char32_t character, std::string& shown) {
        if (character == '\t')
            shown += '\t';
        else
            Replace(character, shown);
    });
    line_.clear();
}

void PrintJson(std::ostream& out, const nlohmann::json& object) {
    PrintDumped(out, object.dump(2, ' ', false, kReplaceInvalid));
}

void PrintJsonLine(std::ostream& out, const nlohmann::json& object) {
    PrintDumped(out, object.dump(-1, ' ', false, kReplaceInvalid));
}

}  // namespace orqmodel
