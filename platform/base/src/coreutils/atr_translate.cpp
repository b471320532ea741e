#include "atr_translate.h"

#include <cstddef>
#include <cstdio>

#include "ORQString.h"

namespace {

std::string Ascii(const ORQString& text) {
    std::string ascii;
    for (int i = 0; i < text.Length(); ++i) {
        const char32_t character = text[i];
        if (character < 0x80) {
            ascii += static_cast<char>(character);
            continue;
        }
        char escape[11];
        std::snprintf(escape, sizeof escape, character <= 0xFFFF ? "\\u%04X" : "\\U%08X",
                      static_cast<unsigned>(character));
        ascii += escape;
    }
    return ascii;
}

}  // namespace

atr_translate::atr_translate(const char* message, ORQBasStringMode mode)
    : m_message(message != nullptr ? message : ""), m_mode(mode) {}

atr_translate& atr_translate::atr_SubstituteFormat(std::vector<std::string> values) {
    m_values = std::move(values);
    return *this;
}

atr_String atr_translate::Result() const {
    std::string text;
    std::size_t at = 0;
    while (at < m_message.size()) {
        std::size_t end = at + 1;
        std::size_t number = 0;
        if (m_message[at] == '%') {
            while (end < m_message.size() && m_message[end] >= '0' && m_message[end] <= '9' &&
                   number <= m_values.size()) {
                number = number * 10 + static_cast<std::size_t>(m_message[end++] - '0');
            }
        }
        if (number >= 1 && number <= m_values.size()) {
            text += m_values[number - 1];
        } else {
            text.append(m_message, at, end - at);
        }
        at = end;
    }
    const ORQString wellFormed(text);
    return atr_String(m_mode == ORQBasStringMode::Ascii ? Ascii(wellFormed) : wellFormed.UTF8());
}
