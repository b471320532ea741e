#pragma once

#include <optional>
#include <string>
#include <string_view>

/// A checked number format: one conversion with the texts before and after it, where "%%" reads as
/// a percent sign.
struct ORQNumberFormat {
    std::string before;
    std::string after;
    bool leftAligned = false;
    bool zeroPadded = false;
    char plus = 0;  ///< what stands before a number that is not negative: '+', ' ' or nothing
    int width = 0;
    int precision = -1;  ///< -1 when the format gives none
    char conversion = 0;

    /// Nothing when the format has not exactly one conversion or one that is not in `conversions`.
    static std::optional<ORQNumberFormat> Parse(std::string_view format,
                                                std::string_view conversions);

    /// The whole text for a number whose sign and digits are given; `mayPad` allows leading zeros.
    std::string Compose(bool negative, const std::string& digits, bool mayPad) const;

    /// The part of a text that the number occupies, blanks before it skipped; nothing when the
    /// texts around it differ from the format's.
    std::optional<std::string_view> NumberIn(std::string_view text) const;
};
