// The cells of a sparse drawer: for each row of dimension 0 the stored cells along dimension 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "DatabaseState.h"
#include "TransferView.h"

namespace orq::database {

// The part of a sparse drawer that a view covers, in compressed rows. Example: the view has rows
// {4, 9} and columns {10, 20, 30}, and cells (4, 20), (9, 10), (9, 30) are stored:
//   map {0, 1, 3}   columns {1, 0, 2}   values {v(4,20), v(9,10), v(9,30)}
class SparseRows {
  public:
    static SparseRows Read(DatabaseState& state, const DistributionState& distribution,
                           const DrawerState& drawer, const std::vector<ComponentSetPtr>& view);
    // Throws Usage for a map that does not rise from 0 to the number of indices, and for an index
    // outside the columns.
    static void Check(std::span<const std::int32_t> indices, std::span<const std::int32_t> map,
                      int nColumns);
    // Stores all cells of a drawer that was just made; they must have passed Check.
    static void Write(DatabaseState& state, const DistributionState& distribution,
                      const DrawerState& drawer, const ItemMover& mover, const std::byte* values,
                      std::span<const std::int32_t> indices, std::span<const std::int32_t> map);

    // The number of cells that a drawer stores.
    static std::int64_t NumStored(DatabaseState& state, const DrawerState& drawer);

    std::int64_t NumValues() const { return static_cast<std::int64_t>(m_columns.size()); }
    // Writes each value to its cell of a row-major buffer of the view; returns how many.
    std::int64_t Scatter(const ItemMover& mover, std::byte* buffer) const;
    // Writes the three arrays.
    void CopyTo(const ItemMover& mover, std::byte* values, std::byte* indices,
                std::byte* map) const;

  private:
    std::int64_t m_nViewColumns = 0;
    std::vector<std::int32_t> m_map;      // rows of the view + 1
    std::vector<std::int32_t> m_columns;  // locations in the view
    std::vector<std::byte> m_values;      // as stored
};

}  // namespace orq::database
