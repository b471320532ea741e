#include "ORQSrvShellLayerTable.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"

namespace {

constexpr int kNoMember = -1;
constexpr double kNoLayerValue = -std::numeric_limits<double>::max();

// What one transfer reads: what has just been set to "none" is still in the processor's cache.
constexpr std::int64_t kItemsAtOnce = 1 << 16;

ORQSimCollection CollectionOf(const ORQSimPosition& model, int slot) {
    return ORQSimCollection(model.GetPosition(slot).GetCollection());
}

}  // namespace

ORQSrvShellLayerTable::ORQSrvShellLayerTable(const ORQSimPosition& model)
    : ORQSrvShellLayerTable(model, 0, std::numeric_limits<int>::max()) {}

ORQSrvShellLayerTable::ORQSrvShellLayerTable(const ORQSimPosition& model, int firstSection,
                                             int nSections, int mostLayers)
    : m_sectionData(model.GetPosition(ORQSimSchema::Model_sectionData)),
      m_layers(CollectionOf(model, ORQSimSchema::Model_sectionLayers)),
      m_sections(CollectionOf(model, ORQSimSchema::Model_sections)),
      m_nLayers(std::min(m_layers.Space(), mostLayers)),
      m_firstSection(firstSection),
      m_nSections(std::clamp(m_sections.Space() - firstSection, 0, nSections)) {}

template <class T>
const std::vector<T>& ORQSrvShellLayerTable::Read(int slot, T none, Column<T>& column) const {
    if (column) {
        return *column;
    }
    const std::size_t nItems = Place(m_nLayers, m_firstSection);
    std::vector<T> values;
    values.reserve(nItems);
    const ORQSimPosition stored = m_sectionData.GetPosition(slot);
    if (!stored.IsNull() && nItems > 0) {
        const auto step =
            static_cast<int>(std::clamp<std::int64_t>(kItemsAtOnce / m_nSections, 1, m_nLayers));
        for (int layer = 0; layer < m_nLayers; layer += step) {
            const int nLayers = std::min(step, m_nLayers - layer);
            values.resize(Place(layer + nLayers, m_firstSection), none);
            ReadLayers(stored, layer, nLayers, values.data() + Place(layer, m_firstSection));
        }
    }
    values.resize(nItems, none);
    // The column is kept only when all of it has been read.
    return column.emplace(std::move(values));
}

// What is not stored keeps the value that it has.
template <class T>
void ORQSrvShellLayerTable::ReadLayers(const ORQSimPosition& stored, int firstLayer, int nLayers,
                                       T* values) const {
    ORQSimTransfer read{ORQSimDistribution(stored.GetDistribution())};
    if constexpr (std::is_same_v<T, double>) {
        read.SetBufferType(ORQSimScalarDouble);
    }
    const auto nItems = std::int64_t{nLayers} * m_nSections;
    read.SetRead()
        .SetBufferPadding(false)
        .SetDim(0, m_layers.CreateVolatileCSetStrided(firstLayer, nLayers, 1, 1))
        .SetDim(1, m_sections.CreateVolatileCSetStrided(m_firstSection, m_nSections, 1, 1))
        .SetBuffer(ORQSimbufMain, values, nItems * static_cast<std::int64_t>(sizeof(T)));
    read.ExecRead();
    read.RelinquishBuffers();
}

const std::vector<int>& ORQSrvShellLayerTable::Materials() const {
    return Read(ORQSimSchema::SectionData_materials, kNoMember, m_materials);
}

const std::vector<int>& ORQSrvShellLayerTable::Orientations() const {
    return Read(ORQSimSchema::SectionData_orientations, kNoMember, m_orientations);
}

const std::vector<int>& ORQSrvShellLayerTable::Plies() const {
    return Read(ORQSimSchema::SectionData_plies, kNoMember, m_plies);
}

const std::vector<int>& ORQSrvShellLayerTable::SectionPoints() const {
    return Read(ORQSimSchema::SectionData_sectionPoints, 0, m_sectionPoints);
}

const std::vector<double>& ORQSrvShellLayerTable::ConstThicknesses() const {
    return Read(ORQSimSchema::SectionData_constantThicknesses, kNoLayerValue, m_thicknesses);
}

const std::vector<double>& ORQSrvShellLayerTable::ConstAngles() const {
    return Read(ORQSimSchema::SectionData_constantAngles, kNoLayerValue, m_angles);
}
