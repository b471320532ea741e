#include "ORQSrvInverseConnectivity.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQObjMesh.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"
#include "ORQSrvOwnedArray.h"

namespace {

// An entry is the element in the low 25 bits and the place of the node in it above them. Hosts
// decode entries, do not change.
constexpr unsigned kElementMask = 0x1FFFFFF;
constexpr int kPlaceShift = 25;

std::int64_t NumCells(const ORQSimCSetID& rows, const ORQSimCSetID& cols) {
    return static_cast<std::int64_t>(ORQSimCSet(rows).Size()) * ORQSimCSet(cols).Size();
}

// Offsets are ints.
int CheckedTotal(std::int64_t nEntries) {
    constexpr int kMost = std::numeric_limits<int>::max();
    if (nEntries > kMost) {
        ORQBasThrowUsage("the connectivity has " + std::to_string(nEntries) +
                         " entries, of which " + std::to_string(kMost) +
                         " can be inverted at once; invert it by sets of elements");
    }
    return static_cast<int>(nEntries);
}

}  // namespace

// The part of one drawer that is inverted. The first pass counts the entries of each node, the
// second writes them behind each other; the values stay in memory between the two, so that each
// drawer is read once.
struct ORQSrvInverseConnectivity::Block {
    ORQSimCSetID rows;
    ORQSimCSetID cols;
    ORQSrvOwnedArray<int> nodes;
};

ORQSrvInverseConnectivity::ORQSrvInverseConnectivity(const ORQSimPosition& position)
    : m_position(position) {}

ORQSrvInverseConnectivity::~ORQSrvInverseConnectivity() {
    Clear();
}

void ORQSrvInverseConnectivity::Clear() {
    mem_Free(m_offsets);
    mem_Free(m_entries);
    m_offsets = nullptr;
    m_entries = nullptr;
    m_total = 0;
}

void ORQSrvInverseConnectivity::Invert() {
    Build(nullptr);
}

void ORQSrvInverseConnectivity::Invert(const ORQSimCSetID& elsetID) {
    const ORQSimCSet elset(elsetID);
    ORQSrvAssertReported(elset.IsAscending() || elset.Size() == 0,
                         "elset.IsAscending() || elset.Size() == 0");
    Build(&elsetID);
}

int ORQSrvInverseConnectivity::NumberNodes() const {
    const ORQSimPosition nodes = m_position.GetPosition(ORQSimSchema::Mesh_nodes);
    return ORQSimDrawer(nodes.GetDrawer()).Space();
}

void ORQSrvInverseConnectivity::Build(const ORQSimCSetID* elset) {
    Clear();
    const int n = NumberNodes();
    // Counts first, then offsets in the same array: it is large, and each is needed once.
    m_offsets = ORQSrvAllocateArray<int>(std::int64_t{n} + 1).release();
    std::fill_n(m_offsets, std::int64_t{n} + 1, 0);

    std::vector<Block> blocks;
    std::int64_t nEntries = 0;
    const ORQSimDSet dataSet = m_position.GetPosition(ORQSimSchema::Mesh_connectivity).DSet();
    if (!dataSet.IsEmpty()) {
        ORQSimDistribution distribution(dataSet.GetRelationalDistributionID());
        for (const ORQSimPersistentDrawerDesc& drawer : distribution.QueryDrawers()) {
            Block block{drawer.CSet(0), drawer.CSet(1), nullptr};
            if (elset != nullptr) {
                block.rows = ORQSimCSet(block.rows)
                                 .Intersection(ORQSimCSet(*elset))
                                 .RegisterWithTempCollection();
            }
            nEntries += NumCells(block.rows, block.cols);
            blocks.push_back(std::move(block));
        }
        m_total = CheckedTotal(nEntries);  // before anything is read
        for (Block& block : blocks) {
            block.nodes.reset(ReadConnectivityBlockAndCount(distribution, block.rows, block.cols));
        }
    }
    ConvertCountToOffsetArray(n);
    if (m_total == 0) {
        return;
    }
    m_entries = ORQSrvAllocateArray<unsigned>(m_total).release();
    // Where the next entry of each node goes; the offsets stay as they are.
    const ORQSrvOwnedArray<int> cursor = ORQSrvAllocateArray<int>(n);
    std::copy_n(m_offsets, n, cursor.get());
    for (Block& block : blocks) {
        ProcessConnectivityBlock(block.nodes.get(), block.rows, block.cols, cursor.get());
        // Each block is given back as soon as it has been written, so that memory falls while
        // entries grow.
        block.nodes.reset();
    }
}

int* ORQSrvInverseConnectivity::ReadConnectivityBlockAndCount(ORQSimDistribution& dist,
                                                              const ORQSimCSetID& rows,
                                                              const ORQSimCSetID& cols) {
    const std::int64_t ndata = NumCells(rows, cols);
    ORQSimTransfer read(dist);
    read.SetRead().SetDim(0, rows).SetDim(1, cols);
    read.CheckView();  // before anything is allocated by sizes that a file gives
    ORQSrvOwnedArray<int> nodes = ORQSrvAllocateArray<int>(ndata);
    const std::int64_t size = read.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(size == ndata * static_cast<std::int64_t>(sizeof(int)),
                         "size == ndata*sizeof(int)");
    read.SetBuffer(ORQSimbufMain, nodes.get(), size);
    read.ExecRead();
    read.RelinquishBuffers();
    int* counts = m_offsets;
    // A file may name any node; counts of others would be written outside the table.
    const auto n = static_cast<unsigned>(NumberNodes());
    for (std::int64_t i = 0; i < ndata; ++i) {
        const int node = nodes[static_cast<std::size_t>(i)];
        if (static_cast<unsigned>(node) >= n) {
            throw ORQBasFailure(
                ORQBasFailureKind::Damaged,
                "the connectivity names node " + std::to_string(node) + " of " + std::to_string(n));
        }
        ++counts[node];
    }
    return nodes.release();
}

void ORQSrvInverseConnectivity::ProcessConnectivityBlock(const int* block, const ORQSimCSetID& rows,
                                                         const ORQSimCSetID& cols, int* cursor) {
    const unsigned c = static_cast<unsigned>(ORQSimCSet(cols).Size());
    for (ORQSimCSetIterator row{ORQSimCSet(rows)}; !row.IsDone(); row.Next()) {
        const unsigned element = static_cast<unsigned>(row.CurrentValue()) & kElementMask;
        for (unsigned j = 0; j < c; ++j) {
            m_entries[cursor[*block++]++] = element | (j << kPlaceShift);
        }
    }
}

void ORQSrvInverseConnectivity::ConvertCountToOffsetArray(int n) {
    int before = 0;
    for (int k = 0; k <= n; ++k) {
        const int count = m_offsets[k];
        m_offsets[k] = before;
        before += count;
    }
}
