#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "DrawerState.h"
#include "storage/Rows.h"

namespace orq::database {

class DatabaseState;

/// The distributions of a database and their drawers, apart from the cells.
class DistributionTable {
  public:
    explicit DistributionTable(DatabaseState& state) : m_state(state) {}

    /// Throws Usage where there is no such distribution, Damaged where its rows contradict one
    /// another. Valid until the transaction is undone or the reader refreshed; read once.
    DistributionState& Get(const ORQSimDistributionID& id);
    /// The same as its rows say, whether they agree with one another or not; read every time.
    DistributionState Load(const ORQSimDistributionID& id);

    /// Gives a drawer its numbers and stores it with these sets, one for each dimension.
    DrawerState& NewDrawer(DistributionState& distribution, std::unique_ptr<DrawerState> drawer,
                           const std::vector<ComponentSetPtr>& sets);
    /// Adds rows for members that the drawer does not have; returns the first new row.
    std::int64_t AddRows(DrawerState& drawer, const ComponentSetPtr& members);
    /// The set that callers see along a dimension, as an ID.
    ORQSimCSetID DimensionSet(const DistributionState& distribution, const DrawerState& drawer,
                              int dimension);
    /// Takes it out of the data sets that stand on the distribution too.
    void DeleteDrawer(DistributionState& distribution, const ORQSimDrawerID& id);

    /// Forgets what was read of rows; REQUIRES: nobody holds a state.
    void Forget() noexcept { m_known.clear(); }

  private:
    std::unique_ptr<DrawerState> LoadDrawer(const DistributionState& distribution,
                                            const storage::DrawerRow& row);
    bool LoadDimensions(const DistributionState& distribution, storage::Bytes dimensions,
                        DrawerState& drawer);
    ORQSimCSetID SetFor(const ORQSimCollectionID& collection, const ComponentSetPtr& members);
    void PutSegment(const DrawerState& drawer, const DrawerSegment& segment);
    void PutDrawerRow(const DrawerState& drawer);
    void ForgetInDataSets(std::int64_t distribution, int drawer);

    DatabaseState& m_state;
    std::unordered_map<std::int64_t, DistributionState> m_known;
};

}  // namespace orq::database
