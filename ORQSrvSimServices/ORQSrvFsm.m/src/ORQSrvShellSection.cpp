#include "ORQSrvShellSection.h"

#include <cstdint>
#include <limits>
#include <map>
#include <type_traits>

#include "ORQObjDocument.h"
#include "ORQObjMeshedField.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"
#include "ORQSrvMemberNumber.h"

namespace {

constexpr const char* s_shellSectionSource = ORQ_SRV_SOURCE("ORQSrvShellSection");
constexpr unsigned kUnsetReference = 0xFFFFFFFF;
constexpr double kUnsetValue = -std::numeric_limits<double>::max();

}  // namespace

ORQSrvShellSection::ORQSrvShellSection(const ORQSimPosition& section)
    : m_section(section),
      m_database(section.Doc()),
      m_layerCount(section.DataRecord().GetInt(ORQSimRecordField::Section_layered_numLayers)) {
    if (m_layerCount == 0) {
        return;
    }
    const ORQSimPosition model = ORQObjDocument(m_database).GetModel();
    const ORQSimCollection layers(
        model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection());
    const ORQSimCollection sections(
        model.GetPosition(ORQSimSchema::Model_sections).GetCollection());
    m_layers = layers.CreateVolatileCSetStrided(0, m_layerCount, 1, 1);
    const int member = ORQSrvMemberNumber(m_section, sections.ID());
    m_sectionSet = sections.CreateVolatileCSet(&member, 1, true);
    UpdateThicknesses();
    UpdateRotationAngles();
}

ORQSrvShellSection::~ORQSrvShellSection() = default;

ORQSimPosition ORQSrvShellSection::SectionData() const {
    return ORQObjDocument(m_database).GetModel().GetPosition(ORQSimSchema::Model_sectionData);
}

/// The elements to which the section is assigned.
ORQSimCSet ORQSrvShellSection::SectionElements() const {
    ORQSimCSet elements;
    const ORQSimSet assignments = m_section.ReferrersSet(ORQSimSchema::SectionAssignment_section);
    for (auto assignment = assignments.Begin(); assignment.NotDone(); ++assignment) {
        const ORQSimPosition region =
            (*assignment).GetPosition(ORQSimSchema::SectionAssignment_region);
        elements =
            elements.Union(region.GetPosition(ORQSimSchema::Region_elementsCluster).GetCSet());
    }
    return elements;
}

/// Layers for which nothing is stored keep the value that they have.
template <class T>
void ORQSrvShellSection::ReadLayers(int slot, ORQBasVector<T>& values) const {
    const ORQSimDistribution distribution(SectionData().GetPosition(slot).GetDistribution());
    if (distribution.IsNull()) {
        return;
    }
    ORQSimTransfer read(distribution);
    if constexpr (std::is_same_v<T, double>) {
        read.SetBufferType(ORQSimScalarDouble);
    }
    read.SetRead()
        .SetBufferPadding(false)
        .SetDim(0, m_layers)
        .SetDim(1, m_sectionSet)
        .SetBuffer(ORQSimbufMain, values.data(),
                   static_cast<std::int64_t>(values.size() * sizeof(T)));
    read.ExecRead();
    read.RelinquishBuffers();
}

// --- References and counts -----------------------------------------------------------------------

void ORQSrvShellSection::ReadReferences(int slot, const ORQSimPosition& collection,
                                        Cache<ORQSimPosition>& cache) const {
    cache.values.Init(m_layerCount, ORQSimPosition());
    cache.isFilled = true;
    if (m_layerCount == 0) {
        return;
    }
    ORQBasVector<unsigned> indices;
    indices.Init(m_layerCount, kUnsetReference);
    ReadLayers(slot, indices);
    // Layers often refer to the same few records, which are looked up once.
    const ORQObjDocument document(m_database);
    const ORQSimCollectionID records = collection.GetCollection();
    std::map<unsigned, ORQSimPosition> found;
    for (std::size_t layer = 0; layer < indices.size(); ++layer) {
        if (indices[layer] < kUnsetReference) {
            const auto [record, isNew] = found.try_emplace(indices[layer]);
            if (isNew) {
                record->second = document.GetRecord(records, static_cast<int>(indices[layer]));
            }
            cache.values[layer] = record->second;
        }
    }
}

const ORQBasVector<ORQSimPosition>& ORQSrvShellSection::GetMaterials() const {
    if (!m_materials.isFilled) {
        ReadReferences(ORQSimSchema::SectionData_materials,
                       ORQObjDocument(m_database).GetMaterialCollection(), m_materials);
    }
    return m_materials.values;
}

const ORQBasVector<ORQSimPosition>& ORQSrvShellSection::GetOrientations() const {
    if (!m_orientations.isFilled) {
        ReadReferences(ORQSimSchema::SectionData_orientations,
                       ORQObjDocument(m_database)
                           .GetModel()
                           .GetPosition(ORQSimSchema::Model_orientationCollection),
                       m_orientations);
    }
    return m_orientations.values;
}

const ORQBasVector<ORQSimPosition>& ORQSrvShellSection::GetPlies() const {
    if (!m_plies.isFilled) {
        ReadReferences(
            ORQSimSchema::SectionData_plies,
            ORQObjDocument(m_database).GetModel().GetPosition(ORQSimSchema::Model_plyCollection),
            m_plies);
    }
    return m_plies.values;
}

const ORQBasVector<int>& ORQSrvShellSection::GetSectionPoints() const {
    if (!m_sectionPoints.isFilled) {
        m_sectionPoints.values.Init(m_layerCount, 0);
        m_sectionPoints.isFilled = true;
        if (m_layerCount > 0) {
            ReadLayers(ORQSimSchema::SectionData_sectionPoints, m_sectionPoints.values);
        }
    }
    return m_sectionPoints.values;
}

// --- Thicknesses and angles ----------------------------------------------------------------------

void ORQSrvShellSection::UpdateThicknesses() {
    UpdateValues(ORQSimSchema::SectionData_distributedThicknesses,
                 ORQSimSchema::SectionData_constantThicknesses, 331, m_thicknesses,
                 m_thicknessVariations);
}

void ORQSrvShellSection::UpdateRotationAngles() {
    UpdateValues(ORQSimSchema::SectionData_distributedAngles,
                 ORQSimSchema::SectionData_constantAngles, 400, m_rotationAngles,
                 m_rotationAngleVariations);
}

void ORQSrvShellSection::UpdateValues(int fieldSlot, int constantSlot, int line,
                                      ORQBasVector<double>& values,
                                      ORQBasVector<VariationEnm>& variations) {
    variations.Init(m_layerCount, VariationUndefined);
    values.Init(m_layerCount, kUnsetValue);
    const ORQSimPosition field = SectionData().GetPosition(fieldSlot);
    if (!field.IsNull()) {
        const ORQSimDistribution distribution(ORQObjMeshedField(field).GetDistribution());
        const auto drawers = distribution.QueryDrawers();
        if (drawers.Size() == 0) {
            return;  // a field without values hides the constants
        }
        const ORQSimCSet elements = SectionElements();
        for (const ORQSimPersistentDrawerDesc& drawer : drawers) {
            const ORQSimCSet layer(drawer.CSet(0));
            ORQSrvAssertThrown(layer.Size() == 1, "layer.Size() == 1", s_shellSectionSource, line);
            if (layer[0] < m_layerCount &&
                ORQSimCSet(drawer.CSet(1)).Intersection(elements).Size() == elements.Size()) {
                variations[static_cast<std::size_t>(layer[0])] = VariationDistributed;
            }
        }
    }
    // After the fields: a constant that is stored counts more than a distribution.
    ReadLayers(constantSlot, values);
    for (std::size_t layer = 0; layer < values.size(); ++layer) {
        if (values[layer] != kUnsetValue) {
            variations[layer] = VariationConstant;
        }
    }
}
