#include "ORQSrvElementLayerProperty.h"

#include <algorithm>
#include <cstddef>
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

// A drawer has few layers, the whole of which lie in each chunk, and any number of elements.
constexpr int kElementsPerChunk = 65536;
constexpr int kElements = 0;  // dimensions of the distribution
constexpr int kLayers = 1;
constexpr int kNone = -1;  // for a pair without a value

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

bool Meet(const omi_BlkBitVect& bits, const ORQSimCSet& set) {
    omi_BlkBitVectTrav members(bits);
    int member = members.First();
    while (member >= 0 && set.SeekMember(member) < 0) {
        member = members.Next();
    }
    return member >= 0;
}

std::size_t NumberOfPairs(const ORQSimCSet& elements, const ORQSimCSet& layers) {
    return static_cast<std::size_t>(elements.Size()) * static_cast<std::size_t>(layers.Size());
}

void WriteBlock(const ORQSimDynamicID& drawer, const ORQSimCSet& elements, const ORQSimCSet& layers,
                const std::vector<int>& values) {
    const ORQSimDrawerID id(drawer);
    ORQSimTransfer write{ORQSimDistribution(id.DistributionID())};
    write.SetWrite()
        .SetDrawer(id)
        .SetAutoExtend()
        .SetBufferPadding(false)
        .SetDim(0, elements)
        .SetDim(1, layers);
    const std::int64_t len = write.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(values.size() * sizeof(int) == static_cast<std::size_t>(len),
                         "n*sizeof(int) == len");
    write.SetBuffer(ORQSimbufMain, values.data(), len);
    write.ExecWrite();
    write.RelinquishBuffers();
}

void ReadBlock(ORQSimTransfer& read, const ORQSimCSet& elements, const ORQSimCSet& layers,
               int* values) {
    read.SetRead().SetBufferPadding(false).SetDim(0, elements).SetDim(1, layers);
    const std::int64_t len = read.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertReported(
        NumberOfPairs(elements, layers) * sizeof(int) == static_cast<std::size_t>(len),
        "n*sizeof(int) == len");
    read.SetBuffer(ORQSimbufMain, values, len);
    read.ExecRead();
    read.RelinquishBuffers();
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
    m_distribution = ORQSimDSet(SavedSet()).GetRelationalDistributionID();
    NoteDrawers();
}

ORQSrvElementLayerProperty::~ORQSrvElementLayerProperty() = default;

ORQSimCollectionID ORQSrvElementLayerProperty::GetElementCollection() {
    return ORQObjMesh(ORQObjDocument(m_model).GetMesh()).GetElementCollection().GetCollection();
}

ORQSimCollectionID ORQSrvElementLayerProperty::GetSectionLayerCollection() {
    return m_model.Focus()
        .GetPosition(ORQSimSchema::Focus_libraries)
        .GetPosition(ORQSimSchema::Libraries_sectionLayers)
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
    const std::size_t n = NumberOfPairs(elements, layers);
    if (n == 0) {
        return;
    }
    if (m_distribution.IsNull()) {
        m_distribution = ORQSimDSet(SavedSet()).GetRelationalDistributionID();
    }
    if (m_distribution.IsNull()) {
        CreateDistribution(GetElementCollection(), m_layerCollection);
    }
    NoteDrawers();
    const omi_BlkBitVect bits = BitsOf(layers);
    if (!m_drawers.contains(bits)) {
        const ORQSimDynamicID made = CreateDrawer(elsetID, layersID);
        m_drawers.InsertUnique(bits, made);
        m_layers.InsertUnique(made, bits);
    }
    const ORQSimDynamicID drawer = *m_drawers.Find(bits);
    const int index = m_model.Context().GetCMemberIndex(value);
    WriteBlock(drawer, elements, layers, std::vector<int>(n, index));
    // The value has to be read back though an overlapping drawer was made after this one.
    WriteToLaterDrawers(drawer, elements, layers, index);
}

// Where drawers overlap, the later one is read.
void ORQSrvElementLayerProperty::WriteToLaterDrawers(const ORQSimDynamicID& drawer,
                                                     const ORQSimCSet& elements,
                                                     const ORQSimCSet& layers, int value) const {
    for (auto later = m_layers.upper_bound(drawer); later != m_layers.end(); ++later) {
        if (!Meet(later->second, layers)) {
            continue;
        }
        const auto description =
            ORQSimDistribution(m_distribution).DrawerDescription(ORQSimDrawerID(later->first));
        const ORQSimCSet sharedElements =
            elements.Intersection(ORQSimCSet(description.CSet(kElements)));
        const ORQSimCSet sharedLayers = layers.Intersection(ORQSimCSet(description.CSet(kLayers)));
        if (const std::size_t n = NumberOfPairs(sharedElements, sharedLayers); n > 0) {
            WriteBlock(later->first, sharedElements, sharedLayers, std::vector<int>(n, value));
        }
    }
}

// --- The distribution and its drawers ------------------------------------------------------------

ORQSimDSetID ORQSrvElementLayerProperty::SavedSet() const {
    return m_model.GetPosition(ads_CoreFragmentTypeIndex(m_slotA, m_slotB)).GetDSet();
}

// Drawers may be others than those known: another object made some, or an undone transaction took
// some away.
void ORQSrvElementLayerProperty::NoteDrawers() {
    const auto ids = ORQSimDistribution(m_distribution).DrawerIDArray();
    if (std::ranges::equal(
            ids, m_layers, {}, [](const ORQSimDrawerID& id) { return ORQSimDynamicID(id); },
            [](const auto& entry) { return entry.first; })) {
        return;
    }
    m_drawers.Clear();
    m_layers.Clear();
    for (const ORQSimPersistentDrawerDesc& drawer :
         ORQSimDistribution(m_distribution).QueryDrawers()) {
        const omi_BlkBitVect bits = BitsOf(ORQSimCSet(drawer.CSet(kLayers)));
        m_drawers[bits] = drawer.DrawerID();
        m_layers.InsertUnique(drawer.DrawerID(), bits);
    }
}

void ORQSrvElementLayerProperty::CreateDistribution(const ORQSimCollectionID& elements,
                                                    const ORQSimCollectionID& layers) {
    m_distribution = m_model
                         .CreateTypedDistribution(ORQSimGrid(std::vector{elements, layers}),
                                                  ORQSimSchema::DistributionRecord,
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
        if (!ORQSimCSet(drawer.CSet(kElements)).Intersection(elements).IsEmpty()) {
            layers = layers.Union(drawer.CSet(kLayers));
        }
    }
    return layers;
}

int ORQSrvElementLayerProperty::Lookup(const ORQSimCSet& elements, const ORQSimCSet& layers,
                                       int* values) const {
    const std::size_t n = NumberOfPairs(elements, layers);
    std::fill_n(values, n, kNone);
    if (n > 0 && !m_distribution.IsNull()) {
        ORQSimTransfer read{ORQSimDistribution(m_distribution)};
        ReadBlock(read, elements, layers, values);
    }
    return static_cast<int>(n);
}

// --- Saving --------------------------------------------------------------------------------------

void ORQSrvElementLayerProperty::Save(ORQSimTransaction& transaction) {
    if (m_distribution.IsNull()) {
        return;
    }
    const ORQSimContext context(transaction.ContextID());
    const ORQSimDSetID saved = SavedSet();
    if (saved.IsNull()) {
        m_model.Associate(ads_CoreFragmentTypeIndex(m_slotA, m_slotB), 0,
                          context.CreateDSet(m_distribution, ORQSimTypeID(ads_CoreFragmentTypeIndex(
                                                                 m_typeA, m_typeB))));
        return;
    }
    const ORQSimDistributionID stored = ORQSimDSet(saved).GetRelationalDistributionID();
    if (!stored.IsNull() && stored != m_distribution) {
        Join(stored);
    }
    context.UpdateDSet(saved, m_distribution);
}

// Copies the drawers to the distribution that was saved first, behind its own, and continues with
// that one: the saved data set can stand on one distribution only.
void ORQSrvElementLayerProperty::Join(const ORQSimDistributionID& saved) {
    const ORQSimDistribution own(m_distribution);
    m_distribution = saved;
    for (const ORQSimPersistentDrawerDesc& drawer : own.QueryDrawers()) {
        const ORQSimCSet elements(drawer.CSet(kElements));
        const ORQSimCSet layers(drawer.CSet(kLayers));
        std::vector<int> values(NumberOfPairs(elements, layers));
        ORQSimTransfer read{own};
        read.SetDrawer(drawer.DrawerID());
        ReadBlock(read, elements, layers, values.data());
        WriteBlock(CreateDrawer(drawer.CSet(kElements), drawer.CSet(kLayers)), elements, layers,
                   values);
        own.DeleteDrawer(drawer.DrawerID());
    }
    NoteDrawers();
}
