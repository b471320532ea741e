#include "ORQSrvNodalCoordinates.h"

#include <cstdint>
#include <cstring>

#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQSimArray.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

namespace {

constexpr std::int64_t kDoubleSize = sizeof(double);

ORQSimDrawerID MakeDrawer(const ORQSimDistribution& distribution, const ORQSimCSet& nodes,
                          const ORQSimCSet& components, int chunkSize) {
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = chunkSize;
    chunks.Get(1) = components.Size();
    ORQSrvAssertReported(chunks.ConstGet(1) > 1, "chunks[1] > 1");
    // The ascending set: a drawer that is made with an ordered one keeps the order of all later
    // appends as well, and a list of its members.
    ORQSimTransfer make(distribution);
    make.SetMakeNewDrawerChunked(chunks)
        .SetBufferPadding(false)
        .SetExtendableDim(0)
        .SetDim(0, nodes.AscendingID())
        .SetDim(1, components);
    make.ExecMake();
    return make.DrawerID();
}

}  // namespace

ORQSrvNodalCoordinates::ORQSrvNodalCoordinates(const ORQSimPosition& position, int chunkSize)
    : m_chunkSize(chunkSize), m_distributionID(position.GetDistribution()) {
    const ORQObjModel model(position.Focus().GetPosition(ORQSimSchema::Focus_model));
    m_nodeCollection = ORQObjMesh(model.GetMesh()).GetNodeCollection().GetCollection();
}

int ORQSrvNodalCoordinates::Append(ORQSimTransaction&, const ORQSimCSetID& nodes,
                                   const ORQSimCSetID& components, const double* values) {
    ORQSrvAssertReported(!m_distributionID.IsNull(), "m_distributionID.IsNull() == false");
    const ORQSimDistribution distribution(m_distributionID);
    const ORQSimCSet nodeSet(nodes);
    const ORQSimCSet componentSet(components);
    const int numDrawers = distribution.NumDrawers();
    ORQSrvAssertReported(numDrawers < 2, "numDrawers < 2");
    const ORQSimDrawerID drawer = numDrawers == 0
                                      ? MakeDrawer(distribution, nodeSet, componentSet, m_chunkSize)
                                      : distribution.DrawerIDArray().ConstGet(0);

    ORQSimTransfer write(distribution);
    write.SetWrite()
        .SetBufferPadding(false)
        .SetAutoExtend()
        .SetDrawer(drawer)
        .SetDim(0, nodeSet)
        .SetDim(1, componentSet);
    // A view that is too large is refused here; the assertion below would end the process.
    write.CheckView();
    const std::int64_t len = write.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(
        len == static_cast<std::int64_t>(nodeSet.Size()) * componentSet.Size() * kDoubleSize,
        "len == n*ORQSimCSet(componentSet).Size()*sizeof(double)");
    write.SetBuffer(ORQSimbufMain, values, len);
    write.ExecWrite();
    write.RelinquishBuffers();
    return static_cast<int>(len);
}

int ORQSrvNodalCoordinates::Read(const ORQSimCSet& nodes, const ORQSimCSet& components,
                                 double* values) const {
    ORQSrvAssertReported(!m_distributionID.IsNull(), "m_distributionID.IsNull() == false");
    ORQSimTransfer read{ORQSimDistribution(m_distributionID)};
    read.SetRead().SetBufferPadding(false).SetDim(0, nodes).SetDim(1, components);
    read.CheckView();  // before the buffer is cleared, which a refused read leaves alone
    const std::int64_t len = read.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(
        static_cast<std::int64_t>(nodes.Size()) * components.Size() * kDoubleSize == len,
        "n*sizeof(double) == len");
    if (len > 0) {
        // Clearing costs as much as reading, and is not needed where one drawer stores the whole
        // view.
        if (!IsStored(nodes, components)) {
            std::memset(values, 0, static_cast<std::size_t>(len));
        }
        read.SetBuffer(ORQSimbufMain, values, len);
        read.ExecRead();
        read.RelinquishBuffers();
    }
    return static_cast<int>(len);
}

bool ORQSrvNodalCoordinates::IsStored(const ORQSimCSet& nodes, const ORQSimCSet& components) const {
    const auto drawers = ORQSimDistribution(m_distributionID).QueryDrawers();
    const auto holds = [&](int dimension, const ORQSimCSet& set) {
        const ORQSimCSet stored(drawers.ConstGet(0).CSet(dimension));
        return set.Intersection(stored).Size() == set.Size();
    };
    return drawers.Size() == 1 && drawers.ConstGet(0).Layout() != ORQSimDrawerLayout::Sparse &&
           holds(0, nodes) && holds(1, components);
}

ORQSimCSet ORQSrvNodalCoordinates::Nodes() const {
    return Union(true);
}
ORQSimCSet ORQSrvNodalCoordinates::Components() const {
    return Union(false);
}

ORQSimCSet ORQSrvNodalCoordinates::Union(bool ofNodes) const {
    ORQSrvAssertReported(!m_distributionID.IsNull(), "m_distributionID.IsNull() == false");
    const auto drawers = ORQSimDistribution(m_distributionID).QueryDrawers();
    const auto setOf = [&](const ORQSimPersistentDrawerDesc& drawer) {
        const int pos = drawer.Compartment().Position(m_nodeCollection);
        ORQSrvAssertReported(pos >= 0, "pos >= 0");
        return ORQSimCSet(drawer.CSet(ofNodes ? pos : (pos == 0 ? 1 : 0)));
    };
    ORQSimCSet result = setOf(drawers.ConstGet(0));
    for (int i = 1; i < drawers.Size(); ++i) {
        result = result.Union(setOf(drawers.ConstGet(i)));
    }
    return result;
}
