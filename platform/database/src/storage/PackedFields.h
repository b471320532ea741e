// The fields of a record in one value. docs/storage-format.md shows one byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Rows.h"

namespace orq::storage {

/// One field; its text or bytes lie in the packed value.
struct PackedField {
    int number = 0;
    FieldKind kind = FieldKind::Int;
    FieldValue value;
};

/// Reads fields one after the other, in ascending order of their numbers.
class PackedFieldReader {
  public:
    explicit PackedFieldReader(Bytes packed);

    /// False at the end, and where no whole field follows.
    [[nodiscard]] bool Next();
    const PackedField& operator*() const { return m_field; }
    const PackedField* operator->() const { return &m_field; }
    /// Whether all was read, and nothing was wrong.
    bool IsAtEnd() const { return m_at == m_packed.size(); }
    /// Where the present field begins, and where the next one does.
    std::size_t Begin() const { return m_begin; }
    std::size_t End() const { return m_at; }

  private:
    bool ReadValue();
    // Throw nothing; false where the bytes end before.
    bool ReadNumber(std::uint64_t& number);
    bool Take(std::uint64_t nBytes, Bytes& bytes);

    Bytes m_packed;
    std::size_t m_begin = 0;
    std::size_t m_at = 0;
    PackedField m_field;
};

/// Whether a value is nothing but whole fields; one of no bytes has none.
bool ArePackedFields(Bytes packed);

/// Sets a field, in place of one that has its number. Strong guarantee. REQUIRES: packed fields, a
/// number that is not negative, and doubles as 8-byte numbers; the value does not lie in `packed`.
void PutPackedField(std::vector<std::byte>& packed, const PackedField& field);

}  // namespace orq::storage
