/// Values of a distribution where they lie in the database's file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ORQBasExport.h"
#include "ORQSimCSet.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"

/// The cells of a view as one array in memory that is the file itself, for who reads many values and
/// needs no copy of them: row after row in the order of the dimensions, of the distribution's type.
///
/// There is one only where the file has the array so: the database is open for reading alone, one
/// dense drawer holds the view, which has consecutive rows of it and all of each row; where these lie
/// in several chunks, a whole chunk is a multiple of 4096 bytes. Of an array of up to 2048 bytes, which
/// stands in the catalogue, it is a copy. Everything has been compared with its checksums.
///
/// Keeps the database open, and the values where they are. REQUIRES, as long as one is used: nobody
/// calls Close or Refresh on the database; its bytes may be others then. A file that somebody truncates
/// under it ends the process by SIGBUS, as it does under every memory map.
class ORQ_EXPORT ORQSimMapping {
  public:
    ORQSimMapping() = default;
    /// The values of the product of the sets, one for each dimension; none where there is no such
    /// array, and for no values. Costs a map and, at first, a pass over the bytes. Throws Damaged, and
    /// Usage when the database is closed.
    static ORQSimMapping Of(const ORQSimDistribution& distribution,
                            const std::vector<ORQSimCSet>& view);

    bool IsNull() const { return m_bytes == nullptr; }
    /// Valid as long as a copy of this.
    const void* Data() const { return m_bytes.get(); }
    std::int64_t Size() const { return m_size; }  ///< in bytes

  private:
    ORQSimDatabase m_database;  // ends after the bytes
    std::shared_ptr<const std::byte> m_bytes;
    std::int64_t m_size = 0;
};
