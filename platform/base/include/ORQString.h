#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "ORQBasExport.h"

/// What became of a conversion from or to an ORQString. On anything but Ok nothing was changed.
enum class ORQStringResult {
    Ok = 0,
    InvalidUTF8,  ///< the bytes are not well-formed UTF-8
    BadFormat,   ///< the format has not exactly one conversion, or one that does not fit the number
    NotANumber,  ///< the text does not read as the format says
    OutOfRange   ///< the number does not fit the type
};

/// Unicode text, held as well-formed UTF-8. A value type.
///
/// Lengths, indices and counts are in characters (code points), from 0, unless their name says
/// bytes. Work per character position takes constant time while the text is ASCII and time linear
/// in the text otherwise.
///
/// Narrow strings are UTF-8 ended by a null byte; a null pointer reads as the empty text, and where
/// no result code is returned each malformed byte reads as U+FFFD.
///
/// Number formats are those of the C library with exactly one conversion and optional text around
/// it ("%%" for a percent sign): d, i, u, x, X, o for ints and f, F, e, E, g, G for doubles, with
/// the flags '-', '+', ' ' and '0', a width and a precision of at most three digits. The decimal
/// sign is always a point.
class ORQ_EXPORT ORQString {
  public:
    ORQString() = default;
    ORQString(const char* utf8);
    ORQString(std::string_view utf8);
    ORQString(const std::string& utf8) : ORQString(std::string_view(utf8)) {}
    ORQString(const ORQString&) = default;
    /// Leaves the empty text behind.
    ORQString(ORQString&& other) noexcept { Swap(other); }
    ORQString& operator=(ORQString other) noexcept {
        Swap(other);
        return *this;
    }
    ~ORQString() = default;

    void Swap(ORQString& other) noexcept {
        m_utf8.swap(other.m_utf8);
        std::swap(m_length, other.m_length);
    }

    int Length() const { return m_length; }
    int ByteLength() const { return static_cast<int>(m_utf8.size()); }
    bool IsEmpty() const { return m_utf8.empty(); }
    /// Valid until the string changes or ends.
    const std::string& UTF8() const { return m_utf8; }

    /// Throws ORQBasAssertException when the index is not in [0, Length()).
    char32_t operator[](int index) const;

    ORQString& Append(const ORQString& text);
    ORQString& Append(const char* text);
    /// Appends the number in decimal.
    ORQString& Append(int number);
    /// A single char is neither a text nor a number.
    ORQString& Append(char) = delete;

    /// The characters [first, first + count), or up to the end when there are fewer.
    /// Throws ORQBasAssertException when `first` is not in [0, Length()] or the count is negative.
    ORQString SubString(int first, int count) const;
    /// The characters from `first` to the end.
    ORQString SubString(int first) const;

    /// Where the first occurrence at or after `from` begins; Length(), which is no position, when
    /// there is none. The empty text is found at `from`. A `from` of Length() or more finds
    /// nothing. Throws ORQBasAssertException when `from` is negative.
    int FindPosition(const ORQString& text, int from = 0) const;

    /// Removes the characters [first, first + count), or up to the end when there are fewer. Throws
    /// as SubString().
    void Remove(int first, int count);

    /// Replaces every occurrence, from left to right and without overlap, and returns their number.
    /// The empty text occurs nowhere.
    int ReplaceAll(const ORQString& text, const ORQString& replacement);

    void Reset();

    [[nodiscard]] ORQStringResult BuildFromUTF8(const char* utf8);
    [[nodiscard]] ORQStringResult BuildFromUTF8(std::string_view utf8);

    [[nodiscard]] ORQStringResult BuildFromNum(int number, const char* format);
    [[nodiscard]] ORQStringResult BuildFromNum(double number, const char* format);

    /// Reads the whole text by the format; blanks before the number are skipped. Flags, width and
    /// precision have no effect.
    [[nodiscard]] ORQStringResult ConvertToNum(int& number, const char* format) const;
    [[nodiscard]] ORQStringResult ConvertToNum(double& number, const char* format) const;

    /// Negative, 0 or positive; by code points, regardless of any language.
    int Compare(const ORQString& other) const { return m_utf8.compare(other.m_utf8); }

    friend bool operator==(const ORQString& a, const ORQString& b) { return a.m_utf8 == b.m_utf8; }
    friend std::strong_ordering operator<=>(const ORQString& a, const ORQString& b) {
        return a.m_utf8 <=> b.m_utf8;
    }
    /// Compares bytes; null equals the empty text.
    friend bool operator==(const ORQString& a, const char* b) {
        return a.m_utf8 == (b != nullptr ? b : "");
    }

    friend ORQString operator+(ORQString a, const ORQString& b) { return std::move(a.Append(b)); }
    friend ORQString operator+(ORQString a, const char* b) { return std::move(a.Append(b)); }
    friend ORQString operator+(const char* a, const ORQString& b) { return ORQString(a).Append(b); }
    friend ORQString operator+(ORQString a, int b) { return std::move(a.Append(b)); }
    friend ORQString operator+(const ORQString&, char) = delete;

  private:
    bool IsAscii() const { return m_length == ByteLength(); }
    std::size_t ByteOffset(int index) const;
    void CheckRange(int first, int count) const;

    std::string m_utf8;
    int m_length = 0;
};
