#include "ORQSrvShellSection.h"

#include <cstddef>
#include <limits>
#include <memory>
#include <string>

#include "ORQBasFailure.h"
#include "ORQObjMeshedField.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvAssert.h"
#include "ORQSrvSectionReader.h"

namespace {

constexpr const char* s_shellSectionSource = ORQ_SRV_SOURCE("ORQSrvShellSection");
constexpr int kUnsetReference = -1;
constexpr double kUnsetValue = -std::numeric_limits<double>::max();

}  // namespace

ORQSrvShellSection::ORQSrvShellSection(const ORQSimPosition& section)
    : m_section(section),
      m_database(section.Doc()),
      m_layerCount(section.DataRecord().GetInt(ORQSimRecordField::Section_layered_numLayers)) {
    if (m_layerCount == 0) {
        return;
    }
    const std::shared_ptr<ORQSrvSectionReader> reader = ORQSrvSectionReader::Of(m_database);
    m_member = reader->MemberOf(m_section);
    if (m_layerCount < 0) {
        ORQBasThrowUsage("object " + std::to_string(section.ID().MinorID()) + " with " +
                         std::to_string(m_layerCount) +
                         " layers is no layered section of the model");
    }
    // The checks are known by their source lines, see ORQSrvAssert.h.
    UpdateValues(*reader, reader->DistributedThicknesses(),
                 &ORQSrvShellLayerTable::ConstThicknesses, 331, m_thicknesses,
                 m_thicknessVariations);
    UpdateValues(*reader, reader->DistributedAngles(), &ORQSrvShellLayerTable::ConstAngles, 400,
                 m_rotationAngles, m_rotationAngleVariations);
}

ORQSrvShellSection::~ORQSrvShellSection() = default;

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

/// Layers for which nothing is stored get what the table has for them.
template <class T>
void ORQSrvShellSection::ReadLayers(ORQSrvSectionReader& reader, Column<T> column,
                                    ORQBasVector<T>& values) const {
    if (m_member < 0) {
        return;  // a link that is missing is no error
    }
    const ORQSrvShellLayerTable& table = reader.LayersOf(m_member, m_layerCount);
    if (table.NumLayers() == 0) {
        return;
    }
    if (m_layerCount > table.NumLayers()) {
        ORQBasThrowUsage("the section has " + std::to_string(m_layerCount) +
                         " layers, the model has room for " + std::to_string(table.NumLayers()));
    }
    const std::vector<T>& stored = (table.*column)();
    for (int layer = 0; layer < m_layerCount; ++layer) {
        values[static_cast<std::size_t>(layer)] = stored[table.Place(layer, m_member)];
    }
}

// --- References and counts -----------------------------------------------------------------------

void ORQSrvShellSection::ReadReferences(int kind, Column<int> column,
                                        Cache<ORQSimPosition>& cache) const {
    if (cache.isFilled) {
        return;
    }
    cache.values.Init(m_layerCount, ORQSimPosition());
    if (m_layerCount == 0) {
        return;
    }
    const std::shared_ptr<ORQSrvSectionReader> reader = ORQSrvSectionReader::Of(m_database);
    ORQBasVector<int> members;
    members.Init(m_layerCount, kUnsetReference);
    ReadLayers(*reader, column, members);
    for (std::size_t layer = 0; layer < members.size(); ++layer) {
        if (members[layer] != kUnsetReference) {
            cache.values[layer] =
                reader->Record(static_cast<ORQSrvSectionReader::Reference>(kind), members[layer]);
        }
    }
    cache.isFilled = true;  // what throws above is not remembered as nothing
}

const ORQBasVector<ORQSimPosition>& ORQSrvShellSection::GetMaterials() const {
    ReadReferences(ORQSrvSectionReader::Material, &ORQSrvShellLayerTable::Materials, m_materials);
    return m_materials.values;
}

const ORQBasVector<ORQSimPosition>& ORQSrvShellSection::GetOrientations() const {
    ReadReferences(ORQSrvSectionReader::Orientation, &ORQSrvShellLayerTable::Orientations,
                   m_orientations);
    return m_orientations.values;
}

const ORQBasVector<ORQSimPosition>& ORQSrvShellSection::GetPlies() const {
    ReadReferences(ORQSrvSectionReader::Ply, &ORQSrvShellLayerTable::Plies, m_plies);
    return m_plies.values;
}

const ORQBasVector<int>& ORQSrvShellSection::GetSectionPoints() const {
    if (!m_sectionPoints.isFilled) {
        m_sectionPoints.values.Init(m_layerCount, 0);
        if (m_layerCount > 0) {
            ReadLayers(*ORQSrvSectionReader::Of(m_database), &ORQSrvShellLayerTable::SectionPoints,
                       m_sectionPoints.values);
        }
        m_sectionPoints.isFilled = true;
    }
    return m_sectionPoints.values;
}

// --- Thicknesses and angles ----------------------------------------------------------------------

void ORQSrvShellSection::UpdateValues(ORQSrvSectionReader& reader, const ORQSimPosition& field,
                                      Column<double> constants, int line,
                                      ORQBasVector<double>& values,
                                      ORQBasVector<VariationEnm>& variations) const {
    variations.Init(m_layerCount, VariationUndefined);
    values.Init(m_layerCount, kUnsetValue);
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
    ReadLayers(reader, constants, values);
    for (std::size_t layer = 0; layer < values.size(); ++layer) {
        if (values[layer] != kUnsetValue) {
            variations[layer] = VariationConstant;
        }
    }
}
