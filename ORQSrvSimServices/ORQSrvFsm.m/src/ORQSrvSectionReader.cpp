#include "ORQSrvSectionReader.h"

#include <algorithm>

#include "ORQObjDocument.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimSchema.h"
#include "ORQSrvMemberNumber.h"

namespace {

constexpr int kMostSectionsAtOnce = 64;
// Of all arrays together, so that few sections of very many layers take little memory.
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

int ORQSrvSectionReader::SectionsAtOnce() const {
    if (m_isInTransaction) {
        return 1;
    }
    const int nLayers =
        ORQSimCollection(m_model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection())
            .Space();
    return std::clamp(kMostLayersAtOnce / std::max(1, nLayers), 1, kMostSectionsAtOnce);
}

const ORQSrvShellLayerTable& ORQSrvSectionReader::LayersOf(int section) {
    if (!m_layers || section < m_layers->FirstSection() ||
        section - m_layers->FirstSection() >= m_layers->NumSections()) {
        const int atOnce = SectionsAtOnce();
        // From a multiple on: values that lie together are read together.
        m_layers.emplace(m_model, section / atOnce * atOnce, atOnce);
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
