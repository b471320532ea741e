#include "ORQNumberFormat.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t s_maxDigits = 3;  // of a width or precision

// Takes the literal text up to the next conversion off the format; its "%" is left in front.
std::string TakeLiteral(std::string_view& format) {
    std::string literal;
    while (!format.empty() && (format[0] != '%' || format.substr(0, 2) == "%%")) {
        literal += format[0];
        format.remove_prefix(format[0] == '%' ? 2 : 1);
    }
    return literal;
}

// Takes a number off the format; 0 when there is none, nothing when it is too long.
std::optional<int> TakeNumber(std::string_view& format) {
    const std::size_t digits = std::min(format.find_first_not_of("0123456789"), format.size());
    if (digits > s_maxDigits) {
        return std::nullopt;
    }
    int number = 0;
    for (const char digit : format.substr(0, digits)) {
        number = number * 10 + (digit - '0');
    }
    format.remove_prefix(digits);
    return number;
}

}  // namespace

std::optional<ORQNumberFormat> ORQNumberFormat::Parse(std::string_view format,
                                                      std::string_view conversions) {
    ORQNumberFormat parsed;
    parsed.before = TakeLiteral(format);
    if (format.empty()) {
        return std::nullopt;
    }
    format.remove_prefix(1);
    for (; !format.empty(); format.remove_prefix(1)) {
        if (format[0] == '-') {
            parsed.leftAligned = true;
        } else if (format[0] == '0') {
            parsed.zeroPadded = true;
        } else if (format[0] == '+' || (format[0] == ' ' && parsed.plus == 0)) {
            parsed.plus = format[0];
        } else if (format[0] != ' ') {
            break;
        }
    }
    const std::optional<int> width = TakeNumber(format);
    std::optional<int> precision = -1;
    if (!format.empty() && format[0] == '.') {
        format.remove_prefix(1);
        precision = TakeNumber(format);
    }
    if (!width || !precision || format.empty() ||
        conversions.find(format[0]) == std::string_view::npos) {
        return std::nullopt;
    }
    parsed.width = *width;
    parsed.precision = *precision;
    parsed.conversion = format[0];
    format.remove_prefix(1);
    parsed.after = TakeLiteral(format);
    if (!format.empty()) {
        return std::nullopt;
    }
    return parsed;
}

std::string ORQNumberFormat::Compose(bool negative, const std::string& digits, bool mayPad) const {
    std::string sign;
    if (negative) {
        sign = "-";
    } else if (plus != 0) {
        sign = plus;
    }
    const std::size_t used = sign.size() + digits.size();
    const std::size_t missing = std::max(static_cast<std::size_t>(width), used) - used;
    if (leftAligned) {
        return before + sign + digits + std::string(missing, ' ') + after;
    }
    if (zeroPadded && mayPad) {
        return before + sign + std::string(missing, '0') + digits + after;
    }
    return before + std::string(missing, ' ') + sign + digits + after;
}

std::optional<std::string_view> ORQNumberFormat::NumberIn(std::string_view text) const {
    if (text.size() < before.size() + after.size() || !text.starts_with(before) ||
        !text.ends_with(after)) {
        return std::nullopt;
    }
    text.remove_prefix(before.size());
    text.remove_suffix(after.size());
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text;
}
