#include "terminal/Console.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

namespace orqmodel {
namespace {

/// Outside of strings JSON has no control characters but line breaks, inside none below 0x20.
void PrintDumped(std::ostream& out, const std::string& dumped) {
    out << ORQExcWithoutControls(dumped, [](char32_t character, std::string& shown) {
        if (character == '\n') {
            shown += '\n';
        } else {
            shown += fmt::format("\\u{:04x}", static_cast<unsigned>(character));
        }
    }) << '\n';
}

// Names come from files; one that is not UTF-8 must not end the report.
constexpr auto kReplaceInvalid = nlohmann::json::error_handler_t::replace;

}  // namespace

PrintableBuffer::~PrintableBuffer() {
    WriteLine();
}

PrintableBuffer::int_type PrintableBuffer::overflow(int_type character) {
    if (character != traits_type::eof()) {
        const char one = traits_type::to_char_type(character);
        xsputn(&one, 1);
    }
    return m_out ? traits_type::not_eof(character) : traits_type::eof();
}

std::streamsize PrintableBuffer::xsputn(const char* text, std::streamsize size) {
    // Whole lines at a time: a character of several bytes may come in parts.
    std::string_view rest(text, static_cast<std::size_t>(size));
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        m_line += rest.substr(0, end);
        rest.remove_prefix(end + 1);
        WriteLine();
        m_out << '\n';
    }
    m_line += rest;
    return m_out ? size : 0;
}

int PrintableBuffer::sync() {
    WriteLine();
    return m_out.flush() ? 0 : -1;
}

void PrintableBuffer::WriteLine() {
    m_out << ORQExcWithoutControls(m_line, [](char32_t character, std::string& shown) {
        if (character == '\t') {
            shown += '\t';
        } else {
            shown += "\uFFFD";
        }
    });
    m_line.clear();
}

void PrintJson(std::ostream& out, const nlohmann::json& object) {
    PrintDumped(out, object.dump(2, ' ', false, kReplaceInvalid));
}

void PrintJsonLine(std::ostream& out, const nlohmann::json& object) {
    PrintDumped(out, object.dump(-1, ' ', false, kReplaceInvalid));
}

}  // namespace orqmodel
