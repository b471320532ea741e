#include "ORQSrvCopyDistribution.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <typeinfo>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"
#include "ORQSrvOwnedArray.h"

namespace {

// One for each dimension.
using Sets = std::vector<ORQSimCSet>;

// Buffers of a copy, reused from piece to piece, so they grow to the largest one.
struct Block {
    ORQSrvOwnedArray<std::byte> buffer;
    std::int64_t bufferSize = 0;
    std::int64_t allocatedSize = 0;

    void Resize(std::int64_t size) {
        bufferSize = size;
        if (size <= allocatedSize) {
            return;
        }
        // Given back first, so that the old and the new one are never held together.
        buffer.reset();
        buffer = ORQSrvAllocateArray<std::byte>(size);
        allocatedSize = size;
    }
};

// A transform is handed the size of its buffer as an int.
constexpr std::size_t kMostBytes = std::numeric_limits<std::int32_t>::max();

// Whether a transform leaves the values as they are.
bool IsVerbatim(const ORQSrvDistributionTransform& transform) {
    return typeid(transform) == typeid(ORQSrvDistributionTransform);
}

// The domain of one dimension; null when nothing restricts it.
ORQSimCSetID Domain(const ORQSimArray<ORQSimCSetID>& domains, int dimension) {
    return dimension < domains.Size() ? domains.ConstGet(dimension) : ORQSimCSetID();
}

// The members of a drawer's set that are in the domain; all of them keep their order.
ORQSimCSet Restricted(const ORQSimCSet& stored, const ORQSimCSetID& domain) {
    if (domain.IsNull()) {
        return stored;
    }
    const ORQSimCSet both = stored.Intersection(ORQSimCSet(domain));
    return both.Size() == stored.Size() ? stored : both;
}

ORQSimCSet SetOf(const ORQSimCollectionID& collection, const std::vector<int>& members) {
    const ORQSimCollection owner(collection);
    const int count = static_cast<int>(members.size());
    return std::is_sorted(members.begin(), members.end())
               ? owner.CreateVolatileCSet(members.data(), count, true)
               : owner.CreateVolatileOrderedCSet(members.data(), count);
}

// The members of a target's collection that belong to those of the source.
class Pairing {
  public:
    Pairing(const ORQSimCollectionID& sourceCollection, const ORQSimCSetID& sourceDomain,
            const ORQSimCollectionID& targetCollection, const ORQSimCSetID& targetDomain)
        : m_targetCollection(targetCollection), m_isSame(targetDomain.IsNull()) {
        if (m_isSame) {
            return;
        }
        m_source = sourceDomain.IsNull() ? ORQSimCSet(sourceCollection) : ORQSimCSet(sourceDomain);
        m_target = ORQSimCSet(targetDomain);
        if (m_source.Size() != m_target.Size()) {
            ORQBasThrowUsage("a domain of " + std::to_string(m_source.Size()) +
                             " members cannot be copied to one of " +
                             std::to_string(m_target.Size()));
        }
        // Equal ascending domains pair each member with itself, without a search for each.
        m_isSame = m_source.CollectionID() == m_target.CollectionID() && m_source.IsAscending() &&
                   m_target.IsAscending() && m_source.SameMembers(m_target);
    }

    ORQSimCSet TargetOf(const ORQSimCSet& source) const {
        if (m_isSame && source.CollectionID() == m_targetCollection) {
            return source;
        }
        std::vector<int> members(static_cast<std::size_t>(source.Size()));
        source.OrderedMembers(members.data());
        if (!m_isSame) {
            for (int& member : members) {
                member = m_target[m_source.SeekMember(member)];
            }
        }
        return SetOf(m_targetCollection, members);
    }

  private:
    ORQSimCollectionID m_targetCollection;
    bool m_isSame;  // the member numbers are those of the source
    ORQSimCSet m_source;
    ORQSimCSet m_target;
};

void SetDims(ORQSimTransfer& transfer, const Sets& sets) {
    for (std::size_t dimension = 0; dimension < sets.size(); ++dimension) {
        transfer.SetDim(static_cast<int>(dimension), sets[dimension]);
    }
    transfer.CheckView();
}

// `count` members of a set from a location on, in its order.
ORQSimCSet Slice(const ORQSimCSet& set, int begin, int count) {
    if (count == set.Size()) {
        return set;
    }
    const ORQSimIntRange bounds = set.Bounds();
    if (set.IsAscending() && bounds.Last() - bounds.First() + 1 == set.Size()) {
        return ORQSimCollection(set.CollectionID())
            .CreateVolatileCSetStrided(bounds.First() + begin, count, 1, 1);
    }
    std::vector<int> members(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        members[static_cast<std::size_t>(i)] = set[begin + i];
    }
    return SetOf(set.CollectionID(), members);
}

Sets SliceOf(const Sets& sets, int begin, int count) {
    Sets slice = sets;
    slice[0] = Slice(sets[0], begin, count);
    return slice;
}

void CheckDimensions(const ORQSimTransientDrawer& read, const ORQSimDistribution& distribution) {
    ORQSrvAssertReported(read.NumDimensions() == distribution.NumDimensions(),
                         "dim == readDistDims");
}

// The copy of one drawer: its source and target sets.
struct Copied {
    ORQSimDistribution from;
    ORQSimPersistentDrawerDesc drawer;
    Sets sets;
    ORQSimDistribution to;
    Sets targetSets;
    ORQSimArray<ORQSimCSetID> domains;  // as the transform sees them
};

// --- Dense drawers -------------------------------------------------------------------------------

// How many members of dimension 0 are copied at a time where no transform needs the whole drawer:
// some 8 MB, so that memory stays small whatever the drawer's size.
int RowsAtOnce(const ORQSimDistribution& source, const ORQSimPersistentDrawerDesc& drawer,
               const Sets& sets) {
    constexpr std::int64_t kBytes = 8 << 20;
    std::int64_t rowBytes = ORQSimScalarSize(source.RangeType().ScalarType());
    for (std::size_t i = 1; i < sets.size(); ++i) {
        rowBytes *= sets[i].Size();
    }
    // A multiple of what is stored as one piece, so that no chunk is written twice.
    std::int64_t unit = 1 << 14;
    if (drawer.IsChunked()) {
        ORQSimArray<int> chunks;
        drawer.ChunkSizes(chunks);
        unit = chunks.ConstGet(0);
    }
    const std::int64_t units = std::max<std::int64_t>(1, kBytes / (rowBytes * unit));
    return static_cast<int>(std::min<std::int64_t>(sets[0].Size(), units * unit));
}

void Read(const ORQSimDistribution& distribution, const ORQSimDrawerID& drawer, const Sets& sets,
          Block& block) {
    ORQSimTransfer readTrans(distribution);
    readTrans.SetRead().SetBufferPadding(true).SetDrawer(drawer);
    SetDims(readTrans, sets);
    block.Resize(readTrans.RequiredBufferSize(ORQSimbufMain));
    readTrans.SetBuffer(ORQSimbufMain, block.buffer.get(), block.bufferSize);
    CheckDimensions(readTrans.ExecRead(), distribution);
}

// Where a block goes: into a drawer that grows, where the source's does, or into a new one.
ORQSimDrawerID ChooseDrawer(const ORQSimDistribution& target,
                            const ORQSimPersistentDrawerDesc& sourceDrawer, const Sets& sets) {
    ORQSimTransfer make(target);
    if (sourceDrawer.ExtendableDim() < 0) {
        make.SetMakeNewDrawer();
    } else {
        ORQSrvAssertReported(sourceDrawer.IsChunked(), "only chunked drawers are extendable");
        const auto drawers = target.DrawerIDArray();
        ORQSrvAssertReported(drawers.Size() < 2,
                             "Extendable dimension in distribution being read, however >1 drawers "
                             "exist in distributino being updated");
        if (drawers.Size() > 0) {
            return drawers.ConstGet(0);
        }
        ORQSimArray<int> chunks;
        sourceDrawer.ChunkSizes(chunks);
        make.SetMakeNewDrawerChunked(chunks).SetExtendableDim(sourceDrawer.ExtendableDim());
    }
    make.SetWrite();
    SetDims(make, sets);
    make.ExecMake();
    return make.DrawerID();
}

void Write(const ORQSimDistribution& distribution, const ORQSimDrawerID& drawer, bool grows,
           const Sets& sets, const Block& block) {
    ORQSimTransfer writeTrans(distribution);
    writeTrans.SetWrite().SetBufferPadding(true).SetDrawer(drawer);
    if (grows) {
        writeTrans.SetAutoExtend();
    }
    SetDims(writeTrans, sets);
    ORQSrvAssertReported(block.bufferSize == writeTrans.RequiredBufferSize(ORQSimbufMain),
                         "bufferSize == writeTrans.RequiredBufferSize()");
    writeTrans.SetBuffer(ORQSimbufMain, block.buffer.get(), block.bufferSize);
    writeTrans.ExecWrite();
    writeTrans.RelinquishBuffers();
}

void CopyDense(const Copied& copied, const ORQSrvDistributionTransform& transform, Block& block) {
    // Without a transform, nobody needs the whole drawer in memory.
    const bool isVerbatim = IsVerbatim(transform);
    const ORQSimDrawerID targetDrawer = ChooseDrawer(copied.to, copied.drawer, copied.targetSets);
    const int nRows = copied.sets[0].Size();
    const int atOnce = isVerbatim ? RowsAtOnce(copied.from, copied.drawer, copied.sets) : nRows;
    for (int begin = 0; begin < nRows; begin += atOnce) {
        const int count = std::min(atOnce, nRows - begin);
        Read(copied.from, copied.drawer.DrawerID(), SliceOf(copied.sets, begin, count), block);
        if (!isVerbatim) {
            transform.Update(block.buffer.get(), copied.domains);
        }
        Write(copied.to, targetDrawer, copied.drawer.ExtendableDim() >= 0,
              SliceOf(copied.targetSets, begin, count), block);
    }
}

// --- Sparse drawers ------------------------------------------------------------------------------

// The three buffers of a sparse transfer.
struct SparseBlock {
    std::vector<std::byte> values;
    std::vector<int> indices;  // into the set of dimension 1, one for each value
    std::vector<int> map;      // row k has the values [map[k], map[k + 1])

    void SetBuffers(ORQSimTransfer& transfer) {
        const auto set = [&](int buffer, auto& items) {
            transfer.SetBuffer(buffer, static_cast<void*>(items.data()),
                               std::ssize(items) * static_cast<std::int64_t>(sizeof(items[0])));
        };
        set(ORQSimbufMain, values);
        set(ORQSimbufIndicesNZ, indices);
        set(ORQSimbufSparseMap, map);
    }
};

SparseBlock ReadSparse(const Copied& copied) {
    ORQSimTransfer readTrans(copied.from);
    readTrans.SetRead()
        .SetSerialization(ORQSimSerializationType().SetSparse())
        .SetDrawer(copied.drawer.DrawerID());
    SetDims(readTrans, copied.sets);
    const std::int64_t nBytes = readTrans.RequiredBufferSize(ORQSimbufMain);
    const std::int64_t nValues = nBytes / ORQSimScalarSize(copied.from.RangeType().ScalarType());
    SparseBlock block{std::vector<std::byte>(static_cast<std::size_t>(nBytes)),
                      std::vector<int>(static_cast<std::size_t>(nValues)),
                      std::vector<int>(static_cast<std::size_t>(copied.sets[0].Size()) + 1)};
    block.SetBuffers(readTrans);
    CheckDimensions(readTrans.ExecRead(), copied.from);
    return block;
}

// Gives the transform all cells of the block, zeros where nothing is stored, and keeps the results
// for the stored ones only.
void UpdateStored(const Copied& copied, const ORQSrvDistributionTransform& transform,
                  SparseBlock& block) {
    const auto nColumns = static_cast<std::size_t>(copied.sets[1].Size());
    const auto nRows = block.map.size() - 1;
    const auto size =
        static_cast<std::size_t>(ORQSimScalarSize(copied.from.RangeType().ScalarType()));
    if (nRows * nColumns > kMostBytes / size) {
        ORQBasThrowUsage("a transform cannot see a sparse drawer of " + std::to_string(nRows) +
                         " x " + std::to_string(nColumns) +
                         " cells whole: it has more than 2147483647 bytes");
    }
    std::vector<std::byte> cells(nRows * nColumns * size);
    const auto forEachStored = [&](auto&& move) {
        for (std::size_t row = 0; row < nRows; ++row) {
            for (auto k = static_cast<std::size_t>(block.map[row]);
                 k < static_cast<std::size_t>(block.map[row + 1]); ++k) {
                const auto column = static_cast<std::size_t>(block.indices[k]);
                move(cells.data() + (row * nColumns + column) * size,
                     block.values.data() + k * size);
            }
        }
    };
    forEachStored([&](std::byte* cell, const std::byte* value) { std::memcpy(cell, value, size); });
    transform.Update(cells.data(), copied.domains);
    forEachStored([&](const std::byte* cell, std::byte* value) { std::memcpy(value, cell, size); });
}

void CopySparse(const Copied& copied, const ORQSrvDistributionTransform& transform) {
    SparseBlock block = ReadSparse(copied);
    if (!IsVerbatim(transform)) {
        UpdateStored(copied, transform, block);
    }
    ORQSimTransfer writeTrans(copied.to);
    writeTrans.SetWrite()
        .SetMakeNewDrawer()
        .SetSerialization(ORQSimSerializationType().SetSparse())
        .SetSparseNNonzero(static_cast<int>(block.indices.size()));
    SetDims(writeTrans, copied.targetSets);
    ORQSrvAssertReported(std::ssize(block.values) == writeTrans.RequiredBufferSize(ORQSimbufMain),
                         "bufferSize == writeTrans.RequiredBufferSize()");
    block.SetBuffers(writeTrans);
    writeTrans.ExecWrite();
}

// --- All drawers ---------------------------------------------------------------------------------

// Types of one size are not the same: bytes of a float copied to an int would be another number.
void CheckTypes(const ORQSimDistribution& from, const ORQSimDistribution& to) {
    const int source = from.RangeType().ScalarType();
    const int target = to.RangeType().ScalarType();
    if (source != target && ORQSimScalarSize(source) == ORQSimScalarSize(target)) {
        ORQBasThrowUsage("values of scalar type " + std::to_string(source) +
                         " cannot be copied to a distribution of type " + std::to_string(target));
    }
}

}  // namespace

void ORQSrvCopyDistribution(const ORQSimDistributionID& source, const ORQSimDistributionID& target,
                            const ORQSimArray<ORQSimCSetID>& sourceDomains,
                            const ORQSimArray<ORQSimCSetID>& targetDomains,
                            const ORQSrvDistributionTransform& transform) {
    const ORQSimDistribution readDist(source);
    const ORQSimDistribution writeDist(target);
    const int dimensions = readDist.NumDimensions();
    ORQSrvAssertReported(dimensions == writeDist.NumDimensions(),
                         "The dimensions of the two distributions must match");
    ORQSrvAssertReported(sourceDomains.Size() != 0,
                         "CSets missing for all domains of distribution being read");
    ORQSrvAssertReported(targetDomains.Size() != 0,
                         "CSets missing for all domains of distribution being written");
    const auto writeDrwDescArray = writeDist.QueryDrawers();
    ORQSrvAssertReported(writeDrwDescArray.Size() == 0 || writeDrwDescArray.Size() == 1,
                         "writeDrwDescArray.Size() == 0 || writeDrwDescArray.Size() == 1");
    CheckTypes(readDist, writeDist);

    std::vector<Pairing> pairings;
    for (int i = 0; i < dimensions; ++i) {
        pairings.emplace_back(readDist.Grid().Collection(i), Domain(sourceDomains, i),
                              writeDist.Grid().Collection(i), Domain(targetDomains, i));
    }
    Block block;
    for (const ORQSimPersistentDrawerDesc& drawer : readDist.QueryDrawers()) {
        Copied copied{readDist, drawer, {}, writeDist, {}, ORQSimArray<ORQSimCSetID>(dimensions)};
        for (int i = 0; i < dimensions; ++i) {
            copied.sets.push_back(Restricted(drawer.CSet(i), Domain(sourceDomains, i)));
        }
        if (std::ranges::any_of(copied.sets, &ORQSimCSet::IsEmpty)) {
            continue;
        }
        for (int i = 0; i < dimensions; ++i) {
            const auto place = static_cast<std::size_t>(i);
            const ORQSimCSet& set = copied.sets[place];
            copied.domains.Get(i) = set.ID().IsNull() ? set.RegisterWithTempCollection() : set.ID();
            copied.targetSets.emplace_back(pairings[place].TargetOf(set).RegisterWithCollection());
        }
        if (drawer.Layout() == ORQSimDrawerLayout::Sparse) {
            CopySparse(copied, transform);
        } else {
            CopyDense(copied, transform, block);
        }
    }
}
