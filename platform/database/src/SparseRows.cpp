#include "SparseRows.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "FlatArray.h"
#include "ORQBasFailure.h"

namespace orq::database {

namespace {

// Parts of a sparse drawer's store; stored, do not change.
constexpr int kValues = 0;
constexpr int kIndices = 1;
constexpr int kMap = 2;

void PutPart(DatabaseState& state, std::int64_t store, int part, std::span<const std::byte> bytes) {
    PutFlatArray(state.Chunks(), store, part, bytes);
}

// Copies the bytes of a part from `begin` on.
void GetPart(DatabaseState& state, std::int64_t store, int part, std::int64_t begin,
             std::span<std::byte> out) {
    if (!GetFlatArray(state.Chunks(), store, part, begin, out)) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            state.ShownPath() + ": the sparse data of store " +
                                std::to_string(store) + " is incomplete");
    }
}

template <class T>
std::vector<T> GetArray(DatabaseState& state, std::int64_t store, int part, std::int64_t begin,
                        std::int64_t count) {
    std::vector<T> values(static_cast<std::size_t>(count));
    GetPart(state, store, part, begin * static_cast<std::int64_t>(sizeof(T)),
            std::as_writable_bytes(std::span(values)));
    return values;
}

[[noreturn]] void FailDamaged(const DatabaseState& state, const DrawerState& drawer) {
    throw ORQBasFailure(ORQBasFailureKind::Damaged,
                        state.ShownPath() + ": the sparse data of store " +
                            std::to_string(drawer.store) + " is incomplete or contradicts itself");
}

// The numbers of values of some rows: entries `begin` to `begin + count` of the map.
std::vector<std::int32_t> GetMap(DatabaseState& state, const DrawerState& drawer,
                                 std::int64_t begin, std::int64_t count, std::int64_t nStored) {
    auto map = GetArray<std::int32_t>(state, drawer.store, kMap, begin, count + 1);
    // Entries of the map become places in the other two arrays.
    if (map.front() < 0 || map.back() > nStored || !std::ranges::is_sorted(map)) {
        FailDamaged(state, drawer);
    }
    return map;
}

}  // namespace

void SparseRows::Check(std::span<const std::int32_t> indices, std::span<const std::int32_t> map,
                       int nColumns) {
    const auto nValues = static_cast<std::int64_t>(indices.size());
    for (std::size_t row = 0; row + 1 < map.size(); ++row) {
        if (map[row] > map[row + 1] || (row == 0 && map[0] != 0)) {
            ORQBasThrowUsage("the sparse map does not rise from 0: row " + std::to_string(row) +
                             " has [" + std::to_string(map[row]) + ", " +
                             std::to_string(map[row + 1]) + ")");
        }
    }
    if (map.back() != nValues) {
        ORQBasThrowUsage("the sparse map ends at " + std::to_string(map.back()) + ", " +
                         std::to_string(nValues) + " values are given");
    }
    const auto outside = std::ranges::find_if(
        indices, [&](std::int32_t index) { return index < 0 || index >= nColumns; });
    if (outside != indices.end()) {
        ORQBasThrowUsage("sparse index " + std::to_string(*outside) + " (value " +
                         std::to_string(outside - indices.begin()) +
                         ") is outside dimension 1, which has " + std::to_string(nColumns) +
                         " members");
    }
}

void SparseRows::Write(DatabaseState& state, const DistributionState& distribution,
                       const DrawerState& drawer, const ItemMover& mover, const std::byte* values,
                       std::span<const std::int32_t> indices, std::span<const std::int32_t> map) {
    const auto nBytes = indices.size() * static_cast<std::size_t>(distribution.ScalarSize());
    if (mover.isPlain) {
        PutPart(state, drawer.store, kValues, {values, nBytes});
    } else {
        std::vector<std::byte> stored(nBytes);
        mover.toStore(stored.data(), values, 1, static_cast<std::int64_t>(indices.size()));
        PutPart(state, drawer.store, kValues, stored);
    }
    PutPart(state, drawer.store, kIndices, std::as_bytes(indices));
    PutPart(state, drawer.store, kMap, std::as_bytes(map));
}

SparseRows SparseRows::Read(DatabaseState& state, const DistributionState& distribution,
                            const DrawerState& drawer, const std::vector<ComponentSetPtr>& view) {
    SparseRows result;
    result.m_nViewColumns = view[1]->Size();
    result.m_map.assign(static_cast<std::size_t>(view[0]->Size()) + 1, 0);
    const auto valueSize = static_cast<std::size_t>(distribution.ScalarSize());

    // Places in the view by location in the drawer's columns, -1 where the view lacks it: one pass
    // over the columns instead of a search for each value.
    std::vector<int> toView(static_cast<std::size_t>(drawer.sets[1]->Size()), -1);
    ComponentSet::ForEachCommonRun(*view[1], *drawer.sets[1], [&](int inView, int at, int count) {
        for (int i = 0; i < count; ++i) {
            toView[static_cast<std::size_t>(at + i)] = inView + i;
        }
    });
    std::size_t filled = 0;  // entries of the map that are final
    const auto closeRowsUpTo = [&](std::size_t row) {
        for (; filled < row; ++filled) {
            result.m_map[filled + 1] = static_cast<std::int32_t>(result.m_columns.size());
        }
    };
    const std::int64_t nStored = NumStored(state, drawer);
    if (!HasFlatArray(state.Chunks(), drawer.store, kValues, nStored * distribution.ScalarSize())) {
        FailDamaged(state, drawer);
    }
    ForEachRowRun(*view[0], drawer, 0, [&](const RowRun& run) {
        const auto map = GetMap(state, drawer, run.row, run.count, nStored);
        const std::int64_t first = map.front();
        const auto indices =
            GetArray<std::int32_t>(state, drawer.store, kIndices, first, map.back() - first);
        std::vector<std::byte> values(indices.size() * valueSize);
        GetPart(state, drawer.store, kValues, first * static_cast<std::int64_t>(valueSize), values);
        for (int i = 0; i < run.count; ++i) {
            closeRowsUpTo(static_cast<std::size_t>(run.viewLocation + i));
            for (auto k = static_cast<std::size_t>(map[static_cast<std::size_t>(i)] - first);
                 k < static_cast<std::size_t>(map[static_cast<std::size_t>(i) + 1] - first); ++k) {
                const auto column = static_cast<std::size_t>(indices[k]);
                if (column >= toView.size()) {
                    FailDamaged(state, drawer);
                }
                if (toView[column] >= 0) {
                    result.m_columns.push_back(toView[column]);
                    result.m_values.insert(result.m_values.end(), values.data() + k * valueSize,
                                           values.data() + (k + 1) * valueSize);
                }
            }
        }
    });
    closeRowsUpTo(result.m_map.size() - 1);
    return result;
}

std::int64_t SparseRows::NumStored(DatabaseState& state, const DrawerState& drawer) {
    storage::ChunkStore& chunks = state.Chunks();
    constexpr std::int64_t kSize = sizeof(std::int32_t);
    // Lengths are compared before anything is read by numbers that a file gives.
    if (!HasFlatArray(chunks, drawer.store, kMap, (drawer.nRows + 1) * kSize)) {
        FailDamaged(state, drawer);
    }
    const std::int64_t nStored =
        GetArray<std::int32_t>(state, drawer.store, kMap, drawer.nRows, 1).front();
    if (nStored < 0 || !HasFlatArray(chunks, drawer.store, kIndices, nStored * kSize)) {
        FailDamaged(state, drawer);
    }
    return nStored;
}

std::int64_t SparseRows::Scatter(const ItemMover& mover, std::byte* buffer) const {
    for (std::size_t row = 0; row + 1 < m_map.size(); ++row) {
        for (auto k = static_cast<std::size_t>(m_map[row]);
             k < static_cast<std::size_t>(m_map[row + 1]); ++k) {
            const std::int64_t cell =
                static_cast<std::int64_t>(row) * m_nViewColumns + m_columns[k];
            mover.toBuffer(buffer + cell * mover.bufferSize, 1,
                           m_values.data() + k * static_cast<std::size_t>(mover.storeSize), 1);
        }
    }
    return NumValues();
}

void SparseRows::CopyTo(const ItemMover& mover, std::byte* values, std::byte* indices,
                        std::byte* map) const {
    if (!m_columns.empty()) {
        mover.toBuffer(values, 1, m_values.data(), NumValues());
        std::memcpy(indices, m_columns.data(), m_columns.size() * sizeof m_columns[0]);
    }
    std::memcpy(map, m_map.data(), m_map.size() * sizeof m_map[0]);
}

}  // namespace orq::database
