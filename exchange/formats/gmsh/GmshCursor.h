#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "ORQExcImportError.h"

namespace orq::exchange {

/// The bytes of a file and a place in them; reads words of ASCII files and numbers of binary ones.
class GmshCursor {
  public:
    GmshCursor(const std::filesystem::path& file, std::string bytes)
        : m_file(file), m_bytes(std::move(bytes)) {}

    void SetBinary(bool isBinary, bool isSwapped) {
        m_isBinary = isBinary;
        m_isSwapped = isSwapped;
    }
    bool IsBinary() const { return m_isBinary; }
    std::size_t At() const { return m_at; }
    void GoTo(std::size_t at) { m_at = at; }
    void EnterSection(std::string name) { m_section = std::move(name); }

    [[noreturn]] void Fail(const std::string& message) const {
        // Lines are counted for an error only; counting while reading would cost on every file.
        const auto line = 1 + std::count(m_bytes.begin(),
                                         m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at), '\n');
        throw ORQExcImportError(m_file, m_section,
                                m_isBinary ? fmt::format("byte {}: {}", m_at, message)
                                           : fmt::format("line {}: {}", line, message));
    }

    bool AtEnd() {
        SkipBlanks();
        return m_at >= m_bytes.size();
    }

    std::string_view Word() {
        SkipBlanks();
        const std::size_t begin = m_at;
        while (m_at < m_bytes.size() && !IsBlank(m_bytes[m_at])) {
            ++m_at;
        }
        if (begin == m_at) {
            Fail("the file ends too early");
        }
        return std::string_view(m_bytes).substr(begin, m_at - begin);
    }

    /// Whether the next word begins the end mark of a section.
    bool AtMark() {
        SkipBlanks();
        return m_at < m_bytes.size() && m_bytes[m_at] == '$';
    }

    /// The rest of the line, without its end.
    std::string_view Line() {
        const std::size_t begin = m_at;
        const std::size_t end = std::min(m_bytes.find('\n', m_at), m_bytes.size());
        m_at = std::min(end + 1, m_bytes.size());
        std::string_view line = std::string_view(m_bytes).substr(begin, end - begin);
        return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
    }

    template <class T>
    T Text() {
        const std::string_view word = Word();
        T value{};
        const std::size_t sign = word.size() > 1 && word[0] == '+' && word[1] != '-' ? 1 : 0;
        const auto [end, error] =
            std::from_chars(word.data() + sign, word.data() + word.size(), value);
        if (error != std::errc() || end != word.data() + word.size()) {
            m_at -= word.size();
            Fail(fmt::format("\"{}\" is not a number that fits here", word.substr(0, 40)));
        }
        return value;
    }

    template <class T>
    T Raw() {
        if (m_bytes.size() - m_at < sizeof(T)) {
            Fail("the file ends too early");
        }
        std::array<char, sizeof(T)> bytes;
        std::memcpy(bytes.data(), m_bytes.data() + m_at, sizeof(T));
        m_at += sizeof(T);
        if (m_isSwapped) {
            std::ranges::reverse(bytes);
        }
        T value;
        std::memcpy(&value, bytes.data(), sizeof(T));
        return value;
    }

    int Int() { return m_isBinary ? Raw<std::int32_t>() : Text<int>(); }
    double Real() { return m_isBinary ? Raw<double>() : Text<double>(); }
    /// A count or tag of version 4; refused when it does not fit an int.
    int Size() {
        const auto value = m_isBinary ? Raw<std::uint64_t>() : Text<std::uint64_t>();
        if (value > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) {
            Fail(fmt::format("{} is more than is supported (2147483647)", value));
        }
        return static_cast<int>(value);
    }

    /// Refuses a count that the rest of the file cannot hold, before a buffer is made by it:
    /// `leastBytes` are those of the smallest possible item in a binary file; in ASCII a digit and
    /// a blank.
    int Counted(int count, std::size_t leastBytes, std::string_view what) const {
        const std::size_t least = m_isBinary ? leastBytes : 2;
        if (count < 0 || static_cast<std::size_t>(count) > (m_bytes.size() - m_at) / least) {
            Fail(fmt::format("{} {} cannot fit into the rest of the file", count, what));
        }
        return count;
    }

    void SkipLineEnd() {
        if (m_at < m_bytes.size() && m_bytes[m_at] == '\r') {
            ++m_at;
        }
        if (m_at < m_bytes.size() && m_bytes[m_at] == '\n') {
            ++m_at;
        }
    }

    /// Moves behind the end mark of a section; returns false when there is none.
    bool SkipTo(const std::string& mark) {
        const std::size_t found = m_bytes.find(mark, m_at);
        if (found == std::string::npos) {
            return false;
        }
        m_at = found + mark.size();
        return true;
    }

  private:
    static bool IsBlank(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
    void SkipBlanks() {
        while (m_at < m_bytes.size() && IsBlank(m_bytes[m_at])) {
            ++m_at;
        }
    }

    std::filesystem::path m_file;
    std::string m_bytes;
    std::size_t m_at = 0;
    std::string m_section = "$MeshFormat";
    bool m_isBinary = false;
    bool m_isSwapped = false;
};

}  // namespace orq::exchange
