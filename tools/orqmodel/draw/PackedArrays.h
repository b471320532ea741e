#pragma once

#include <array>
#include <cstdint>
#include <ostream>
#include <span>
#include <vector>

namespace orqmodel {

/// Text as base64, written as it comes.
class Base64Stream {
  public:
    explicit Base64Stream(std::ostream& out) : m_out(out) {}
    void Write(std::span<const std::uint8_t> bytes);
    /// Once, at the end.
    void Finish();

  private:
    std::ostream& m_out;
    std::array<std::uint8_t, 3> m_kept{};  // that are not a whole group yet
    std::size_t m_nKept = 0;
};

/// Arrays of whole numbers as one base64 text, in which those whose neighbours are alike take
/// little room: each array becomes differences between neighbours when that is asked for, then all
/// lowest bytes, all second ones and so on, then a zlib stream of its own. A script in a page takes
/// this apart again.
///
/// Holds one array at a time in memory, a few times.
class PackedArrays {
  public:
    enum class Coding { Plain, Differences };

    explicit PackedArrays(std::ostream& out) : m_text(out) {}

    /// Writes an array of numbers below 256 to the power of `nBytes`, from 1 to 4. Answers its
    /// place in the table.
    int Add(std::span<const std::uint32_t> numbers, int nBytes, Coding coding);
    void Finish() { m_text.Finish(); }

    /// For each array [numbers, bytes of a number, whether they are differences, packed bytes].
    const std::vector<std::array<std::size_t, 4>>& Table() const { return m_table; }
    std::size_t PackedBytes() const { return m_packedBytes; }

  private:
    Base64Stream m_text;
    std::vector<std::array<std::size_t, 4>> m_table;
    std::size_t m_packedBytes = 0;
};

}  // namespace orqmodel
