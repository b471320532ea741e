// The fields of a record in one value. docs/storage-format.md shows one byte by byte.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>
#include <vector>

#include "PackedCount.h"
#include "Rows.h"

namespace orq::storage {

/// One field.
struct PackedField {
    int number = 0;
    FieldKind kind = FieldKind::Int;
    FieldValue value;
};

/// Where a field lies among packed ones.
struct PackedPlace {
    int number = -1;
    FieldKind kind = FieldKind::Int;
    std::uint64_t count = 0;  // with which its value begins
    std::size_t end = 0;

    /// A text or bytes lie in the packed value. REQUIRES: the one in which it was found.
    FieldValue ValueIn(Bytes packed) const {
        const auto behindCount = [&](std::uint64_t nBytes) {
            return packed.first(end).last(static_cast<std::size_t>(nBytes));
        };
        switch (kind) {
            case FieldKind::String: {
                const Bytes text = behindCount(count);
                return std::string_view(reinterpret_cast<const char*>(text.data()), text.size());
            }
            case FieldKind::Doubles:
                return behindCount(count * sizeof(double));
            default: {
                const auto bits = static_cast<std::uint32_t>(count);
                return static_cast<int>((bits & 1) != 0 ? ~(bits >> 1) : bits >> 1);
            }
        }
    }
};

/// Reads fields one after the other, in ascending order of their numbers.
class PackedFieldReader {
  public:
    explicit PackedFieldReader(Bytes packed) : m_packed(packed) {
        if (!packed.empty() && packed[0] == kVersion) {
            m_begin = m_at = 1;
        }
    }

    /// False at the end, and where no whole field follows.
    [[nodiscard]] bool Next();
    int Number() const { return m_place.number; }
    FieldKind Kind() const { return m_place.kind; }
    FieldValue Value() const { return m_place.ValueIn(m_packed); }
    /// That of the present field.
    const PackedPlace& Place() const { return m_place; }
    /// Whether all was read, and nothing was wrong.
    bool IsAtEnd() const { return m_at == m_packed.size(); }
    /// Where the present field begins, and where the next one does.
    std::size_t Begin() const { return m_begin; }
    std::size_t End() const { return m_at; }

    // Stored, do not change.
    static constexpr std::byte kVersion{1};
    // A field's first count is its number, times this, plus its kind.
    static constexpr std::uint64_t kKinds = 8;

  private:
    // The bytes of each of those that are counted, by kind; an int is the count itself.
    static constexpr std::uint8_t kNone = 0xFF;
    static constexpr std::array<std::uint8_t, kKinds> kUnits = {kNone, 0, sizeof(double), 1,
                                                                0,     0, kNone,          kNone};

    Bytes m_packed;
    std::size_t m_begin = 0;
    std::size_t m_at = 0;  // 0 where the version is none that is known: nothing can be read
    PackedPlace m_place;
};

// Here, as all fields of a record are looked at wherever its row is read.
inline bool PackedFieldReader::Next() {
    constexpr std::uint64_t kMostFirst =
        (std::uint64_t{std::numeric_limits<int>::max()} + 1) * kKinds - 1;
    constexpr std::uint64_t kMostInt = std::numeric_limits<std::uint32_t>::max();
    m_begin = m_at;
    std::size_t at = m_at;
    std::uint64_t first = 0;
    std::uint64_t count = 0;
    if (at == 0 || !ReadCount(m_packed, at, first) || first > kMostFirst ||
        !ReadCount(m_packed, at, count)) {
        return false;
    }
    const auto number = static_cast<int>(first / kKinds);
    const std::uint64_t unit = kUnits[first % kKinds];
    // Bounded before it is multiplied: the product could exceed 64 bits.
    if (number <= m_place.number || unit == kNone ||
        count > (unit == 0 ? kMostInt : m_packed.size()) || count * unit > m_packed.size() - at) {
        return false;
    }
    m_at = at + static_cast<std::size_t>(count * unit);
    m_place = {number, static_cast<FieldKind>(first % kKinds), count, m_at};
    return true;
}

/// Whether a value is nothing but whole fields; one of no bytes has none.
bool ArePackedFields(Bytes packed);

/// Sets a field, in place of one that has its number. Strong guarantee. REQUIRES: packed fields, a
/// number that is not negative, and doubles as 8-byte numbers; the value does not lie in `packed`.
void PutPackedField(std::vector<std::byte>& packed, const PackedField& field);
/// The same for a field behind all that are there, which need not be looked through. REQUIRES: none
/// of them has its number or a higher one.
void AppendPackedField(std::vector<std::byte>& packed, const PackedField& field);

}  // namespace orq::storage
