#include "ORQSrvBulkShellLayers.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <string>

#include "ORQObjDocument.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvBulkShellLayersCommon.h"

template class omi_SingletonBase<ORQSrvBulkShellLayers>;
template class omi_Singleton<ORQSrvBulkShellLayers>;

using namespace orq::layers;

namespace {

// Small pieces: a drawer for each layer and attribute grows along the sections.
constexpr int kSectionsPerChunk = 4096;
constexpr int kNoReference = -1;

ORQSimArray<int> ChunkSizes() {
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = 1;
    chunks.Get(1) = kSectionsPerChunk;
    return chunks;
}

}  // namespace

/// An attribute with one value per layer and section.
struct ORQSrvBulkShellLayers::Attribute {
    int slot;  // from the section data
    ORQSimRangeType range;
    const char* userField;  // the field that types the values, null for references and counts
    const char* lengthCheck;
    // The source lines by which hosts know the checks, see ORQSrvAssert.h.
    int layerPositionLine;
    int layerSetLine;
    int userFieldLine;
    int extendLine;
    int makeLine;
};

template <class T>
void ORQSrvBulkShellLayers::Column<T>::Settle() {
    if (std::ranges::adjacent_find(members, std::greater_equal{}) == members.end()) {
        return;
    }
    // Stable, so that of several values for a section the one that was given first stays.
    std::vector<std::size_t> places(members.size());
    std::iota(places.begin(), places.end(), std::size_t{0});
    std::ranges::stable_sort(places, {}, [&](std::size_t place) { return members[place]; });
    Column settled;
    for (const std::size_t place : places) {
        if (settled.members.empty() || settled.members.back() != members[place]) {
            settled.Append(members[place], values[place]);
        }
    }
    *this = std::move(settled);
}

template struct ORQSrvBulkShellLayers::Column<int>;
template struct ORQSrvBulkShellLayers::Column<double>;

// --- Collecting ----------------------------------------------------------------------------------

void ORQSrvBulkShellLayers::AppendMaterial(int layer, int section, int material) {
    m_materials[layer].Append(section, material);
}

void ORQSrvBulkShellLayers::AppendOrientation(int layer, int section, int orientation) {
    m_orientations[layer].Append(section, orientation);
}

void ORQSrvBulkShellLayers::AppendPly(int layer, int section, int ply) {
    m_plies[layer].Append(section, ply);
}

void ORQSrvBulkShellLayers::AppendNumSectionPoints(int layer, int section, int count) {
    m_sectionPoints[layer].Append(section, count);
}

void ORQSrvBulkShellLayers::AppendConstThickness(int layer, int section, double thickness) {
    m_constThicknesses[layer].Append(section, thickness);
}

void ORQSrvBulkShellLayers::AppendConstAngle(int layer, int section, double angle) {
    m_constAngles[layer].Append(section, angle);
}

void ORQSrvBulkShellLayers::AppendDistThickness(int layer, const ORQSimPosition& region,
                                                const ORQSimPosition& field) {
    m_distThicknesses[layer].emplace_back(region, field);
}

void ORQSrvBulkShellLayers::AppendDistAngle(int layer, const ORQSimPosition& region,
                                            const ORQSimPosition& field) {
    m_distAngles[layer].emplace_back(region, field);
}

bool ORQSrvBulkShellLayers::IsEmpty() const {
    return m_materials.empty() && m_orientations.empty() && m_plies.empty() &&
           m_sectionPoints.empty() && m_constThicknesses.empty() && m_constAngles.empty() &&
           m_distThicknesses.empty() && m_distAngles.empty();
}

void ORQSrvBulkShellLayers::Clean() {
    m_materials.Clear();
    m_orientations.Clear();
    m_plies.Clear();
    m_sectionPoints.Clear();
    m_constThicknesses.Clear();
    m_constAngles.Clear();
    m_distThicknesses.Clear();
    m_distAngles.Clear();
}

// --- Writing -------------------------------------------------------------------------------------

void ORQSrvBulkShellLayers::WriteBulkDistributions(const ORQSimPosition& model) {
    if (!m_active) {
        return;
    }
    m_model = model;
    if (IsEmpty() && !HasLayeredSection()) {
        return;
    }
    // All of them before the transaction: a refusal changes nothing.
    CheckReferences(m_materials, "material", MaterialCollection());
    CheckReferences(m_orientations, "orientation", OrientationCollection());
    CheckReferences(m_plies, "ply", PlyCollection());
    ORQSimTransaction transaction(m_model);
    Initialize();
    WriteMaterialDistribution();
    WriteOrientationDistribution();
    WritePlyDistribution();
    WriteSectionPointDistribution();
    WriteConstThicknessDistribution();
    WriteConstAngleDistribution();
    WriteDistThicknessDistribution();
    WriteDistAngleDistribution();
    transaction.Commit();
}

bool ORQSrvBulkShellLayers::HasLayeredSection() const {
    const ORQSimCollection sections(SectionCollection());
    for (int member = 0; member < sections.Space(); ++member) {
        if (m_model.Context().GetRecord(sections.ID(), member).IsA(ORQSimSchema::Section_layered)) {
            return true;
        }
    }
    return false;
}

void ORQSrvBulkShellLayers::Initialize() {
    // The attributes hang on the collection itself, which is also the record of the section data.
    m_sectionData = m_model.GetPosition(ORQSimSchema::Model_sectionData);
    if (m_sectionData.IsNull()) {
        m_sectionData = m_model.CreateTypedCollection(ORQSimSchema::SectionData, 0);
        m_model.SetPosition(ORQSimSchema::Model_sectionData, m_sectionData);
    }
}

void ORQSrvBulkShellLayers::CheckReferences(const Columns<int>& columns, const char* kind,
                                            const ORQSimCollectionID& collection) const {
    const int space = ORQSimCollection(collection).Space();
    for (const auto& [layer, column] : columns) {
        for (std::size_t i = 0; i < column.values.size(); ++i) {
            const int value = column.values[i];
            if (value < kNoReference || value >= space) {
                ORQBasThrowUsage("layer " + std::to_string(layer) + " of section " +
                                 std::to_string(column.members[i]) + " refers to " + kind + " " +
                                 std::to_string(value) + ", the model has " +
                                 std::to_string(space) + " (numbered from 0)");
            }
        }
    }
}

ORQSimCollectionID ORQSrvBulkShellLayers::MaterialCollection() const {
    return ORQObjDocument(m_model).GetMaterialCollection().GetCollection();
}

ORQSimCollectionID ORQSrvBulkShellLayers::OrientationCollection() const {
    return m_model.GetPosition(ORQSimSchema::Model_orientationCollection).GetCollection();
}

ORQSimCollectionID ORQSrvBulkShellLayers::PlyCollection() const {
    return m_model.GetPosition(ORQSimSchema::Model_plyCollection).GetCollection();
}

ORQSimCollectionID ORQSrvBulkShellLayers::LayerCollection() const {
    return m_model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection();
}

ORQSimCollectionID ORQSrvBulkShellLayers::SectionCollection() const {
    return m_model.GetPosition(ORQSimSchema::Model_sections).GetCollection();
}

void ORQSrvBulkShellLayers::WriteMaterialDistribution() {
    WriteColumns(m_materials, {ORQSimSchema::SectionData_materials,
                               ORQSimRangeType(ORQSimScalarInt, MaterialCollection()), nullptr,
                               "len == buffer.size() * sizeof(int)", 229, 231, 0, 269, 293});
}

void ORQSrvBulkShellLayers::WriteOrientationDistribution() {
    WriteColumns(m_orientations,
                 {ORQSimSchema::SectionData_orientations,
                  ORQSimRangeType(ORQSimScalarInt, OrientationCollection()), nullptr,
                  "len == buffer.size() * sizeof(int)", 329, 331, 0, 369, 393});
}

void ORQSrvBulkShellLayers::WritePlyDistribution() {
    WriteColumns(m_plies, {ORQSimSchema::SectionData_plies,
                           ORQSimRangeType(ORQSimScalarInt, PlyCollection()), nullptr,
                           "len == buffer.size() * sizeof(int)", 429, 431, 0, 469, 493});
}

void ORQSrvBulkShellLayers::WriteSectionPointDistribution() {
    WriteColumns(m_sectionPoints,
                 {ORQSimSchema::SectionData_sectionPoints, ORQSimRangeType(ORQSimScalarInt),
                  nullptr, "len == buffer.size() * sizeof(int)", 529, 531, 0, 569, 593});
}

void ORQSrvBulkShellLayers::WriteConstThicknessDistribution() {
    WriteColumns(
        m_constThicknesses,
        {ORQSimSchema::SectionData_constantThicknesses, ORQSimRangeType(ORQSimScalarDouble), "STH",
         "len == buffer.size() * sizeof(double)", 729, 731, 737, 769, 793});
}

void ORQSrvBulkShellLayers::WriteConstAngleDistribution() {
    WriteColumns(m_constAngles,
                 {ORQSimSchema::SectionData_constantAngles, ORQSimRangeType(ORQSimScalarDouble),
                  "ANGLE", "len == buffer.size() * sizeof(double)", 839, 841, 847, 879, 903});
}

template <class T>
void ORQSrvBulkShellLayers::WriteColumns(Columns<T>& columns, const Attribute& attribute) {
    if (!m_active || columns.empty()) {
        return;
    }
    ORQSimCollection layers(LayerCollection());
    MakeRoom(layers, columns.rbegin()->first);
    const ORQSimCollection sections(SectionCollection());
    std::map<int, ORQSimDrawerID> drawers;  // by layer
    ORQSimPosition position = m_sectionData.GetPosition(attribute.slot);
    if (position.IsNull()) {
        position = CreateDistribution(attribute);
        m_sectionData.SetPosition(attribute.slot, position);
    } else {
        const ORQSimDistribution distribution(position.GetDistribution());
        for (const ORQSimPersistentDrawerDesc& drawer : distribution.QueryDrawers()) {
            const int layerposition = drawer.Compartment().Position(layers.ID());
            ORQSrvAssertThrown(layerposition != -1, "layerposition != -1", s_source,
                               attribute.layerPositionLine);
            const ORQSimCSet layerSet(drawer.CSet(layerposition));
            ORQSrvAssertThrown(layerSet.Size() == 1, "layerSet.Size() == 1", s_source,
                               attribute.layerSetLine);
            drawers[layerSet[0]] = drawer.DrawerID();
        }
    }
    const ORQSimDistribution distribution(position.GetDistribution());
    for (auto& [layer, column] : columns) {
        column.Settle();
        ORQSimTransfer write(distribution);
        write.SetWrite()
            .SetBufferPadding(false)
            .SetDim(0, layers.CreateVolatileCSet(&layer, 1, true))
            .SetDim(1, sections.CreateVolatileCSet(column.members.data(),
                                                   static_cast<int>(column.members.size()), true));
        const auto drawer = drawers.find(layer);
        if (drawer != drawers.end()) {
            write.SetDrawer(drawer->second).SetAutoExtend();
            Write(write, column.values, attribute.lengthCheck, attribute.extendLine);
        } else {
            write.SetMakeNewDrawerChunked(ChunkSizes()).SetExtendableDim(1);
            Write(write, column.values, attribute.lengthCheck, attribute.makeLine);
        }
    }
}

ORQSimPosition ORQSrvBulkShellLayers::CreateDistribution(const Attribute& attribute) const {
    ORQSimPosition type;
    if (attribute.userField != nullptr) {
        type = UserField(attribute.userField, attribute.userFieldLine);
    }
    const ORQSimPosition distribution = m_sectionData.CreateTypedDistribution(
        ORQSimGrid(std::vector{LayerCollection(), SectionCollection()}),
        ORQSimSchema::DistributionRecord, attribute.range);
    if (!type.IsNull()) {
        distribution.SetPosition(ORQSimSchema::MeshedField_type, type);
    }
    return distribution;
}

ORQSimPosition ORQSrvBulkShellLayers::UserField(const char* name, int line) const {
    const ORQSimPosition field = m_model.GetMap(ORQSimSchema::Model_userFields).Find(name);
    // Names are unique in a map: one field of the name, or none.
    ORQSrvAssertThrown(!field.IsNull(), "serFields.Size() == 1", s_source, line);
    return field;
}
