#include "RowReader.h"

#include <algorithm>

namespace orq::database {

namespace {

// Bytes that are compared and then copied in one step: few enough that the copy finds them in the
// processor's cache.
constexpr std::int64_t kVerifyStep = 2 << 20;

// Rows that are longer are compared with their checksums part by part.
constexpr std::int64_t kLongRow = 64 << 10;

}  // namespace

RowReader::RowReader(storage::ChunkStore& store, const DrawerState& drawer,
                     const ViewOnDrawer& geometry, const ItemMover& mover, std::byte* buffer)
    : m_store(store),
      m_drawer(drawer),
      m_geometry(geometry),
      m_mover(mover),
      m_buffer(buffer),
      m_rowBytes(geometry.rowItems * mover.storeSize),
      m_bufferRowBytes(geometry.bufferRowStride * mover.bufferSize),
      m_rowsPerChunk(drawer.RowsPerChunk(mover.storeSize)) {}

void RowReader::Read(const ComponentSet& view, const DrawerSegment& segment) {
    // The common case of single nodes out of a whole mesh: members give rows by a subtraction, so
    // no runs have to be found.
    const bool areScattered = view.GetForm() == ComponentSet::Form::Sorted &&
                              segment.members->GetForm() == ComponentSet::Form::Contiguous &&
                              m_geometry.MovesWholeRows() && m_mover.isPlain;
    if (areScattered) {
        ReadScattered(view.Written(), segment);
    } else {
        ComponentSet::ForEachCommonRun(view, *segment.members,
                                       [&](int inView, int inSegment, int count) {
                                           ReadRun({segment.firstRow + inSegment, inView, count});
                                       });
    }
}

void RowReader::OpenChunkOf(std::int64_t row) {
    if (row >= m_chunkBegin && row < m_chunkEnd) {
        return;
    }
    const std::int64_t number = row / m_rowsPerChunk;
    m_chunk = m_store.Open(m_drawer.store, 0, number);
    m_chunkBegin = number * m_rowsPerChunk;
    m_chunkEnd = m_chunkBegin + m_rowsPerChunk;
    m_storedEnd = m_chunkBegin + m_chunk.Length() / m_rowBytes;
}

void RowReader::ReadRun(RowRun run) {
    m_nRows += run.count;
    while (run.count > 0) {
        OpenChunkOf(run.row);
        // A chunk ends with the last row that was written to it; the rows of the drawer behind it
        // are 0.
        const bool isStored = run.row < m_storedEnd;
        std::int64_t most = (isStored ? m_storedEnd : m_chunkEnd) - run.row;
        // Rows that move as they are, are compared while they are copied; others compared and
        // moved in turns, see kVerifyStep.
        const bool isFresh = isStored && !m_chunk.IsChecked();
        const bool isCopied = isFresh && m_geometry.MovesWholeRows() && m_mover.isPlain;
        if (isFresh && !isCopied) {
            most = std::min(most, std::max<std::int64_t>(1, kVerifyStep / m_rowBytes));
        }
        const auto count = static_cast<int>(std::min<std::int64_t>(run.count, most));
        if (isCopied) {
            const std::int64_t begin = (run.row - m_chunkBegin) * m_rowBytes;
            m_chunk.CopyTo(
                begin, begin + count * m_rowBytes,
                BufferAt(run.viewLocation) + m_geometry.pieces[0].inBuffer * m_mover.bufferSize);
        } else if (isFresh && m_rowBytes > kLongRow) {
            for (int i = 0; i < count; ++i) {
                ReadLongRow((run.row + i - m_chunkBegin) * m_rowBytes,
                            BufferAt(run.viewLocation + i));
            }
        } else if (isStored) {
            const std::int64_t begin = (run.row - m_chunkBegin) * m_rowBytes;
            RowsToBuffer(m_geometry, m_mover, m_chunk.Bytes(begin, begin + count * m_rowBytes),
                         count, BufferAt(run.viewLocation));
        } else {
            ZeroInBuffer(m_geometry, m_mover, count, BufferAt(run.viewLocation));
        }
        run.row += count;
        run.viewLocation += count;
        run.count -= count;
    }
}

void RowReader::ReadLongRow(std::int64_t rowBegin, std::byte* buffer) {
    const std::int64_t itemsAtOnce = kVerifyStep / m_mover.storeSize;
    for (const RowPiece& piece : m_geometry.pieces) {
        for (std::int64_t at = 0; at < piece.count; at += itemsAtOnce) {
            const std::int64_t count = std::min(itemsAtOnce, piece.count - at);
            const std::int64_t begin = rowBegin + (piece.inRow + at) * m_mover.storeSize;
            m_mover.toBuffer(
                buffer + (piece.inBuffer + at * piece.bufferStride) * m_mover.bufferSize,
                piece.bufferStride, m_chunk.Bytes(begin, begin + count * m_mover.storeSize), count);
        }
    }
}

void RowReader::ReadScattered(std::span<const int> members, const DrawerSegment& segment) {
    const std::int64_t rowOfZero = segment.firstRow - segment.members->First();
    const auto firstFrom = [&](std::int64_t row) {
        return std::ranges::lower_bound(members, row - rowOfZero) - members.begin();
    };
    const auto end = firstFrom(segment.firstRow + segment.members->Size());
    for (auto next = firstFrom(segment.firstRow); next < end;) {
        const auto at = static_cast<std::size_t>(next);
        OpenChunkOf(members[at] + rowOfZero);
        const auto chunkEnd = std::min(end, firstFrom(m_chunkEnd));
        const auto storedEnd = std::min(chunkEnd, firstFrom(m_storedEnd));
        if (next < storedEnd) {
            GatherInChunk(members.subspan(at, static_cast<std::size_t>(storedEnd - next)),
                          rowOfZero - m_chunkBegin, BufferAt(static_cast<int>(next)));
        }
        ZeroInBuffer(m_geometry, m_mover, static_cast<int>(chunkEnd - storedEnd),
                     BufferAt(static_cast<int>(storedEnd)));
        m_nRows += chunkEnd - next;
        next = chunkEnd;
    }
}

void RowReader::GatherInChunk(std::span<const int> members, std::int64_t rowOfZero,
                              std::byte* buffer) {
    if (!m_chunk.IsChecked()) {
        // Bytes() compares the checksums of the blocks that it returns, and the gathering below
        // reads through the pointer to the first row.
        for (const int member : members) {
            const std::int64_t begin = (member + rowOfZero) * m_rowBytes;
            m_chunk.Bytes(begin, begin + m_rowBytes);
        }
    }
    const std::int64_t begin = (members.front() + rowOfZero) * m_rowBytes;
    GatherRows(m_geometry, m_mover, m_chunk.Bytes(begin, begin + m_rowBytes), members, buffer);
}

}  // namespace orq::database
