// The settings of a transfer and its execution: ORQSimTransfer.cpp moves values, TransferChecks.cpp
// refuses beforehand what cannot be moved.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ComponentSet.h"
#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimCSet.h"
#include "ORQSimTransfer.h"
#include "RowReader.h"
#include "SparseRows.h"
#include "TransferView.h"

namespace orq::database {

inline std::string InDimension(int dimension) {
    return "dimension " + std::to_string(dimension);
}

}  // namespace orq::database

class ORQSimTransfer::Job {
  public:
    enum class Direction { None, Read, Write };
    enum class Making { None, Plain, Chunked };

    struct Buffer {
        void* data = nullptr;
        std::int64_t size = 0;
    };

    explicit Job(const ORQSimDistributionID& id) : distributionID(id) {}

    void CheckView();
    std::int64_t RequiredSize(int buffer);
    ORQSimTransientDrawer Read();
    void Write();
    void Make();

    ORQSimDistributionID distributionID;
    Direction direction = Direction::None;
    Making making = Making::None;
    ORQSimDrawerID drawerID;
    std::vector<int> chunks;
    int extendable = -1;
    std::vector<std::optional<ORQSimCSet>> dims;
    bool autoExtend = false;
    ORQSimCSetID extension;
    std::array<Buffer, 3> buffers;
    int bufferType = 0;
    bool isPadded = false;
    bool isSparse = false;
    int nNonzero = 0;

  private:
    orq::database::DatabaseState& State() const;
    orq::database::DistributionState& Distribution() const {
        return State().Distributions().Get(distributionID);
    }
    std::vector<orq::database::ComponentSetPtr> View() const;
    orq::database::DrawerState& Drawer(orq::database::DistributionState& distribution) const;
    void CheckAgainstSpaces(const orq::database::DistributionState& distribution) const;
    void CheckMembers(int dimension, const ORQSimCSet& set,
                      const ORQSimCollectionID& collection) const;
    void CheckAgainstDrawer(orq::database::DistributionState& distribution) const;
    void CheckMaking(const orq::database::DistributionState& distribution) const;
    // Refuses references to members that the range collection does not have, naming the first one's
    // place in the view.
    void CheckReferences(const orq::database::DistributionState& distribution,
                         const std::byte* values, std::int64_t count) const;
    [[noreturn]] void RefuseReference(std::int64_t first, std::span<const std::uint32_t> values,
                                      std::uint32_t space) const;
    std::int64_t ViewItems() const;
    std::byte* BufferFor(int buffer);
    orq::database::ItemMover MoverFor(const orq::database::DistributionState& distribution) const {
        return orq::database::MoverBetween(distribution.scalar,
                                           bufferType != 0 ? bufferType : distribution.scalar);
    }
    std::vector<orq::database::DrawerState*> DrawersToRead(
        orq::database::DistributionState& distribution) const;
    std::int64_t ReadDense(orq::database::DatabaseState& state,
                           const orq::database::DistributionState& distribution,
                           const orq::database::DrawerState& drawer, std::byte* buffer);
    orq::database::SparseRows SparseView(orq::database::DatabaseState& state,
                                         orq::database::DistributionState& distribution);
    std::int64_t ReadAsSparse(orq::database::DatabaseState& state,
                              orq::database::DistributionState& distribution);
    void AddDrawer();
    // Adds rows where the settings say so. Returns a row before which none of the view lies.
    std::int64_t Extend(orq::database::DatabaseState& state, orq::database::DrawerState& drawer);
    void WriteDense(orq::database::DatabaseState& state,
                    const orq::database::DistributionState& distribution,
                    const orq::database::DrawerState& drawer, std::int64_t firstRow,
                    const std::byte* buffer);
    void WriteAll(orq::database::DatabaseState& state,
                  orq::database::DistributionState& distribution);
    void CheckSparse(const orq::database::DistributionState& distribution);
    std::span<const std::int32_t> SparseIndices();
    std::span<const std::int32_t> SparseMap();
    void WriteSparse(orq::database::DatabaseState& state,
                     const orq::database::DistributionState& distribution);
};
