// The fields of a record in one value. docs/storage-format.md shows one byte by byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "Rows.h"

namespace orq::storage {

/// One field.
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
    int Number() const { return m_number; }
    FieldKind Kind() const { return m_kind; }
    /// A text or bytes lie in the packed value.
    FieldValue Value() const;
    PackedField Field() const { return {m_number, m_kind, Value()}; }
    /// Whether all was read, and nothing was wrong.
    bool IsAtEnd() const { return m_at == m_packed.size(); }
    /// Where the present field begins, and where the next one does.
    std::size_t Begin() const { return m_begin; }
    std::size_t End() const { return m_at; }

  private:
    // Past the whole field at `at`, or 0 where none lies there.
    std::size_t Skip(std::size_t at);

    Bytes m_packed;
    std::size_t m_begin = 0;
    std::size_t m_value = 0;  // where the present field's bytes begin
    std::size_t m_at = 0;
    int m_number = -1;
    FieldKind m_kind = FieldKind::Int;
};

/// Whether a value is nothing but whole fields; one of no bytes has none.
bool ArePackedFields(Bytes packed);

/// Sets a field, in place of one that has its number. Strong guarantee. REQUIRES: packed fields, a
/// number that is not negative, and doubles as 8-byte numbers; the value does not lie in `packed`.
void PutPackedField(std::vector<std::byte>& packed, const PackedField& field);
/// The same for a field behind all that are there, which need not be looked through. REQUIRES: none
/// of them has its number or a higher one.
void AppendPackedField(std::vector<std::byte>& packed, const PackedField& field);

}  // namespace orq::storage
