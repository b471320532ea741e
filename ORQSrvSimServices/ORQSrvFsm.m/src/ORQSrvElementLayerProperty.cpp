#include "ORQSrvElementLayerProperty.h"

#include <cstdint>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

namespace {

constexpr int kElementsPerChunk = 65536;

omi_BlkBitVect BitsOf(const ORQSimCSet& set) {
    omi_BlkBitVect bits;
    set.AsBitVector(bits);
    return bits;
}

// Whether a set is ascending; a set that is not is reported.
bool IsAscending(bool isAscending, const char* expression) {
    if (!isAscending) {
        ORQSimUttAssert::ReportAssertionFailure(expression);
    }
    return isAscending;
}

}  // namespace

ORQSrvElementLayerProperty::ORQSrvElementLayerProperty(const ORQSimPosition& model,
                                                       const ORQSimCollectionID& layerCollection,
                                                       int slotA, int slotB, int typeA, int typeB)
    : m_model(model),
      m_layerCollection(layerCollection),
      m_slotA(slotA),
      m_slotB(slotB),
      m_typeA(typeA),
      m_typeB(typeB) {
    const ORQSimDSetID known =
        m_model.GetPosition(ads_CoreFragmentTypeIndex(m_slotA, m_slotB)).GetDSet();
    if (!known.IsNull()) {
        m_distribution = ORQSimDSet(known).GetRelationalDistributionID();
        for (const ORQSimPersistentDrawerDesc& drawer :
             ORQSimDistribution(m_distribution).QueryDrawers()) {
            m_drawers.InsertUnique(BitsOf(ORQSimCSet(drawer.CSet(1))), drawer.DrawerID());
        }
    }
}

ORQSrvElementLayerProperty::~ORQSrvElementLayerProperty() = default;

ORQSimCollectionID ORQSrvElementLayerProperty::GetElementCollection() {
    return ORQObjMesh(ORQObjDocument(m_model).GetMesh()).GetElementCollection().GetCollection();
}

ORQSimCollectionID ORQSrvElementLayerProperty::GetSectionLayerCollection() {
    return m_model.Focus()
        .GetPosition(ads_CoreFragmentTypeIndex(18, 11))
        .GetPosition(ads_CoreFragmentTypeIndex(55, 15))
        .GetCollection();
}

void ORQSrvElementLayerProperty::Add(const ORQSimCSetID& elsetID, const ORQSimCSetID& layersID,
                                     const ORQSimDynamicID& value) {
    const ORQSimCSet elements(elsetID);
    const ORQSimCSet layers(layersID);
    if (!IsAscending(elements.IsAscending(), "ORQSimCSet(elsetID).IsAscending()") ||
        !IsAscending(layers.IsAscending(), "ORQSimCSet(layersID).IsAscending()")) {
        return;
    }
    if (m_distribution.IsNull()) {
        CreateDistribution(GetElementCollection(), m_layerCollection);
    }
    const omi_BlkBitVect bits = BitsOf(layers);
    if (!m_drawers.contains(bits)) {
        m_drawers.InsertUnique(bits, CreateDrawer(elsetID, layersID));
    }
    const auto n =
        static_cast<std::size_t>(elements.Size()) * static_cast<std::size_t>(layers.Size());
    const std::vector<int> values(n, m_model.Context().GetCMemberIndex(value));
    ORQSimTransfer write{ORQSimDistribution(m_distribution)};
    write.SetWrite()
        .SetDrawer(ORQSimDrawerID(*m_drawers.Find(bits)))
        .SetAutoExtend()
        .SetBufferPadding(false)
        .SetDim(0, elements)
        .SetDim(1, layers);
    const std::int64_t len = write.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(n * sizeof(int) == static_cast<std::size_t>(len), "n*sizeof(int) == len");
    write.SetBuffer(ORQSimbufMain, values.data(), len);
    write.ExecWrite();
    write.RelinquishBuffers();
}

void ORQSrvElementLayerProperty::CreateDistribution(const ORQSimCollectionID& elements,
                                                    const ORQSimCollectionID& layers) {
    m_distribution = m_model
                         .CreateTypedDistribution(ORQSimGrid(std::vector{elements, layers}),
                                                  ads_CoreFragmentTypeIndex(16, 28),
                                                  ORQSimRangeType(ORQSimScalarInt))
                         .GetDistribution();
}

ORQSimDynamicID ORQSrvElementLayerProperty::CreateDrawer(const ORQSimCSetID& elements,
                                                         const ORQSimCSetID& layers) {
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = kElementsPerChunk;
    chunks.Get(1) = ORQSimCSet(layers).Size();
    ORQSimTransfer make{ORQSimDistribution(m_distribution)};
    make.SetMakeNewDrawerChunked(chunks)
        .SetExtendableDim(0)
        .SetBufferPadding(false)
        .SetDim(0, elements)
        .SetDim(1, layers);
    make.ExecMake();
    return make.DrawerID();
}

ORQSimCSet ORQSrvElementLayerProperty::GetElementLayers(const ORQSimCSetID& elements) {
    ORQSimCSet layers;
    for (const ORQSimPersistentDrawerDesc& drawer :
         ORQSimDistribution(m_distribution).QueryDrawers()) {
        if (!ORQSimCSet(drawer.CSet(0)).Intersection(elements).IsEmpty()) {
            layers = layers.Union(drawer.CSet(1));
        }
    }
    return layers;
}

int ORQSrvElementLayerProperty::Lookup(const ORQSimCSet& elements, const ORQSimCSet& layers,
                                       int* values) const {
    const auto n =
        static_cast<std::size_t>(elements.Size()) * static_cast<std::size_t>(layers.Size());
    if (n == 0 || m_distribution.IsNull()) {
        return 0;
    }
    ORQSimTransfer read{ORQSimDistribution(m_distribution)};
    read.SetRead().SetBufferPadding(false).SetDim(0, elements).SetDim(1, layers);
    const std::int64_t len = read.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(n * sizeof(int) == static_cast<std::size_t>(len), "n*sizeof(int) == len");
    read.SetBuffer(ORQSimbufMain, values, len);
    read.ExecRead();
    read.RelinquishBuffers();
    return static_cast<int>(n);
}

void ORQSrvElementLayerProperty::Save(ORQSimTransaction& transaction) {
    const ORQSimContext context(transaction.ContextID());
    const int slot = ads_CoreFragmentTypeIndex(m_slotA, m_slotB);
    const ORQSimDSetID known = m_model.GetPosition(slot).GetDSet();
    if (!known.IsNull()) {
        context.UpdateDSet(known, m_distribution);
        return;
    }
    if (!m_distribution.IsNull()) {
        m_model.Associate(slot, 0,
                          context.CreateDSet(m_distribution, ORQSimTypeID(ads_CoreFragmentTypeIndex(
                                                                 m_typeA, m_typeB))));
    }
}
