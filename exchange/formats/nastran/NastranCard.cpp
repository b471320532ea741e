#include "formats/nastran/NastranCard.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>

namespace orq::exchange {
namespace {

template <class T>
std::optional<T> Parsed(std::string_view text) {
    // from_chars refuses a plus sign.
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    // What from_chars knows beyond digits ("inf", "nan", another sign) is no number here.
    const std::size_t first = text.starts_with('-') ? 1 : 0;
    if (first >= text.size() ||
        (text[first] != '.' && std::isdigit(static_cast<unsigned char>(text[first])) == 0)) {
        return std::nullopt;
    }
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value)
                                                                    : std::nullopt;
}

}  // namespace

std::string_view BulkTrimmed(std::string_view text) {
    // Every field of every card passes here, so no search for a set of characters.
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    const char* begin = text.data();
    const char* end = begin + text.size();
    while (begin != end && isBlank(*begin)) {
        ++begin;
    }
    while (begin != end && isBlank(end[-1])) {
        --end;
    }
    return {begin, static_cast<std::size_t>(end - begin)};
}

std::string BulkUpper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return upper;
}

std::optional<int> BulkInt(std::string_view text) {
    return Parsed<int>(text);
}

std::optional<double> BulkReal(std::string_view text) {
    if (const auto value = Parsed<double>(text)) {
        return value;
    }
    // An exponent may be marked by D, or by its sign alone; a sign in the first place is that of
    // the number.
    const std::size_t mark = text.find_first_of("dD");
    const std::size_t exponent =
        mark != std::string_view::npos ? mark : text.find_first_of("+-", 1);
    if (exponent == std::string_view::npos || exponent == 0 ||
        text.find_first_of("eE") != std::string_view::npos) {
        return std::nullopt;
    }
    std::string spelt(text.substr(0, exponent));
    spelt.append("e").append(text.substr(exponent + (mark == exponent ? 1 : 0)));
    return Parsed<double>(spelt);
}

std::string BulkFieldName(int field) {
    // Ten columns a line: the first holds the name, the last the continuation mark.
    return fmt::format("field {}", (field - 1) / 8 * 10 + (field - 1) % 8 + 2);
}

std::string_view BulkCard::Text(int field) const {
    return field > NumFields() ? std::string_view{}
                               : BulkTrimmed(m_fields[static_cast<std::size_t>(field - 1)]);
}

bool BulkCard::IsInt(int field) const {
    return BulkInt(Text(field)).has_value();
}

bool BulkCard::Is(int field, std::string_view word) const {
    return std::ranges::equal(Text(field), word, [](char a, char b) {
        return std::toupper(static_cast<unsigned char>(a)) == b;
    });
}

std::optional<int> BulkCard::Int(int field) const {
    const std::string_view text = Text(field);
    const auto value = BulkInt(text);
    if (!value && !text.empty()) {
        Complain(field, fmt::format("\"{}\" is not an integer that fits", text));
    }
    return value;
}

std::optional<int> BulkCard::Label(int field) const {
    const auto label = Int(field);
    if (label && *label < 1) {
        Complain(field, fmt::format("{} is below 1", *label));
        return std::nullopt;
    }
    return label;
}

std::optional<int> BulkCard::NeededLabel(int field) const {
    if (IsBlank(field)) {
        Complain(field, "is blank; a number is needed");
    }
    return Label(field);
}

std::optional<double> BulkCard::Real(int field) const {
    const std::string_view text = Text(field);
    const auto value = BulkReal(text);
    if (!value && !text.empty()) {
        Complain(field, fmt::format("\"{}\" is not a number that fits", text));
    }
    return value;
}

void BulkCard::Complain(int field, std::string_view message) const {
    Complain(fmt::format("{}: {}", BulkFieldName(field), message));
}

void BulkCard::Complain(std::string_view message) const {
    m_isBroken = true;
    const std::string told = fmt::format("{}: {}", Called(), message);
    if (m_isNeeded) {
        m_problems->Add(m_place, told);
    } else {
        m_problems->Find(m_place, "card", Called(), told);
    }
}

void BulkCard::Remark(int field, std::string_view message) const {
    m_problems->Find(m_place, "card", Called(),
                     fmt::format("{}: {}: {}", Called(), BulkFieldName(field), message));
}

std::string BulkCard::Called() const {
    const std::string_view label = Text(1);
    return BulkInt(label) ? fmt::format("{} {}", m_name, label) : m_name;
}

}  // namespace orq::exchange
