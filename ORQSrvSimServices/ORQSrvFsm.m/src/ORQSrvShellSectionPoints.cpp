#include "ORQSrvShellSectionPoints.h"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "ORQSimCSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

namespace {

constexpr const char* s_sectionPointsSource = ORQ_SRV_SOURCE("ORQSrvShellSectionPoints");

}  // namespace

ORQSrvShellSectionPoints::ORQSrvShellSectionPoints(ORQObjDocument document)
    : m_document(std::move(document)) {}

ORQSrvShellSectionPoints::~ORQSrvShellSectionPoints() = default;

int ORQSrvShellSectionPoints::GetNumSectionPoints(ORQSimPosition section, int layer) const {
    UpdateMap();
    const ORQBasMap<int, int>* const layers = std::as_const(m_map).Find(section);
    const int* const count = layers != nullptr ? layers->Find(layer) : nullptr;
    return count != nullptr ? *count : 0;
}

void ORQSrvShellSectionPoints::AddPoints(ORQSimPosition section, int layer, int count) const {
    m_map[section].InsertUnique(layer, count);
}

void ORQSrvShellSectionPoints::UpdateMap() const {
    if (m_mapFilled) {
        return;
    }
    const ORQSimDistribution distribution(m_document.GetModel()
                                              .GetPosition(ORQSimSchema::Model_sectionData)
                                              .GetPosition(ORQSimSchema::SectionData_sectionPoints)
                                              .GetDistribution());
    const auto drawers = distribution.QueryDrawers();
    // The table is not noted as filled: the counts may be written later.
    if (drawers.Size() == 0) {
        return;
    }
    // Every layer has the same sections again.
    std::map<int, ORQSimPosition> records;
    for (const ORQSimPersistentDrawerDesc& drawer : drawers) {
        const ORQSimCSet layer(drawer.CSet(0));
        ORQSrvAssertThrown(layer.Size() == 1, "layer.Size() == 1", s_sectionPointsSource, 71);
        const ORQSimCSet sections(drawer.CSet(1));
        std::vector<int> counts(static_cast<std::size_t>(sections.Size()));
        ORQSimTransfer read(distribution);
        read.SetRead()
            .SetDrawer(drawer.DrawerID())
            .SetBufferPadding(false)
            .SetDim(0, layer)
            .SetDim(1, sections)
            .SetBuffer(ORQSimbufMain, counts.data(),
                       static_cast<std::int64_t>(counts.size() * sizeof(int)));
        read.ExecRead();
        read.RelinquishBuffers();
        for (ORQSimCSetIterator section(sections); !section.IsDone(); section.Next()) {
            const auto [record, isNew] = records.try_emplace(section.CurrentValue());
            if (isNew) {
                record->second =
                    m_document.GetRecord(sections.CollectionID(), section.CurrentValue());
            }
            AddPoints(record->second, layer[0],
                      counts[static_cast<std::size_t>(section.CurrentLocation())]);
        }
    }
    m_mapFilled = true;
}
