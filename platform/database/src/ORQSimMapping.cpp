#include "ORQSimMapping.h"

#include <algorithm>

#include "DatabaseState.h"
#include "TransferView.h"

using orq::database::ComponentSetPtr;
using orq::database::DatabaseState;
using orq::database::DistributionState;
using orq::database::DrawerState;
using orq::database::RowRun;
using orq::database::ViewOnDrawer;
using orq::storage::ChunkStore;

namespace {

/// The drawer whose whole rows the view has; null where there is none, or another one meets the view
/// too.
const DrawerState* OnlyDrawer(const DistributionState& distribution,
                              const std::vector<ComponentSetPtr>& view) {
    const DrawerState* only = nullptr;
    for (const auto& drawer : distribution.drawers) {
        const ViewOnDrawer geometry = Meet(view, *drawer);
        if (geometry.pieces.empty()) {
            continue;
        }
        if (only != nullptr || drawer->layout == ORQSimDrawerLayout::Sparse ||
            !geometry.MovesWholeRows()) {
            return nullptr;
        }
        only = drawer.get();
    }
    return only;
}

/// The first of the rows that the view has, which follow each other in its order; -1 where they do
/// not.
std::int64_t FirstRow(const orq::database::ComponentSet& members, const DrawerState& drawer) {
    std::int64_t first = -1;
    std::int64_t nRows = 0;
    bool isInOrder = true;
    ForEachRowRun(members, drawer, 0, [&](const RowRun& run) {
        first = nRows == 0 ? run.row : first;
        isInOrder = isInOrder && run.viewLocation == nRows && run.row == first + nRows;
        nRows += run.count;
    });
    return isInOrder && nRows == members.Size() ? first : -1;
}

/// Where the rows [first, first + count) lie.
std::vector<ChunkStore::Piece> PiecesOf(std::int64_t first, std::int64_t count,
                                        std::int64_t rowBytes, std::int64_t rowsPerChunk) {
    std::vector<ChunkStore::Piece> pieces;
    for (const std::int64_t end = first + count; first < end;) {
        const std::int64_t chunk = first / rowsPerChunk;
        const std::int64_t last = std::min(end, (chunk + 1) * rowsPerChunk);
        pieces.push_back({chunk,
                          {(first - chunk * rowsPerChunk) * rowBytes,
                           (last - chunk * rowsPerChunk) * rowBytes}});
        first = last;
    }
    return pieces;
}

}  // namespace

ORQSimMapping ORQSimMapping::Of(const ORQSimDistribution& distribution,
                                const std::vector<ORQSimCSet>& view) {
    ORQSimMapping mapping;
    DatabaseState* const state = DatabaseState::Reading(distribution.ID());
    if (state == nullptr || state->Store().IsWritable()) {
        return mapping;
    }
    state->Store().CheckUsable();
    const DistributionState& known = state->Distributions().Get(distribution.ID());
    std::vector<ComponentSetPtr> sets;
    for (std::size_t k = 0; k < view.size() && k < known.grid.size(); ++k) {
        if (view[k].IsEmpty() || view[k].CollectionID() != known.grid[k]) {
            return mapping;
        }
        sets.push_back(view[k].Payload());
    }
    if (sets.size() != known.grid.size() || sets.size() != view.size()) {
        return mapping;
    }
    const DrawerState* const drawer = OnlyDrawer(known, sets);
    if (drawer == nullptr) {
        return mapping;
    }
    const auto& rows = *sets[static_cast<std::size_t>(drawer->RowDim())];
    const std::int64_t first = FirstRow(rows, *drawer);
    if (first < 0) {
        return mapping;
    }
    const std::int64_t rowBytes = drawer->ItemsPerRow() * known.ScalarSize();
    mapping.m_bytes = state->Chunks().Map(
        drawer->store,
        PiecesOf(first, rows.Size(), rowBytes, drawer->RowsPerChunk(known.ScalarSize())));
    if (!mapping.IsNull()) {
        mapping.m_size = rows.Size() * rowBytes;
        mapping.m_database = ORQSimDatabase(distribution.ID().ContextID());
    }
    return mapping;
}
