// The geometry of a transfer: where the cells of a view lie in a buffer and in a drawer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ComponentSet.h"
#include "DatabaseState.h"

namespace orq::database {

// A run of rows of a drawer that a view covers.
struct RowRun {
    std::int64_t row;
    int viewLocation;  // along the row dimension
    int count;
};

// Neighbouring cells of one row, and where they stand in the buffer. In items.
struct RowPiece {
    std::int64_t inRow;
    std::int64_t inBuffer;  // from the row's own offset on
    std::int64_t count;
    std::int64_t bufferStride;
};

// How a view meets a drawer. Example: a drawer of nodes x 3 components, asked for components
// {1, 3} of nodes {10, 11, 40}: pieces {0 -> 0, 1 item}, {2 -> 1, 1 item}; rows {10..11 at 0},
// {40 at 2}; bufferRowStride 2.
struct ViewOnDrawer {
    std::int64_t rowItems = 0;         // items in one row of the drawer
    std::int64_t bufferRowStride = 0;  // items in the buffer from one row to the next
    std::vector<RowPiece> pieces;      // empty when the view misses the drawer

    // Whether a row is one block, and rows follow each other in the buffer as in the drawer.
    bool MovesWholeRows() const {
        return pieces.size() == 1 && pieces[0].count == rowItems && pieces[0].bufferStride == 1 &&
               bufferRowStride == rowItems;
    }
};

ViewOnDrawer Meet(const std::vector<ComponentSetPtr>& view, const DrawerState& drawer);

// Calls f(RowRun) for the rows that the view covers, in order of the view within each segment.
// REQUIRES: none of them lies before `firstRow`.
template <class F>
void ForEachRowRun(const ComponentSet& view, const DrawerState& drawer, std::int64_t firstRow,
                   F&& f) {
    for (const DrawerSegment& segment : drawer.rows.SegmentsFrom(firstRow)) {
        ComponentSet::ForEachCommonRun(view, *segment.members,
                                       [&](int inView, int inSegment, int count) {
                                           f(RowRun{segment.firstRow + inSegment, inView, count});
                                       });
    }
}

// Moves items between a buffer and stored bytes, converting between two scalar types. Strides are
// in items of the buffer. Throws Usage for a value that the other type cannot hold.
struct ItemMover {
    int storeSize;
    int bufferSize;
    bool isPlain;  // the types are the same
    void (*toBuffer)(std::byte* buffer, std::int64_t stride, const std::byte* store,
                     std::int64_t count);
    // The same, past the caches: for reads of which the buffer is larger than these.
    void (*toLargeBuffer)(std::byte* buffer, std::int64_t stride, const std::byte* store,
                          std::int64_t count);
    void (*toStore)(std::byte* store, const std::byte* buffer, std::int64_t stride,
                    std::int64_t count);
};
ItemMover MoverBetween(int storedScalar, int bufferScalar);

// Moves the cells of `count` rows that follow each other both in the drawer and in the view.
// `buffer` is where the first of them would begin if the view had the row dimension alone.
void RowsToBuffer(const ViewOnDrawer& view, const ItemMover& mover, const std::byte* rows,
                  int count, std::byte* buffer);
// Moves one whole row for each member, ascending, of which the first one's row lies at `rows`.
// REQUIRES: whole rows, and the same type on both sides.
void GatherRows(const ViewOnDrawer& view, const ItemMover& mover, const std::byte* rows,
                std::span<const int> members, std::byte* buffer);
void RowsFromBuffer(const ViewOnDrawer& view, const ItemMover& mover, const std::byte* buffer,
                    int count, std::byte* rows);
void ZeroInBuffer(const ViewOnDrawer& view, const ItemMover& mover, int count, std::byte* buffer);

}  // namespace orq::database
