#include "edit/SparseDrawer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimTransfer.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

/// The three buffers of a sparse transfer.
struct Buffers {
    std::vector<double> values;
    std::vector<int> indices;  // places among the columns
    std::vector<int> map;      // row k has the values [map[k], map[k + 1])

    void Set(ORQSimTransfer& transfer) {
        const auto set = [&](int buffer, auto& items) {
            transfer.SetBuffer(buffer, static_cast<void*>(items.data()),
                               static_cast<std::int64_t>(items.size() * sizeof(items[0])));
        };
        set(ORQSimbufMain, values);
        set(ORQSimbufIndicesNZ, indices);
        set(ORQSimbufSparseMap, map);
    }
};

std::vector<int> ColumnsOf(const SparseDrawer& drawer) {
    std::vector<int> columns;
    for (const auto& row : drawer.cells) {
        for (const auto& [column, value] : row) {
            columns.push_back(column);
        }
    }
    std::ranges::sort(columns);
    columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
    return columns;
}

}  // namespace

SparseDrawer ReadSparse(const ORQSimDistribution& from, const ORQSimDrawerDescription& drawer) {
    if (from.RangeType().ScalarType() != ORQSimScalarDouble || drawer.NumDimensions() != 2) {
        ORQBasThrowUsage(
            "a sparse drawer of other values than doubles by row and column "
            "cannot be changed");
    }
    const ORQSimCSet rows(drawer.CSet(0));
    const ORQSimCSet columns(drawer.CSet(1));
    ORQSimTransfer read(from);
    read.SetRead()
        .SetSerialization(ORQSimSerializationType().SetSparse())
        .SetDrawer(drawer.DrawerID())
        .SetDim(0, rows)
        .SetDim(1, columns);
    const auto count =
        static_cast<std::size_t>(read.RequiredBufferSize(ORQSimbufMain)) / sizeof(double);
    Buffers buffers{std::vector<double>(count), std::vector<int>(count),
                    std::vector<int>(static_cast<std::size_t>(rows.Size()) + 1)};
    buffers.Set(read);
    read.ExecRead();
    SparseDrawer all;
    for (int row = 0; row < rows.Size(); ++row) {
        all.rows.push_back(rows[row]);
        std::vector<SparseDrawer::Cell>& cells = all.cells.emplace_back();
        const auto end = static_cast<std::size_t>(buffers.map[static_cast<std::size_t>(row) + 1]);
        for (auto k = static_cast<std::size_t>(buffers.map[static_cast<std::size_t>(row)]); k < end;
             ++k) {
            cells.emplace_back(columns[buffers.indices[k]], buffers.values[k]);
        }
        std::ranges::sort(cells);
    }
    return all;
}

void WriteSparse(const SparseDrawer& drawer, const ORQSimDistribution& to) {
    const std::vector<int> columns = ColumnsOf(drawer);
    if (columns.empty()) {
        return;
    }
    Buffers buffers{{}, {}, {0}};
    for (const auto& row : drawer.cells) {
        for (const auto& [column, value] : row) {
            buffers.values.push_back(value);
            buffers.indices.push_back(
                static_cast<int>(std::ranges::lower_bound(columns, column) - columns.begin()));
        }
        buffers.map.push_back(static_cast<int>(buffers.values.size()));
    }
    ORQSimTransfer write(to);
    write.SetWrite()
        .SetMakeNewDrawer()
        .SetSerialization(ORQSimSerializationType().SetSparse())
        .SetSparseNNonzero(static_cast<int>(buffers.values.size()))
        .SetDim(0, OrdinalSet(ORQSimCollection(to.Grid().Collection(0)), drawer.rows))
        .SetDim(1, OrdinalSet(ORQSimCollection(to.Grid().Collection(1)), columns));
    buffers.Set(write);
    write.ExecWrite();
}

}  // namespace orq::exchange
