#include "ORQSimTransfer.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ComponentSet.h"
#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimDistribution.h"
#include "RowReader.h"
#include "SparseRows.h"
#include "TransferJob.h"

using orq::database::ComponentSet;
using orq::database::ComponentSetPtr;
using orq::database::DatabaseState;
using orq::database::DistributionState;
using orq::database::DrawerSegment;
using orq::database::DrawerState;
using orq::database::InDimension;
using orq::database::ItemMover;
using orq::database::RowReader;
using orq::database::RowRun;
using orq::database::SparseRows;
using orq::database::ViewOnDrawer;
using orq::storage::ChunkStore;

namespace {

// Bytes of a read that leave little of each other in the caches of usual processors.
constexpr std::int64_t kLargeBuffer = 32 << 20;

}  // namespace

// --- Reading -------------------------------------------------------------------------------------

std::vector<DrawerState*> ORQSimTransfer::Job::DrawersToRead(
    DistributionState& distribution) const {
    if (!drawerID.IsNull()) {
        return {&Drawer(distribution)};
    }
    std::vector<DrawerState*> drawers;
    for (const auto& drawer : distribution.drawers) {
        drawers.push_back(drawer.get());
    }
    return drawers;
}

ORQSimTransientDrawer ORQSimTransfer::Job::Read() {
    CheckView();
    DatabaseState& state = State();
    // A read takes no rows where all is known, so nothing else would notice that the handle
    // refuses.
    state.Store().CheckUsable();
    DistributionState& distribution = Distribution();
    const int nDims = static_cast<int>(distribution.grid.size());
    if (isSparse) {
        return {nDims, ReadAsSparse(state, distribution)};
    }
    std::byte* buffer = BufferFor(ORQSimbufMain);
    std::int64_t nItems = 0;
    for (const DrawerState* drawer : DrawersToRead(distribution)) {
        nItems += drawer->layout == ORQSimDrawerLayout::Sparse
                      ? SparseRows::Read(state, distribution, *drawer, View())
                            .Scatter(MoverFor(distribution), buffer)
                      : ReadDense(state, distribution, *drawer, buffer);
    }
    return {nDims, nItems};
}

std::int64_t ORQSimTransfer::Job::ReadDense(DatabaseState& state,
                                            const DistributionState& distribution,
                                            const DrawerState& drawer, std::byte* buffer) {
    const std::vector<ComponentSetPtr> view = View();
    const ViewOnDrawer geometry = Meet(view, drawer);
    if (geometry.pieces.empty()) {
        return 0;
    }
    ItemMover mover = MoverFor(distribution);
    if (ViewItems() * mover.bufferSize >= kLargeBuffer) {
        mover.toBuffer = mover.toLargeBuffer;
    }
    RowReader reader(state.Chunks(), drawer, geometry, mover, buffer);
    const ComponentSet& rows = *view[static_cast<std::size_t>(drawer.RowDim())];
    for (const DrawerSegment& segment : drawer.rows.Segments()) {
        reader.Read(rows, segment);
    }
    std::int64_t itemsPerRow = 0;
    for (const auto& piece : geometry.pieces) {
        itemsPerRow += piece.count;
    }
    return reader.NumRows() * itemsPerRow;
}

SparseRows ORQSimTransfer::Job::SparseView(DatabaseState& state, DistributionState& distribution) {
    DrawerState* sparse = nullptr;
    for (DrawerState* drawer : DrawersToRead(distribution)) {
        if (drawer->layout != ORQSimDrawerLayout::Sparse || sparse != nullptr) {
            ORQBasThrowUsage("a sparse read needs one sparse drawer; set the drawer");
        }
        sparse = drawer;
    }
    if (sparse == nullptr) {
        ORQBasThrowUsage("a sparse read needs one sparse drawer; the distribution has none");
    }
    return SparseRows::Read(state, distribution, *sparse, View());
}

std::int64_t ORQSimTransfer::Job::ReadAsSparse(DatabaseState& state,
                                               DistributionState& distribution) {
    const SparseRows rows = SparseView(state, distribution);
    rows.CopyTo(MoverFor(distribution), BufferFor(ORQSimbufMain), BufferFor(ORQSimbufIndicesNZ),
                BufferFor(ORQSimbufSparseMap));
    return rows.NumValues();
}

// --- Writing -------------------------------------------------------------------------------------

void ORQSimTransfer::Job::Make() {
    if (making == Making::None) {
        ORQBasThrowUsage("nothing says that the transfer makes a drawer");
    }
    if (isSparse) {
        ORQBasThrowUsage("a sparse drawer is made by writing its cells");
    }
    CheckView();
    AddDrawer();
}

void ORQSimTransfer::Job::AddDrawer() {
    DatabaseState& state = DatabaseState::Writing(distributionID);
    auto drawer = std::make_unique<DrawerState>();
    drawer->layout = isSparse                    ? ORQSimDrawerLayout::Sparse
                     : making == Making::Chunked ? ORQSimDrawerLayout::Chunked
                                                 : ORQSimDrawerLayout::Plain;
    drawer->extendable = extendable;
    drawer->chunks = making == Making::Chunked ? chunks : std::vector<int>(dims.size(), 0);
    drawerID = state.Distributions().NewDrawer(Distribution(), std::move(drawer), View()).id;
}

void ORQSimTransfer::Job::Write() {
    if (direction != Direction::Write) {
        ORQBasThrowUsage("the transfer was not set to write");
    }
    CheckView();
    DatabaseState& state = DatabaseState::Writing(distributionID);
    DistributionState& distribution = Distribution();
    if (isSparse) {
        CheckSparse(distribution);
    } else {
        CheckReferences(distribution, BufferFor(ORQSimbufMain), ViewItems());
    }
    try {
        if (isSparse) {
            WriteSparse(state, distribution);
        } else {
            WriteAll(state, distribution);
        }
    } catch (...) {
        // One that ends between two chunks has written the first: the host may go on as if nothing
        // had happened, so the transaction is marked as half done.
        ++state.Rows().Unfinished();
        throw;
    }
}

void ORQSimTransfer::Job::WriteAll(DatabaseState& state, DistributionState& distribution) {
    std::int64_t firstRow = 0;
    if (making != Making::None) {
        AddDrawer();
    } else {
        firstRow = Extend(state, Drawer(distribution));
    }
    WriteDense(state, distribution, Drawer(distribution), firstRow, BufferFor(ORQSimbufMain));
}

std::int64_t ORQSimTransfer::Job::Extend(DatabaseState& state, DrawerState& drawer) {
    if (!autoExtend && extension.IsNull()) {
        return 0;
    }
    const ComponentSetPtr& view = dims[static_cast<std::size_t>(drawer.extendable)]->Payload();
    const std::int64_t firstNew = drawer.nRows;
    const auto add = [&](const ComponentSetPtr& missing) {
        if (!missing->IsEmpty()) {
            state.Distributions().AddRows(
                drawer, drawer.rows.IsOrdered() ? missing : ComponentSet::Ascending(missing));
        }
    };
    ComponentSetPtr missing = drawer.rows.Missing(view);
    // New rows go to the end, so a view of new members alone has no row before them.
    const bool isAllNew = missing->Size() == view->Size();
    if (!extension.IsNull()) {
        add(drawer.rows.Missing(ORQSimCSet(extension).Payload()));
        missing = drawer.rows.Missing(view);
    }
    if (autoExtend) {
        add(missing);
    }
    return isAllNew ? firstNew : 0;
}

void ORQSimTransfer::Job::WriteDense(DatabaseState& state, const DistributionState& distribution,
                                     const DrawerState& drawer, std::int64_t firstRow,
                                     const std::byte* buffer) {
    const std::vector<ComponentSetPtr> view = View();
    const ViewOnDrawer geometry = Meet(view, drawer);
    const ItemMover mover = MoverFor(distribution);
    const std::int64_t rowBytes = geometry.rowItems * mover.storeSize;
    const std::int64_t bufferRowBytes = geometry.bufferRowStride * mover.bufferSize;
    const std::int64_t rowsPerChunk = drawer.RowsPerChunk(mover.storeSize);
    ChunkStore& chunkStore = state.Chunks();

    // Runs come in the order of rows, so that each chunk is written once.
    std::vector<RowRun> runs;
    ForEachRowRun(*view[static_cast<std::size_t>(drawer.RowDim())], drawer, firstRow,
                  [&](const RowRun& run) { runs.push_back(run); });
    if (!std::ranges::is_sorted(runs, {}, &RowRun::row)) {
        std::ranges::sort(runs, {}, &RowRun::row);
    }

    const bool canMoveDirectly = geometry.MovesWholeRows() && mover.isPlain;
    const std::int64_t bufferOffset =
        geometry.pieces.empty() ? 0 : geometry.pieces[0].inBuffer * mover.bufferSize;
    std::vector<std::byte> staged;
    for (std::size_t next = 0; next < runs.size();) {
        // All that goes to one chunk; a run that reaches further leaves its rest for the next one.
        const std::int64_t number = runs[next].row / rowsPerChunk;
        const std::int64_t chunkEnd = (number + 1) * rowsPerChunk;
        const std::size_t first = next;
        while (next < runs.size() && runs[next].row + runs[next].count <= chunkEnd) {
            ++next;
        }
        const bool isCut = next < runs.size() && runs[next].row < chunkEnd;
        const std::size_t last = isCut ? next : next - 1;
        const auto countOf = [&](std::size_t i) {
            return static_cast<int>(std::min<std::int64_t>(runs[i].count, chunkEnd - runs[i].row));
        };
        const std::int64_t chunkRow = number * rowsPerChunk;
        const std::int64_t begin = (runs[first].row - chunkRow) * rowBytes;
        const std::int64_t end = (runs[last].row + countOf(last) - chunkRow) * rowBytes;
        const std::int64_t length = chunkStore.Length(drawer.store, 0, number);
        std::int64_t reserve = 0;
        // Room to grow, so that appending copies each byte a few times at most: the first chunk
        // doubles, later ones get their full size at once. A first write gets what it needs, so
        // that small drawers stay small.
        if (drawer.extendable >= 0 && (number > 0 || length > 0)) {
            reserve = std::min(rowsPerChunk * rowBytes,
                               number > 0 ? rowsPerChunk * rowBytes : 2 * std::max(end, length));
        }
        const auto size = static_cast<std::size_t>(end - begin);
        if (canMoveDirectly && first == last) {
            chunkStore.Write(
                drawer.store, 0, number, begin,
                {buffer + bufferOffset + runs[first].viewLocation * bufferRowBytes, size}, reserve);
        } else {
            staged.assign(size, std::byte{0});
            const std::int64_t present = std::min(length, end) - begin;
            if (present > 0) {
                std::memcpy(staged.data(),
                            chunkStore.Read(drawer.store, 0, number, begin, begin + present),
                            static_cast<std::size_t>(present));
            }
            for (std::size_t i = first; i <= last; ++i) {
                RowsFromBuffer(geometry, mover, buffer + runs[i].viewLocation * bufferRowBytes,
                               countOf(i),
                               staged.data() + (runs[i].row - chunkRow) * rowBytes - begin);
            }
            chunkStore.Write(drawer.store, 0, number, begin, staged, reserve);
        }
        if (isCut) {
            const int done = countOf(next);
            runs[next].row += done;
            runs[next].viewLocation += done;
            runs[next].count -= done;
        }
    }
}

void ORQSimTransfer::Job::CheckSparse(const DistributionState& distribution) {
    SparseRows::Check(SparseIndices(), SparseMap(), dims[1]->Size());
    CheckReferences(distribution, BufferFor(ORQSimbufMain), nNonzero);
}

std::span<const std::int32_t> ORQSimTransfer::Job::SparseIndices() {
    return {reinterpret_cast<const std::int32_t*>(BufferFor(ORQSimbufIndicesNZ)),
            static_cast<std::size_t>(nNonzero)};
}

std::span<const std::int32_t> ORQSimTransfer::Job::SparseMap() {
    return {reinterpret_cast<const std::int32_t*>(BufferFor(ORQSimbufSparseMap)),
            static_cast<std::size_t>(dims[0]->Size()) + 1};
}

void ORQSimTransfer::Job::WriteSparse(DatabaseState& state, const DistributionState& distribution) {
    AddDrawer();
    SparseRows::Write(state, distribution, *distribution.Find(drawerID), MoverFor(distribution),
                      BufferFor(ORQSimbufMain), SparseIndices(), SparseMap());
}

// --- The chained calls ---------------------------------------------------------------------------

ORQSimTransfer::ORQSimTransfer(const ORQSimDistribution& distribution)
    : m_job(std::make_unique<Job>(distribution.ID())) {}

ORQSimTransfer::~ORQSimTransfer() = default;

ORQSimTransfer& ORQSimTransfer::SetRead() {
    m_job->direction = Job::Direction::Read;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetWrite() {
    m_job->direction = Job::Direction::Write;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetDrawer(const ORQSimDrawerID& drawer) {
    m_job->drawerID = drawer;
    m_job->making = Job::Making::None;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetMakeNewDrawer() {
    m_job->making = Job::Making::Plain;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetMakeNewDrawerChunked(const ORQSimArray<int>& chunkSizes) {
    m_job->making = Job::Making::Chunked;
    m_job->chunks.assign(chunkSizes.begin(), chunkSizes.end());
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetExtendableDim(int dimension) {
    m_job->extendable = dimension < 0 ? -1 : dimension;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetDim(int dimension, const ORQSimCSet& set) {
    // Keeps a wrong number from allocating; CheckView compares with the dimensions of the grid.
    constexpr int kMostDimensions = 16;
    if (dimension < 0 || dimension >= kMostDimensions) {
        ORQBasThrowUsage(InDimension(dimension) + " does not exist");
    }
    const auto place = static_cast<std::size_t>(dimension);
    if (place >= m_job->dims.size()) {
        m_job->dims.reserve(kMostDimensions / 4);
        m_job->dims.resize(place + 1);
    }
    m_job->dims[place] = set;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetAutoExtend() {
    m_job->autoExtend = true;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetDimExtension(const ORQSimCSetID& members) {
    m_job->extension = members;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetBuffer(int buffer, void* data, std::int64_t size) {
    if (buffer < ORQSimbufMain || buffer > ORQSimbufSparseMap) {
        ORQBasThrowUsage("buffer " + std::to_string(buffer) + " does not exist");
    }
    m_job->buffers[static_cast<std::size_t>(buffer)] = {data, size};
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetBuffer(int buffer, const void* data, std::int64_t size) {
    // Only ExecRead writes to a buffer.
    return SetBuffer(buffer, const_cast<void*>(data), size);
}

ORQSimTransfer& ORQSimTransfer::SetBufferType(int scalarType) {
    if (ORQSimScalarSize(scalarType) == 0) {
        ORQBasThrowUsage("the buffer type " + std::to_string(scalarType) + " is no scalar type");
    }
    m_job->bufferType = scalarType;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetBufferPadding(bool isPadded) {
    m_job->isPadded = isPadded;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetSerialization(const ORQSimSerializationType& serialization) {
    m_job->isSparse = serialization.IsSparse();
    return *this;
}

ORQSimTransfer& ORQSimTransfer::SetSparseNNonzero(int count) {
    if (count < 0) {
        ORQBasThrowUsage("the number of non-zeros " + std::to_string(count) + " is below 0");
    }
    m_job->nNonzero = count;
    return *this;
}

ORQSimTransfer& ORQSimTransfer::RelinquishBuffers() {
    m_job->buffers = {};
    return *this;
}

void ORQSimTransfer::CheckView() const {
    m_job->CheckView();
}

std::int64_t ORQSimTransfer::RequiredBufferSize(int buffer) const {
    return m_job->RequiredSize(buffer);
}

ORQSimTransientDrawer ORQSimTransfer::ExecRead() {
    if (m_job->direction != Job::Direction::Read) {
        ORQBasThrowUsage("the transfer was not set to read");
    }
    return m_job->Read();
}

void ORQSimTransfer::ExecWrite() {
    m_job->Write();
}
void ORQSimTransfer::ExecMake() {
    m_job->Make();
}
const ORQSimDrawerID& ORQSimTransfer::DrawerID() const {
    return m_job->drawerID;
}
