// The dimensions of a drawer in one value of its row. docs/storage-format.md shows one byte by
// byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Rows.h"

namespace orq::storage {

/// How the members of a drawer along one dimension are written down. Stored, do not change.
enum class DimensionForm : int {
    Set = 0,   // a component set, 0 for the empty one
    Run = 1,   // `count` members from `first` on
    Rows = 2,  // those of the drawer's segments, which ascend, or keep their order where `set` is 1
};

/// One dimension.
struct PackedDimension {
    DimensionForm form = DimensionForm::Set;
    int chunk = 0;
    int set = 0;
    int first = 0;
    int count = 0;
};

/// Reads dimensions one after the other, from dimension 0 on.
class PackedDimensionReader {
  public:
    explicit PackedDimensionReader(Bytes packed);

    /// False at the end, and where no whole dimension follows.
    [[nodiscard]] bool Next();
    const PackedDimension& Dimension() const { return m_dimension; }
    /// Whether all was read, and nothing was wrong.
    bool IsAtEnd() const { return m_at == m_packed.size(); }

  private:
    bool Read(std::size_t& at, int& number) const;

    Bytes m_packed;
    std::size_t m_at = 0;
    PackedDimension m_dimension;
};

/// Whether a value is nothing but whole dimensions; one of no bytes has none.
bool ArePackedDimensions(Bytes packed);

/// Puts a dimension behind those that are there.
void AddPackedDimension(std::vector<std::byte>& packed, const PackedDimension& dimension);

}  // namespace orq::storage
