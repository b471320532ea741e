#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ComponentSet.h"
#include "DatabaseState.h"
#include "TransferView.h"
#include "storage/Store.h"

namespace orq::database {

/// Moves rows of one drawer to a buffer, chunk by chunk.
class RowReader {
  public:
    /// The buffer is that of the whole view.
    RowReader(storage::ChunkStore& store, const DrawerState& drawer, const ViewOnDrawer& geometry,
              const ItemMover& mover, std::byte* buffer);

    /// The rows of a segment that the view covers.
    void Read(const ComponentSet& view, const DrawerSegment& segment);
    /// Rows that were moved.
    std::int64_t NumRows() const { return m_nRows; }

  private:
    void OpenChunkOf(std::int64_t row);

    std::byte* BufferAt(int viewLocation) const {
        return m_buffer + viewLocation * m_bufferRowBytes;
    }

    void ReadRun(RowRun run);

    // One row that is longer than a block of checksums: compares and copies what is asked for, and
    // leaves the rest of the row alone.
    void ReadLongRow(std::int64_t rowBegin, std::byte* buffer);

    // Ascending members, most of them alone; those that the segment lacks are passed over.
    void ReadScattered(std::span<const int> members, const DrawerSegment& segment);

    void GatherInChunk(std::span<const int> members, std::int64_t rowOfZero, std::byte* buffer);

    storage::ChunkStore& m_store;
    const DrawerState& m_drawer;
    const ViewOnDrawer& m_geometry;
    const ItemMover m_mover;
    std::byte* const m_buffer;
    const std::int64_t m_rowBytes;
    const std::int64_t m_bufferRowBytes;
    const std::int64_t m_rowsPerChunk;
    storage::ChunkStore::Reader m_chunk;
    std::int64_t m_chunkBegin = 0;
    std::int64_t m_chunkEnd = 0;  // rows [m_chunkBegin, m_chunkEnd) lie in m_chunk
    std::int64_t m_storedEnd = 0;
    std::int64_t m_nRows = 0;
};

}  // namespace orq::database
