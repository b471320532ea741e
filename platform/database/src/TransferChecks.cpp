#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <utility>

#include "ORQSimDistribution.h"
#include "TransferJob.h"

using orq::database::ComponentSet;
using orq::database::ComponentSetPtr;
using orq::database::DatabaseState;
using orq::database::DistributionState;
using orq::database::DrawerState;
using orq::database::InDimension;
using orq::database::Missing;

namespace {

constexpr std::int64_t kMostBytes = std::numeric_limits<std::int32_t>::max();
constexpr int kIndexSize = sizeof(std::int32_t);  // of an entry of the sparse buffers

// The first member, in the set's order, that lies outside [0, space); -1 if none does.
int FirstOutside(const ComponentSet& set, int space) {
    std::optional<int> outside;
    set.ForEachRun([&](int, int first, int count) {
        if (!outside && first < 0) {
            outside = first;
        } else if (!outside && std::int64_t{first} + count > space) {
            outside = std::max(first, space);
        }
    });
    return outside.value_or(-1);
}

}  // namespace

DatabaseState& ORQSimTransfer::Job::State() const {
    if (distributionID.IsNull()) {
        ORQBasThrowUsage("a transfer needs a distribution; this one is null");
    }
    return DatabaseState::Existing(distributionID);
}

std::vector<ComponentSetPtr> ORQSimTransfer::Job::View() const {
    std::vector<ComponentSetPtr> view;
    view.reserve(dims.size());
    for (const auto& dim : dims) {
        view.push_back(dim ? dim->Payload() : ComponentSet::Empty());
    }
    return view;
}

DrawerState& ORQSimTransfer::Job::Drawer(DistributionState& distribution) const {
    DrawerState* drawer = distribution.Find(drawerID);
    if (drawer == nullptr) {
        State().CheckStorable(drawerID);
        ORQBasThrowUsage("the drawer of the transfer is not one of its distribution");
    }
    return *drawer;
}

void ORQSimTransfer::Job::CheckView() {
    DistributionState& distribution = Distribution();
    CheckAgainstSpaces(distribution);
    if (making != Making::None) {
        CheckMaking(distribution);
    } else if (direction == Direction::Write) {
        CheckAgainstDrawer(distribution);
    } else if (!drawerID.IsNull()) {
        Drawer(distribution);
    }
    const int valueSize = MoverFor(distribution).bufferSize;
    const std::int64_t items = isSparse ? nNonzero : ViewItems();
    if (items > kMostBytes / (isSparse ? std::max(valueSize, kIndexSize) : valueSize)) {
        ORQBasThrowUsage("the view has " + std::to_string(items) +
                         " items; one transfer moves at most 2147483647 bytes, split it");
    }
}

void ORQSimTransfer::Job::CheckAgainstSpaces(const DistributionState& distribution) const {
    const std::size_t nDims = distribution.grid.size();
    const auto nSet = std::ranges::count_if(dims, [](const auto& dim) { return dim.has_value(); });
    if (dims.size() != nDims || static_cast<std::size_t>(nSet) != nDims) {
        ORQBasThrowUsage("the view has " + std::to_string(nSet) + " dimensions, the distribution " +
                         std::to_string(nDims));
    }
    for (std::size_t i = 0; i < nDims; ++i) {
        CheckMembers(static_cast<int>(i), *dims[i], distribution.grid[i]);
    }
}

void ORQSimTransfer::Job::CheckMembers(int dimension, const ORQSimCSet& set,
                                       const ORQSimCollectionID& collection) const {
    DatabaseState& state = State();
    if (direction == Direction::Write || making != Making::None) {
        state.CheckStorable(set.ID());
    }
    if (set.CollectionID().IsNull() && set.IsEmpty()) {
        return;
    }
    if (set.CollectionID() != collection) {
        ORQBasThrowUsage(InDimension(dimension) + ": the set belongs to collection " +
                         std::to_string(set.CollectionID().MinorID()) +
                         ", the grid has collection " + std::to_string(collection.MinorID()));
    }
    const ComponentSet& members = *set.Payload();
    const int space = state.Objects().Space(collection);
    if (!members.IsEmpty() && (members.Lowest() < 0 || members.Highest() >= space)) {
        ORQBasThrowUsage(InDimension(dimension) + ": member " +
                         std::to_string(FirstOutside(members, space)) +
                         " is outside the space of " + std::to_string(space) + " members");
    }
}

void ORQSimTransfer::Job::CheckAgainstDrawer(DistributionState& distribution) const {
    const DrawerState& drawer = Drawer(distribution);
    if (isSparse || drawer.layout == ORQSimDrawerLayout::Sparse) {
        ORQBasThrowUsage("a sparse drawer is written when it is made and cannot be changed");
    }
    if ((autoExtend || !extension.IsNull()) && drawer.extendable < 0) {
        ORQBasThrowUsage(
            "only chunked drawers are extendable; this drawer was made without an extendable "
            "dimension");
    }
    if (!extension.IsNull()) {
        State().CheckStorable(extension);
        CheckMembers(drawer.extendable, ORQSimCSet(extension),
                     distribution.grid[static_cast<std::size_t>(drawer.extendable)]);
    }
    for (std::size_t i = 0; i < dims.size(); ++i) {
        const int dimension = static_cast<int>(i);
        // What is missing there will be added.
        if (dimension == drawer.extendable && autoExtend) {
            continue;
        }
        const ComponentSetPtr& view = dims[i]->Payload();
        ComponentSetPtr missing = dimension == drawer.RowDim() ? drawer.rows.Missing(view)
                                                               : Missing(view, drawer.sets[i]);
        if (dimension == drawer.extendable && !extension.IsNull()) {
            missing = Missing(missing, ORQSimCSet(extension).Payload());
        }
        if (!missing->IsEmpty()) {
            ORQBasThrowUsage(InDimension(dimension) + ": the drawer does not hold member " +
                             std::to_string(missing->At(0)) + " and may not be extended by it");
        }
    }
}

void ORQSimTransfer::Job::CheckMaking(const DistributionState& distribution) const {
    if (making == Making::Plain) {
        if (extendable >= 0) {
            ORQBasThrowUsage("only chunked drawers are extendable");
        }
        if (isSparse && distribution.grid.size() != 2) {
            ORQBasThrowUsage("a sparse drawer needs two dimensions, the distribution has " +
                             std::to_string(distribution.grid.size()));
        }
        return;
    }
    if (isSparse) {
        ORQBasThrowUsage("a sparse drawer cannot be chunked");
    }
    if (chunks.size() != distribution.grid.size()) {
        ORQBasThrowUsage(std::to_string(chunks.size()) + " chunk sizes are given for " +
                         std::to_string(distribution.grid.size()) + " dimensions");
    }
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        if (chunks[i] < 1) {
            ORQBasThrowUsage(InDimension(static_cast<int>(i)) + ": the chunk size " +
                             std::to_string(chunks[i]) + " is below 1");
        }
    }
    if (extendable >= static_cast<int>(distribution.grid.size())) {
        ORQBasThrowUsage("the extendable " + InDimension(extendable) + " does not exist");
    }
}

namespace {

constexpr std::size_t kReferencesAtOnce = 4096;  // they stay in the first cache

// Always over so many and without a branch, so that compilers make the loop wide.
bool HasWrongReference(const std::byte* values, std::uint32_t space) {
    std::uint32_t isWrong = 0;
    for (std::size_t i = 0; i < kReferencesAtOnce; ++i) {
        std::uint32_t value = 0;
        std::memcpy(&value, values + i * sizeof value, sizeof value);
        // No reference is the highest number, which 1 makes the lowest.
        isWrong |= static_cast<std::uint32_t>(value + 1 > space);
    }
    return isWrong != 0;
}

}  // namespace

void ORQSimTransfer::Job::CheckReferences(const DistributionState& distribution,
                                          const std::byte* values, std::int64_t count) const {
    const bool refers =
        !distribution.rangeCollection.IsNull() &&
        (distribution.scalar == ORQSimScalarInt || distribution.scalar == ORQSimScalarUint);
    if (!refers) {
        return;
    }
    const auto space =
        static_cast<std::uint32_t>(State().Objects().Space(distribution.rangeCollection));
    const orq::database::ItemMover mover = MoverFor(distribution);
    std::array<std::uint32_t, kReferencesAtOnce> block;
    block.fill(0xFFFFFFFF);  // no references
    for (std::int64_t first = 0; first < count; first += std::ssize(block)) {
        const std::int64_t size = std::min<std::int64_t>(std::ssize(block), count - first);
        const std::byte* const from = values + first * mover.bufferSize;
        const bool areInPlace = mover.isPlain && size == std::ssize(block);
        if (!areInPlace) {
            // Behind the last value lie those of the block before, which are right.
            mover.toStore(reinterpret_cast<std::byte*>(block.data()), from, 1, size);
        }
        if (HasWrongReference(areInPlace ? from : reinterpret_cast<const std::byte*>(block.data()),
                              space)) {
            mover.toStore(reinterpret_cast<std::byte*>(block.data()), from, 1, size);
            RefuseReference(first, std::span(block).first(static_cast<std::size_t>(size)), space);
        }
    }
}

void ORQSimTransfer::Job::RefuseReference(std::int64_t first, std::span<const std::uint32_t> values,
                                          std::uint32_t space) const {
    const auto wrong =
        std::ranges::find_if(values, [&](std::uint32_t value) { return value + 1 > space; });
    std::int64_t item = first + (wrong - values.begin());
    std::string place;
    if (!isSparse) {
        for (std::size_t dim = dims.size(); dim-- > 0;) {
            const int size = dims[dim]->Size();
            place = InDimension(static_cast<int>(dim)) + " member " +
                    std::to_string((*dims[dim])[static_cast<int>(item % size)]) +
                    (place.empty() ? "" : ", " + place);
            item /= size;
        }
    } else {
        place = "value " + std::to_string(item);
    }
    ORQBasThrowUsage("the value for " + place + " refers to member " +
                     std::to_string(static_cast<std::int32_t>(*wrong)) + " of a collection of " +
                     std::to_string(space));
}

std::int64_t ORQSimTransfer::Job::ViewItems() const {
    std::int64_t items = 1;
    for (const auto& dim : dims) {
        const std::int64_t size = dim ? dim->Size() : 0;
        // Anything beyond what a transfer moves is as good as any other.
        items = size == 0 ? 0 : std::min(items * size, kMostBytes * 2);
    }
    return items;
}

std::int64_t ORQSimTransfer::Job::RequiredSize(int buffer) {
    DistributionState& distribution = Distribution();
    std::int64_t bytes = 0;
    if (isSparse) {
        std::int64_t nValues = nNonzero;
        const std::int64_t nRows = dims.empty() || !dims[0] ? 0 : dims[0]->Size();
        if (direction == Direction::Read) {
            nValues = SparseView(State(), distribution).NumValues();
        }
        bytes = buffer == ORQSimbufMain        ? nValues * MoverFor(distribution).bufferSize
                : buffer == ORQSimbufIndicesNZ ? nValues * kIndexSize
                                               : (nRows + 1) * kIndexSize;
    } else {
        bytes = buffer == ORQSimbufMain ? ViewItems() * MoverFor(distribution).bufferSize : 0;
    }
    return isPadded ? (bytes + 7) / 8 * 8 : bytes;
}

std::byte* ORQSimTransfer::Job::BufferFor(int buffer) {
    const std::int64_t required = RequiredSize(buffer);
    const Buffer& given = buffers[static_cast<std::size_t>(buffer)];
    if (required > 0 && given.data == nullptr) {
        ORQBasThrowUsage("buffer " + std::to_string(buffer) + " of " + std::to_string(required) +
                         " bytes is missing");
    }
    if (given.size < required) {
        ORQBasThrowUsage("buffer " + std::to_string(buffer) + " has " + std::to_string(given.size) +
                         " bytes, the view needs " + std::to_string(required));
    }
    return static_cast<std::byte*>(given.data);
}
