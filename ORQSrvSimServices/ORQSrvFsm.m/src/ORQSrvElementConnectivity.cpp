#include "ORQSrvElementConnectivity.h"

#include <cstdint>

#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

namespace {

constexpr const char* s_connectivitySource = ORQ_SRV_SOURCE("ORQSrvElementConnectivity");

}  // namespace

ORQSrvElementConnectivity::ORQSrvElementConnectivity(const ORQSimPosition& position, int chunkSize)
    : m_chunkSize(chunkSize), m_dataSet(position.GetDSet()) {}

ORQSrvElementConnectivity::ORQSrvElementConnectivity(
    const ORQSimPosition& position, const ORQSimBtree<ORQSimDynamicID, int>& chunkSizes)
    : m_chunkSizes(chunkSizes), m_dataSet(position.GetDSet()) {}

int ORQSrvElementConnectivity::Append(ORQSimTransaction& transaction, const ORQSimDynamicID& kind,
                                      const ORQSimCSetID& elements, const ORQSimCSetID& columns,
                                      const int* nodes) {
    const ORQSimDistributionID rdistribution = ORQSimDSet(m_dataSet).GetRelationalDistributionID();
    ORQSrvAssertFatal(!rdistribution.IsNull(), "rdistribution.IsNull() == false",
                      s_connectivitySource, 39);
    const ORQSimCSet elementSet(elements);
    const ORQSimCSet columnSet(columns);
    const ORQSimDrawerID drawer = m_drawerIndices.IsMember(kind)
                                      ? m_drawers.ConstGet(m_drawerIndices.Get(kind))
                                      : MakeDrawer(rdistribution, kind, elementSet, columnSet);

    ORQSimTransfer write{ORQSimDistribution(rdistribution)};
    write.SetWrite()
        .SetBufferType(ORQSimScalarInt)
        .SetAutoExtend()
        .SetBufferPadding(false)
        .SetDrawer(drawer)
        .SetDim(0, elementSet)
        .SetDim(1, columnSet);
    const std::int64_t len = write.RequiredBufferSize(ORQSimbufMain);
    write.SetBuffer(ORQSimbufMain, nodes, len);
    write.ExecWrite();
    write.RelinquishBuffers();
    ORQSimContext(transaction.ContextID()).UpdateDSet(m_dataSet, drawer);
    return static_cast<int>(len);
}

ORQSimDrawerID ORQSrvElementConnectivity::MakeDrawer(const ORQSimDistributionID& rdistribution,
                                                     const ORQSimDynamicID& kind,
                                                     const ORQSimCSet& elements,
                                                     const ORQSimCSet& columns) {
    ORQSimArray<int> chunks(2);
    if (m_chunkSizes.IsMember(kind)) {
        chunks.Get(0) = m_chunkSizes.Get(kind);
    } else {
        ORQSrvAssertFatal(m_chunkSize != 0, "m_chunkSize != 0", s_connectivitySource, 52);
        chunks.Get(0) = m_chunkSize;
    }
    chunks.Get(1) = columns.Size();
    ORQSimTransfer make{ORQSimDistribution(rdistribution)};
    make.SetMakeNewDrawerChunked(chunks)
        .SetBufferPadding(false)
        .SetExtendableDim(0)
        .SetDim(0, elements.AscendingID())
        .SetDim(1, columns);
    make.ExecMake();
    const int index = m_drawerIndices.Size();
    m_drawerIndices.Insert(kind, index, false);
    m_drawers.SetSize(index + 1);
    m_drawers.Get(index) = make.DrawerID();
    return make.DrawerID();
}

int ORQSrvElementConnectivity::Read(const ORQSimCSet& elements, const ORQSimCSet& columns,
                                    int* nodes) const {
    ORQSimTransfer read{ORQSimDistribution(ORQSimDSet(m_dataSet).GetRelationalDistributionID())};
    // The buffer holds ints, whatever a file says that the values are.
    read.SetRead()
        .SetBufferType(ORQSimScalarInt)
        .SetBufferPadding(false)
        .SetDim(0, elements)
        .SetDim(1, columns);
    const std::int64_t len = read.RequiredBufferSize(ORQSimbufMain);
    read.SetBuffer(ORQSimbufMain, nodes, len);
    read.ExecRead();
    read.RelinquishBuffers();
    return static_cast<int>(len);
}
