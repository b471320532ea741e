// What is known of distributions and their drawers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ComponentSet.h"
#include "DrawerRows.h"
#include "ORQSimDistribution.h"
#include "ORQSimIDs.h"

namespace orq::database {

// One drawer. Its cells are rows of equal size: one row for each member along the row dimension
// (the extendable one, else dimension 0), holding the cells of all other dimensions in order of
// dimension. Rows keep the order in which members came; the sets that callers see do not show it.
struct DrawerState {
    ORQSimDrawerID id;
    ORQSimDrawerLayout layout = ORQSimDrawerLayout::Plain;
    int extendable = -1;
    std::int64_t store = 0;
    std::int64_t nRows = 0;  // of a sparse drawer too
    std::vector<int> chunks;
    // Identities of component sets; null where the drawer holds its members without one.
    std::vector<ORQSimCSetID> setIds;
    std::vector<ComponentSetPtr> sets;  // empty along the row dimension
    DrawerRows rows;

    std::size_t NumDims() const { return sets.size(); }
    int RowDim() const { return extendable < 0 ? 0 : extendable; }
    // The members along a dimension as callers see them.
    const ComponentSetPtr& Members(std::size_t dim) const {
        return static_cast<int>(dim) == RowDim() ? rows.Members() : sets[dim];
    }
    std::int64_t ItemsPerRow() const;
    std::int64_t RowsPerChunk(int scalarSize) const;
};

struct DistributionState {
    ORQSimDistributionID id;
    int scalar = 0;
    ORQSimCollectionID rangeCollection;
    std::vector<ORQSimCollectionID> grid;
    // The grid as the row has it, also where a collection is missing.
    std::vector<std::byte> storedGrid;
    std::int64_t storedRange = 0;
    int nStoredDrawers = 0;
    std::vector<std::unique_ptr<DrawerState>> drawers;  // in order of creation

    int ScalarSize() const { return ORQSimScalarSize(scalar); }
    DrawerState* Find(const ORQSimDrawerID& id) const;
};

}  // namespace orq::database
