#include "DrawerState.h"

#include <algorithm>

namespace orq::database {

namespace {

// Drawers that are not chunked are still stored in pieces, so that changing a cell copies little.
constexpr std::int64_t kPlainChunk = 4 << 20;  // stored layout, do not change

}  // namespace

DrawerState* DistributionState::Find(const ORQSimDrawerID& drawer) const {
    if (!drawers.empty() && drawers.back()->id == drawer) {
        return drawers.back().get();  // mostly the one that was just made
    }
    const auto number = [](const auto& state) { return state->id.Index(); };  // ascends
    const auto found = std::ranges::lower_bound(drawers, drawer.Index(), {}, number);
    return found == drawers.end() || (*found)->id != drawer ? nullptr : found->get();
}

std::int64_t DrawerState::ItemsPerRow() const {
    std::int64_t items = 1;
    for (std::size_t dim = 0; dim < sets.size(); ++dim) {
        items *= static_cast<int>(dim) == RowDim() ? 1 : sets[dim]->Size();
    }
    return items;
}

std::int64_t DrawerState::RowsPerChunk(int scalarSize) const {
    const std::int64_t rowBytes = std::max<std::int64_t>(1, ItemsPerRow() * scalarSize);
    return layout == ORQSimDrawerLayout::Chunked
               ? chunks[static_cast<std::size_t>(RowDim())]
               : std::max<std::int64_t>(1, kPlainChunk / rowBytes);
}

}  // namespace orq::database
