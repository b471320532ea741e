#include "ORQSrvSectionReader.h"

#include <algorithm>

#include "ORQObjDocument.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimSchema.h"
#include "ORQSrvMemberNumber.h"

namespace {

// Who reads a section mostly reads the next ones, and one transfer serves them; who wants a single
// one does not wait for thousands.
constexpr int kMostSectionsAtOnce = 64;
// The limit is for all arrays together, so that few sections of very many layers take little
// memory.
constexpr int kMostLayersAtOnce = 1 << 16;

}  // namespace

ORQSrvSectionReader::ORQSrvSectionReader(const ORQSimDatabase& database, bool isInTransaction)
    : m_context(database.ContextID()),
      m_generation(database.Generation()),
      m_isInTransaction(isInTransaction) {
    const ORQObjDocument document(database);
    m_model = document.GetModel();
    m_sections = m_model.GetPosition(ORQSimSchema::Model_sections).GetCollection();
    const ORQSimPosition data = m_model.GetPosition(ORQSimSchema::Model_sectionData);
    m_distributedThicknesses = data.GetPosition(ORQSimSchema::SectionData_distributedThicknesses);
    m_distributedAngles = data.GetPosition(ORQSimSchema::SectionData_distributedAngles);
    m_collections = {document.GetMaterialCollection().GetCollection(),
                     m_model.GetPosition(ORQSimSchema::Model_orientationCollection).GetCollection(),
                     m_model.GetPosition(ORQSimSchema::Model_plyCollection).GetCollection()};
}

bool ORQSrvSectionReader::IsOf(const ORQSimDatabase& database) const {
    return m_context == database.ContextID() && m_generation == database.Generation();
}

std::shared_ptr<ORQSrvSectionReader> ORQSrvSectionReader::Of(const ORQSimDatabase& database) {
    static std::shared_ptr<ORQSrvSectionReader> s_last;
    const bool isInTransaction = database.HasTransaction();
    if (isInTransaction || s_last == nullptr || !s_last->IsOf(database)) {
        std::shared_ptr<ORQSrvSectionReader> made(
            new ORQSrvSectionReader(database, isInTransaction));
        if (isInTransaction) {
            return made;
        }
        s_last = std::move(made);
    }
    return s_last;
}

int ORQSrvSectionReader::MemberOf(const ORQSimPosition& section) const {
    return ORQSrvMemberNumber(section, m_sections);
}

int ORQSrvSectionReader::SectionsAtOnce(int nLayers) const {
    return m_isInTransaction
               ? 1
               : std::clamp(kMostLayersAtOnce / std::max(1, nLayers), 1, kMostSectionsAtOnce);
}

const ORQSrvShellLayerTable& ORQSrvSectionReader::LayersOf(int section, int nLayers) {
    const bool isNeighbour = m_layers && section >= m_layers->FirstSection() &&
                             section - m_layers->FirstSection() < m_layers->NumSections();
    if (!isNeighbour || nLayers > m_layers->NumLayers()) {
        // Where a neighbour had fewer layers, the next may have more again.
        const int most = isNeighbour ? std::max(nLayers, 2 * m_layers->NumLayers()) : nLayers;
        const int atOnce = SectionsAtOnce(most);
        // The window begins at a multiple of its size: values that lie together are read together.
        m_layers.emplace(m_model, section / atOnce * atOnce, atOnce, most);
    }
    return *m_layers;
}

const ORQSimPosition& ORQSrvSectionReader::Record(Reference kind, int member) {
    const auto place = static_cast<std::size_t>(kind);
    auto& known = m_records[place];
    auto record = known.find(member);
    if (record == known.end()) {
        const ORQSimPosition found = m_model.Context().GetRecord(m_collections[place], member);
        record = known.emplace(member, found).first;
    }
    return record->second;
}
