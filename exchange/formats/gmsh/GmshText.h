#pragma once

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "ORQExcExportError.h"

namespace orq::exchange {

/// A text file of numbers and words, written in blocks.
class GmshText {
  public:
    explicit GmshText(const std::filesystem::path& file)
        : m_file(file), m_out(file, std::ios::binary) {
        m_buffer.reserve(kBlock + 1024);
    }

    GmshText& operator<<(std::string_view text) {
        m_buffer.append(text);
        if (m_buffer.size() >= kBlock) {
            Flush();
        }
        return *this;
    }
    /// Writes the shortest text that reads back the same.
    template <class Number>
    requires std::is_arithmetic_v<Number> GmshText& operator<<(Number number) {
        char digits[32];
        const auto end = std::to_chars(digits, digits + sizeof digits, number);
        return *this << std::string_view(digits, end.ptr);
    }

    /// Throws ORQExcExportError when something could not be written.
    void Close() {
        Flush();
        m_out.flush();
        if (!m_out) {
            throw ORQExcExportError(m_file.string() + ": cannot be written");
        }
    }

  private:
    // Lines are some tens of bytes; a stream costs as much for each as for a block.
    static constexpr std::size_t kBlock = 1 << 20;

    void Flush() {
        m_out.write(m_buffer.data(), static_cast<std::streamsize>(m_buffer.size()));
        m_buffer.clear();
    }

    std::filesystem::path m_file;
    std::ofstream m_out;
    std::string m_buffer;
};

/// A name between double quotes; the format has no escape for a quote within.
inline std::string GmshQuoted(std::string name) {
    std::ranges::replace(name, '"', '\'');
    std::ranges::replace(name, '\n', ' ');
    return '"' + name + '"';
}

}  // namespace orq::exchange
