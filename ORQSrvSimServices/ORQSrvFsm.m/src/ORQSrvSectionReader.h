#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

#include "ORQSimDatabase.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"
#include "ORQSrvShellLayerTable.h"

/// What ORQSrvShellSection reads of a model, for the services' own sources.
///
/// Reading the layers of a section looks at each layer's drawer, whether it takes one value of it
/// or sixty; so hosts that go from section to section are served out of blocks of neighbours. What
/// is known of a committed state is kept for the next section. While a transaction is open nothing
/// is kept, since anything may change between two calls.
class ORQSrvSectionReader {
  public:
    /// What the layers of a section refer to.
    enum Reference : int { Material, Orientation, Ply };

    /// The reader of the state that the database shows now.
    static std::shared_ptr<ORQSrvSectionReader> Of(const ORQSimDatabase& database);

    int MemberOf(const ORQSimPosition& section) const;
    /// A table that has so many layers of the section, a member number, or all that the model has
    /// room for. Valid until the next call.
    const ORQSrvShellLayerTable& LayersOf(int section, int nLayers);
    /// The record with a member number; null where there is none.
    const ORQSimPosition& Record(Reference kind, int member);
    const ORQSimPosition& DistributedThicknesses() const { return m_distributedThicknesses; }
    const ORQSimPosition& DistributedAngles() const { return m_distributedAngles; }

  private:
    ORQSrvSectionReader(const ORQSimDatabase& database, bool isInTransaction);

    bool IsOf(const ORQSimDatabase& database) const;
    int SectionsAtOnce(int nLayers) const;

    // Identities alone: the database may be closed meanwhile.
    ORQSimContextID m_context;
    std::int64_t m_generation;
    bool m_isInTransaction;
    ORQSimPosition m_model;
    ORQSimCollectionID m_sections;
    ORQSimPosition m_distributedThicknesses;
    ORQSimPosition m_distributedAngles;
    std::array<ORQSimCollectionID, 3> m_collections;  // by reference
    std::array<std::unordered_map<int, ORQSimPosition>, 3> m_records;
    std::optional<ORQSrvShellLayerTable> m_layers;
};
