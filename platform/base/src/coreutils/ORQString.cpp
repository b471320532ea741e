#include "ORQString.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <system_error>

#include "ORQBasAssertException.h"
#include "ORQNumberFormat.h"

namespace {

constexpr std::string_view s_intConversions = "diuxXo";
constexpr std::string_view s_doubleConversions = "fFeEgG";
constexpr std::string_view s_replacement = "\xEF\xBF\xBD";  // U+FFFD

std::string_view View(const char* text) {
    return text != nullptr ? text : "";
}

bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

// How many bytes at the beginning are ASCII: of most texts, all.
std::size_t AsciiLength(std::string_view text) {
    constexpr std::uint64_t kOther = 0x8080808080808080;
    std::size_t length = 0;
    for (std::uint64_t bytes = 0; text.size() - length >= sizeof bytes; length += sizeof bytes) {
        std::memcpy(&bytes, text.data() + length, sizeof bytes);
        if ((bytes & kOther) != 0) {
            break;
        }
    }
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80) {
        ++length;
    }
    return length;
}

// The number of bytes of a character by its first byte; 0 for one that begins no character.
int SequenceLength(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    // C0 and C1 could only begin overlong forms, F5 and above characters beyond U+10FFFF.
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// The character whose bytes are the first `length` of the text, all of them well-formed by
// themselves.
char32_t Decode(std::string_view text, int length) {
    const auto first = static_cast<unsigned char>(text[0]);
    char32_t character = length == 1 ? first : first & (0xFFU >> (length + 1));
    for (int i = 1; i < length; ++i) {
        character = character << 6 |
                    (static_cast<unsigned char>(text[static_cast<std::size_t>(i)]) & 0x3FU);
    }
    return character;
}

// The number of bytes of the well-formed character that the text begins with; 0 when there is none.
int WellFormedLength(std::string_view text) {
    const int length = SequenceLength(static_cast<unsigned char>(text[0]));
    if (length == 0 || static_cast<std::size_t>(length) > text.size() ||
        !std::all_of(text.begin() + 1, text.begin() + length, IsContinuation)) {
        return 0;
    }
    const char32_t character = Decode(text, length);
    const bool overlong =
        (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return overlong || surrogate || character > 0x10FFFF ? 0 : length;
}

struct Checked {
    std::string utf8;
    int length = 0;
    bool wellFormed = true;
};

// The text with each malformed byte replaced, its number of characters, and whether it was
// well-formed.
Checked Check(std::string_view bytes) {
    Checked checked;
    checked.utf8.reserve(bytes.size());
    while (!bytes.empty()) {
        if (const std::size_t nAscii = AsciiLength(bytes); nAscii > 0) {
            checked.utf8 += bytes.substr(0, nAscii);
            checked.length += static_cast<int>(nAscii);
            bytes.remove_prefix(nAscii);
            continue;
        }
        const int length = WellFormedLength(bytes);
        checked.utf8 +=
            length != 0 ? bytes.substr(0, static_cast<std::size_t>(length)) : s_replacement;
        checked.wellFormed = checked.wellFormed && length != 0;
        bytes.remove_prefix(static_cast<std::size_t>(std::max(length, 1)));
        ++checked.length;
    }
    return checked;
}

int CountCharacters(std::string_view utf8) {
    return static_cast<int>(utf8.size() - static_cast<std::size_t>(std::count_if(
                                              utf8.begin(), utf8.end(), IsContinuation)));
}

std::string UpperCase(std::string ascii) {
    for (char& c : ascii) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return ascii;
}

int BaseOf(char conversion) {
    switch (conversion) {
        case 'x':
        case 'X':
            return 16;
        case 'o':
            return 8;
        default:
            return 10;
    }
}

bool IsSigned(char conversion) {
    return conversion == 'd' || conversion == 'i';
}

std::chars_format StyleOf(char conversion) {
    switch (conversion) {
        case 'f':
        case 'F':
            return std::chars_format::fixed;
        case 'e':
        case 'E':
            return std::chars_format::scientific;
        default:
            return std::chars_format::general;
    }
}

// The whole of the text as a number; a leading '+' is allowed as the C library does.
template <class Number, class Style>
ORQStringResult Read(std::string_view text, Style style, Number& number) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    Number read{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read, style);
    if (error == std::errc::result_out_of_range) {
        return ORQStringResult::OutOfRange;
    }
    if (error != std::errc() || end != text.data() + text.size()) {
        return ORQStringResult::NotANumber;
    }
    number = read;
    return ORQStringResult::Ok;
}

}  // namespace

ORQString::ORQString(const char* utf8) : ORQString(View(utf8)) {}

ORQString::ORQString(std::string_view utf8) : m_utf8(utf8), m_length(ByteLength()) {
    if (AsciiLength(utf8) < utf8.size()) {
        Checked checked = Check(utf8);
        m_utf8 = std::move(checked.utf8);
        m_length = checked.length;
    }
}

std::size_t ORQString::ByteOffset(int index) const {
    if (IsAscii()) {
        return static_cast<std::size_t>(index);
    }
    std::size_t offset = 0;
    for (; index > 0; --index) {
        offset +=
            static_cast<std::size_t>(SequenceLength(static_cast<unsigned char>(m_utf8[offset])));
    }
    return offset;
}

void ORQString::CheckRange(int first, int count) const {
    if (first < 0 || first > m_length) {
        // The file's name alone: __FILE__ would hold the path of the machine that built it.
        ORQBasThrowIndexOutOfRange(first, m_length + std::int64_t{1}, "ORQString.cpp", __LINE__);
    }
    if (count < 0) {
        ORQBasAssertException("count >= 0").Throw("ORQString.cpp", __LINE__);
    }
}

char32_t ORQString::operator[](int index) const {
    if (index < 0 || index >= m_length) {
        ORQBasThrowIndexOutOfRange(index, m_length, "ORQString.cpp", __LINE__);
    }
    const std::string_view rest = std::string_view(m_utf8).substr(ByteOffset(index));
    return Decode(rest, SequenceLength(static_cast<unsigned char>(rest[0])));
}

ORQString& ORQString::Append(const ORQString& text) {
    const int added = text.m_length;  // read first: the text may be this one
    m_utf8 += text.m_utf8;
    m_length += added;
    return *this;
}

ORQString& ORQString::Append(const char* text) {
    const std::string_view bytes = View(text);
    if (AsciiLength(bytes) != bytes.size()) {
        return Append(ORQString(bytes));
    }
    m_utf8 += bytes;
    m_length += static_cast<int>(bytes.size());
    return *this;
}

ORQString& ORQString::Append(int number) {
    return Append(ORQString(std::to_string(number)));
}

ORQString ORQString::SubString(int first, int count) const {
    CheckRange(first, count);
    ORQString part;
    part.m_length = std::min(count, m_length - first);
    const std::size_t begin = ByteOffset(first);
    part.m_utf8 = m_utf8.substr(begin, ByteOffset(first + part.m_length) - begin);
    return part;
}

ORQString ORQString::SubString(int first) const {
    return SubString(first, m_length);
}

int ORQString::FindPosition(const ORQString& text, int from) const {
    if (from < 0) {
        ORQBasThrowIndexOutOfRange(from, m_length, "ORQString.cpp", __LINE__);
    }
    if (from >= m_length) {
        return m_length;
    }
    const std::size_t found = m_utf8.find(text.m_utf8, ByteOffset(from));
    return found == std::string::npos ? m_length
                                      : CountCharacters(std::string_view(m_utf8).substr(0, found));
}

void ORQString::Remove(int first, int count) {
    CheckRange(first, count);
    const int removed = std::min(count, m_length - first);
    const std::size_t begin = ByteOffset(first);
    m_utf8.erase(begin, ByteOffset(first + removed) - begin);
    m_length -= removed;
}

int ORQString::ReplaceAll(const ORQString& text, const ORQString& replacement) {
    if (text.IsEmpty()) {
        return 0;
    }
    // Built anew, since replacing in place would move the rest of the text each time.
    std::string result;
    int count = 0;
    std::size_t at = 0;
    for (std::size_t found = m_utf8.find(text.m_utf8); found != std::string::npos;
         found = m_utf8.find(text.m_utf8, at)) {
        result.append(m_utf8, at, found - at).append(replacement.m_utf8);
        at = found + text.m_utf8.size();
        ++count;
    }
    result.append(m_utf8, at);
    const int length = m_length + count * (replacement.m_length - text.m_length);
    m_utf8 = std::move(result);
    m_length = length;
    return count;
}

void ORQString::Reset() {
    *this = ORQString();
}

ORQStringResult ORQString::BuildFromUTF8(const char* utf8) {
    return BuildFromUTF8(View(utf8));
}

ORQStringResult ORQString::BuildFromUTF8(std::string_view utf8) {
    Checked checked = Check(utf8);
    if (!checked.wellFormed) {
        return ORQStringResult::InvalidUTF8;
    }
    m_utf8 = std::move(checked.utf8);
    m_length = checked.length;
    return ORQStringResult::Ok;
}

ORQStringResult ORQString::BuildFromNum(int number, const char* format) {
    const auto parsed = ORQNumberFormat::Parse(View(format), s_intConversions);
    if (!parsed) {
        return ORQStringResult::BadFormat;
    }
    // The magnitude is taken without a sign, since the lowest int has no positive counterpart.
    const bool negative = IsSigned(parsed->conversion) && number < 0;
    const auto bits = static_cast<std::uint32_t>(number);
    // Most digits: 11, of 32 bits in octal.
    char buffer[16];
    const auto written = std::to_chars(std::begin(buffer), std::end(buffer),
                                       negative ? 0U - bits : bits, BaseOf(parsed->conversion));
    std::string digits(buffer, written.ptr);
    const auto least = static_cast<std::size_t>(std::max(parsed->precision, 0));
    digits.insert(0, std::max(least, digits.size()) - digits.size(), '0');
    if (parsed->precision == 0 && number == 0) {
        digits.clear();
    }
    if (parsed->conversion == 'X') {
        digits = UpperCase(std::move(digits));
    }
    *this = ORQString(parsed->Compose(negative, digits, parsed->precision < 0));
    return ORQStringResult::Ok;
}

ORQStringResult ORQString::BuildFromNum(double number, const char* format) {
    const auto parsed = ORQNumberFormat::Parse(View(format), s_doubleConversions);
    if (!parsed) {
        return ORQStringResult::BadFormat;
    }
    const int precision = parsed->precision < 0 ? 6 : parsed->precision;
    char buffer[1500];  // the largest double has 309 digits before the point, and at most 999
                        // follow it
    const auto written = std::to_chars(std::begin(buffer), std::end(buffer), std::abs(number),
                                       StyleOf(parsed->conversion), precision);
    std::string digits(buffer, written.ptr);
    if (parsed->conversion >= 'A' && parsed->conversion <= 'Z') {
        digits = UpperCase(std::move(digits));
    }
    *this = ORQString(parsed->Compose(std::signbit(number), digits, std::isfinite(number)));
    return ORQStringResult::Ok;
}

ORQStringResult ORQString::ConvertToNum(int& number, const char* format) const {
    const auto parsed = ORQNumberFormat::Parse(View(format), s_intConversions);
    if (!parsed) {
        return ORQStringResult::BadFormat;
    }
    const auto text = parsed->NumberIn(m_utf8);
    return text ? Read(*text, BaseOf(parsed->conversion), number) : ORQStringResult::NotANumber;
}

ORQStringResult ORQString::ConvertToNum(double& number, const char* format) const {
    const auto parsed = ORQNumberFormat::Parse(View(format), s_doubleConversions);
    if (!parsed) {
        return ORQStringResult::BadFormat;
    }
    const auto text = parsed->NumberIn(m_utf8);
    return text ? Read(*text, std::chars_format::general, number) : ORQStringResult::NotANumber;
}
