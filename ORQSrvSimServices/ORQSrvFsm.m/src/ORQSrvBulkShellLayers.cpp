#include "ORQSrvBulkShellLayers.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <string>

#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDistribution.h"
#include "ORQSimFTable.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

template class omi_SingletonBase<ORQSrvBulkShellLayers>;
template class omi_Singleton<ORQSrvBulkShellLayers>;

namespace {

constexpr const char* s_source = ORQ_SRV_SOURCE("ORQSrvBulkShellLayers");
constexpr int kSectionsPerChunk = 4096;

ORQSimArray<int> ChunkSizes() {
    ORQSimArray<int> chunks(2);
    chunks.Get(0) = 1;
    chunks.Get(1) = kSectionsPerChunk;
    return chunks;
}

template <class T>
void Write(ORQSimTransfer& write, const std::vector<T>& values, const char* lengthCheck, int line) {
    write.CheckView();
    const std::int64_t len = write.RequiredBufferSize(ORQSimbufMain);
    ORQSrvAssertThrown(static_cast<std::size_t>(len) == values.size() * sizeof(T), lengthCheck,
                       s_source, line);
    write.SetBuffer(ORQSimbufMain, values.data(), len);
    write.ExecWrite();
    write.RelinquishBuffers();
}

}  // namespace

/// An attribute with one value per layer and section.
struct ORQSrvBulkShellLayers::Attribute {
    int slot;  // from the section data
    ORQSimRangeType range;
    const char* userField;  // the field that types the values, null for references and counts
    const char* lengthCheck;
    // Where the checks are reported.
    int layerPositionLine;
    int layerSetLine;
    int userFieldLine;
    int extendLine;
    int makeLine;
};

/// An attribute with one value per layer and element.
struct ORQSrvBulkShellLayers::FieldAttribute {
    int slot;
    const char* userField;
    const char* absenceCheck;
    const char* lengthCheck;
    int absenceLine;
    int userFieldLine;
    int lengthLine;
};

template <class T>
void ORQSrvBulkShellLayers::Column<T>::Settle() {
    if (std::ranges::adjacent_find(members, std::greater_equal{}) == members.end()) {
        return;
    }
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
        if (sections.GetMember(member).IsA(ads_CoreFragmentTypeIndex(55, 19))) {
            return true;
        }
    }
    return false;
}

void ORQSrvBulkShellLayers::Initialize() {
    // The attributes hang on the collection itself, which is also the record of the section data.
    const int slot = ads_CoreFragmentTypeIndex(28, 96);
    m_sectionData = m_model.GetPosition(slot);
    if (m_sectionData.IsNull()) {
        m_sectionData = m_model.CreateTypedCollection(ORQSimSchema::SectionData, 0);
        m_model.SetPosition(slot, m_sectionData);
    }
}

ORQSimCollectionID ORQSrvBulkShellLayers::LayerCollection() const {
    return m_model.GetPosition(ads_CoreFragmentTypeIndex(55, 37)).GetCollection();
}

ORQSimCollectionID ORQSrvBulkShellLayers::SectionCollection() const {
    return m_model.GetPosition(ads_CoreFragmentTypeIndex(55, 35)).GetCollection();
}

void ORQSrvBulkShellLayers::WriteMaterialDistribution() {
    const ORQSimCollectionID materials =
        ORQObjDocument(m_model).GetMaterialCollection().GetCollection();
    WriteColumns(m_materials,
                 {ads_CoreFragmentTypeIndex(55, 150), ORQSimRangeType(ORQSimScalarInt, materials),
                  nullptr, "len == buffer.size() * sizeof(int)", 229, 231, 0, 269, 293});
}

void ORQSrvBulkShellLayers::WriteOrientationDistribution() {
    const ORQSimCollectionID orientations =
        m_model.GetPosition(ads_CoreFragmentTypeIndex(30, 7)).GetCollection();
    WriteColumns(m_orientations, {ads_CoreFragmentTypeIndex(55, 152),
                                  ORQSimRangeType(ORQSimScalarInt, orientations), nullptr,
                                  "len == buffer.size() * sizeof(int)", 329, 331, 0, 369, 393});
}

void ORQSrvBulkShellLayers::WritePlyDistribution() {
    const ORQSimCollectionID plies =
        m_model.GetPosition(ads_CoreFragmentTypeIndex(55, 36)).GetCollection();
    WriteColumns(m_plies,
                 {ads_CoreFragmentTypeIndex(55, 153), ORQSimRangeType(ORQSimScalarInt, plies),
                  nullptr, "len == buffer.size() * sizeof(int)", 429, 431, 0, 469, 493});
}

void ORQSrvBulkShellLayers::WriteSectionPointDistribution() {
    WriteColumns(m_sectionPoints,
                 {ads_CoreFragmentTypeIndex(55, 151), ORQSimRangeType(ORQSimScalarInt), nullptr,
                  "len == buffer.size() * sizeof(int)", 529, 531, 0, 569, 593});
}

void ORQSrvBulkShellLayers::WriteConstThicknessDistribution() {
    WriteColumns(m_constThicknesses,
                 {ads_CoreFragmentTypeIndex(55, 147), ORQSimRangeType(ORQSimScalarDouble), "STH",
                  "len == buffer.size() * sizeof(double)", 729, 731, 737, 769, 793});
}

void ORQSrvBulkShellLayers::WriteConstAngleDistribution() {
    WriteColumns(m_constAngles,
                 {ads_CoreFragmentTypeIndex(55, 146), ORQSimRangeType(ORQSimScalarDouble), "ANGLE",
                  "len == buffer.size() * sizeof(double)", 839, 841, 847, 879, 903});
}

void ORQSrvBulkShellLayers::WriteDistThicknessDistribution() {
    WriteFields(m_distThicknesses,
                {ads_CoreFragmentTypeIndex(55, 149), "STH",
                 "distField.IsNull() && \"Distributed thickness field already exists and editing "
                 "it is NYI\"",
                 "len == thicknesses.size()*sizeof(double)", 948, 957, 1020});
}

void ORQSrvBulkShellLayers::WriteDistAngleDistribution() {
    WriteFields(m_distAngles,
                {ads_CoreFragmentTypeIndex(55, 148), "ANGLE",
                 "distField.IsNull() && \"Distributed angle field already exists and editing it is "
                 "NYI\"",
                 "len == angles.size()*sizeof(double)", 1041, 1050, 1113});
}

template <class T>
void ORQSrvBulkShellLayers::WriteColumns(Columns<T>& columns, const Attribute& attribute) {
    if (!m_active || columns.empty()) {
        return;
    }
    const ORQSimCollection layers(LayerCollection());
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
        ads_CoreFragmentTypeIndex(16, 28), attribute.range);
    if (!type.IsNull()) {
        distribution.SetPosition(ads_CoreFragmentTypeIndex(16, 72), type);
    }
    return distribution;
}

ORQSimPosition ORQSrvBulkShellLayers::UserField(const char* name, int line) const {
    const ORQSimPosition field = m_model.GetMap(ads_CoreFragmentTypeIndex(16, 81)).Find(name);
    // Names are unique in a map: one field of the name, or none.
    ORQSrvAssertThrown(!field.IsNull(), "serFields.Size() == 1", s_source, line);
    return field;
}

// --- Values that vary over the elements ----------------------------------------------------------

void ORQSrvBulkShellLayers::WriteFields(const Fields& fields, const FieldAttribute& attribute) {
    if (!m_active || fields.empty()) {
        return;
    }
    const ORQSimPosition distField = m_sectionData.GetPosition(attribute.slot);
    ORQSrvAssertThrown(distField.IsNull(), attribute.absenceCheck, s_source, attribute.absenceLine);
    const ORQSimCollection layers(LayerCollection());
    const ORQSimCollection elements(
        ORQObjMesh(ORQObjDocument(m_model).GetMesh()).GetElementCollection().GetCollection());

    const ORQSimDataRecord record = m_model.CreateDataRecord(ads_CoreFragmentTypeIndex(16, 68));
    record.SetTypeID(0, ORQSimTypeID(ads_CoreFragmentTypeIndex(26, 19)));
    const ORQSimPosition field = record.Pos();
    field.SetPosition(ads_CoreFragmentTypeIndex(16, 72),
                      UserField(attribute.userField, attribute.userFieldLine));
    const ORQSimPosition position = field.CreateTypedDistribution(
        ORQSimGrid(std::vector{layers.ID(), elements.ID()}), ads_CoreFragmentTypeIndex(16, 28),
        ORQSimRangeType(ORQSimScalarDouble));
    field.SetPosition(ads_CoreFragmentTypeIndex(16, 41), position);

    const ORQSimDistribution distribution(position.GetDistribution());
    for (const auto& [layer, regions] : fields) {
        Column<double> column;
        for (const auto& [region, values] : regions) {
            ReadFieldData(region, values, column);
        }
        column.Settle();
        ORQSimTransfer write(distribution);
        write.SetWrite()
            .SetMakeNewDrawer()
            .SetBufferPadding(false)
            .SetDim(0, layers.CreateVolatileCSet(&layer, 1, true))
            .SetDim(1, elements.CreateVolatileCSet(column.members.data(),
                                                   static_cast<int>(column.members.size()), true));
        Write(write, column.values, attribute.lengthCheck, attribute.lengthLine);
    }
    m_sectionData.SetPosition(attribute.slot, field);
}

void ORQSrvBulkShellLayers::ReadFieldData(const ORQSimPosition& region, const ORQSimPosition& field,
                                          Column<double>& values) const {
    const ORQSimCSet elements(region.GetPosition(ads_CoreFragmentTypeIndex(53, 26)).GetCSet());
    const ORQSimFTable table(field.GetPosition(ads_CoreFragmentTypeIndex(16, 42)).GetFTable());
    if (!table.IsNull()) {
        const int ncols = table.ColumnCount();
        ORQSrvAssertThrown(ncols == 1, "ncols == 1", s_source, 1186);
        const int nrows = table.RowCount();
        if (nrows != 1 && nrows != elements.Size()) {
            throw ORQBasFailure(ORQBasFailureKind::Usage,
                                "the table of a distributed value has " + std::to_string(nrows) +
                                    " rows for a region of " + std::to_string(elements.Size()) +
                                    " elements");
        }
        std::vector<double> rows(static_cast<std::size_t>(nrows));
        table.GetData(rows.data(), nrows);
        for (ORQSimCSetIterator element(elements); !element.IsDone(); element.Next()) {
            const int row = nrows == 1 ? 0 : element.CurrentLocation();
            values.Append(element.CurrentValue(), rows[static_cast<std::size_t>(row)]);
        }
        return;
    }
    std::vector<ORQSimDistributionID> dids;
    const ORQSimPosition data = field.GetPosition(ads_CoreFragmentTypeIndex(16, 41));
    if (!data.GetDistribution().IsNull()) {
        dids.push_back(data.GetDistribution());
    }
    ORQSrvAssertThrown(dids.size() == 1, "dids.Size() == 1", s_source, 1149);
    const ORQSimDistribution distribution(dids.front());
    const int numDim = distribution.NumDimensions();
    ORQSrvAssertThrown(numDim == 2, "numDim == 2", s_source, 1155);
    for (const ORQSimPersistentDrawerDesc& drawer : distribution.QueryDrawers()) {
        const int elementDim = drawer.Compartment().Position(elements.CollectionID());
        const int otherDim = 1 - elementDim;
        if (elementDim < 0) {
            continue;
        }
        const ORQSimCSet covered = elements.Intersection(ORQSimCSet(drawer.CSet(elementDim)));
        const ORQSimCSet component(drawer.CSet(otherDim));
        if (component.Size() != 1) {
            throw ORQBasFailure(ORQBasFailureKind::Usage,
                                "a distributed value has " + std::to_string(component.Size()) +
                                    " values for an element instead of one");
        }
        std::vector<double> read(static_cast<std::size_t>(covered.Size()));
        ORQSimTransfer transfer(distribution);
        transfer.SetRead()
            .SetDrawer(drawer.DrawerID())
            .SetDim(elementDim, covered)
            .SetDim(otherDim, component)
            .SetBuffer(ORQSimbufMain, read.data(),
                       static_cast<std::int64_t>(read.size() * sizeof(double)))
            .ExecRead();
        for (ORQSimCSetIterator element(covered); !element.IsDone(); element.Next()) {
            values.Append(element.CurrentValue(),
                          read[static_cast<std::size_t>(element.CurrentLocation())]);
        }
    }
}
