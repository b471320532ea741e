#include "DistributionTable.h"

#include <cstring>
#include <string>
#include <utility>

#include "DatabaseState.h"
#include "Erasure.h"
#include "ORQBasFailure.h"
#include "StoredDrawer.h"
#include "StoredMembers.h"
#include "storage/PackedDimensions.h"

namespace orq::database {

using storage::DataSetDrawerRow;
using storage::DataSetRow;
using storage::DimensionForm;
using storage::DistributionRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::PackedDimension;
using storage::StoredMembers;
using storage::Table;

DistributionState& DistributionTable::Get(const ORQSimDistributionID& id) {
    if (const auto known = m_known.find(id.MinorID()); known != m_known.end()) {
        return known->second;
    }
    DistributionState state = Load(id);
    // Transfers trust what is kept from here on, so rows that contradict each other are refused
    // now. Without a drawer that is lost, cells would show what it had replaced.
    if (std::ssize(state.drawers) != state.nStoredDrawers) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_state.ShownPath() + ": " + std::to_string(state.drawers.size()) +
                                " of the " + std::to_string(state.nStoredDrawers) +
                                " drawers of distribution " + std::to_string(id.MinorID()) +
                                " are there");
    }
    for (const auto& drawer : state.drawers) {
        if (const std::string problem = ProblemOfDrawer(m_state, state, *drawer);
            !problem.empty()) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                m_state.ShownPath() + ": drawer " +
                                    std::to_string(drawer->id.Index()) + " of distribution " +
                                    std::to_string(id.MinorID()) + ": " + problem);
        }
    }
    return m_known[id.MinorID()] = std::move(state);
}

DistributionState DistributionTable::Load(const ORQSimDistributionID& id) {
    auto row = m_state.Rows().Find<DistributionRow>(id.MinorID());
    if (!row.Next()) {
        ORQBasThrowUsage(m_state.ShownPath() + ": object " + std::to_string(id.MinorID()) +
                         " is no distribution");
    }
    DistributionState state;
    state.id = id;
    state.scalar = row->scalar;
    state.storedRange = row->rangeCollection;
    state.nStoredDrawers = row->nDrawers;
    state.rangeCollection = m_state.Objects().FindCollection(row->rangeCollection);
    const storage::Bytes grid = row->grid;
    if (grid.empty() || grid.size() % sizeof(std::int64_t) != 0) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_state.ShownPath() + ": the grid of distribution " +
                                std::to_string(id.MinorID()) + " is no list of collections");
    }
    state.storedGrid.assign(grid.begin(), grid.end());
    for (std::size_t at = 0; at < grid.size(); at += sizeof(std::int64_t)) {
        std::int64_t collection = 0;
        std::memcpy(&collection, grid.data() + at, sizeof collection);
        state.grid.push_back(m_state.Objects().FindCollection(collection));
    }
    for (const DrawerRow& drawer : m_state.Rows().Find<DrawerRow>(id.MinorID())) {
        state.drawers.push_back(LoadDrawer(state, drawer));
    }
    return state;
}

std::unique_ptr<DrawerState> DistributionTable::LoadDrawer(const DistributionState& distribution,
                                                           const DrawerRow& row) {
    auto drawer = std::make_unique<DrawerState>();
    drawer->id = ORQSimDrawerID(distribution.id.ContextID(), distribution.id.MinorID(),
                                distribution.id.TypeID(), row.number);
    drawer->layout = static_cast<ORQSimDrawerLayout>(row.layout);
    drawer->extendable = row.extendable;
    drawer->nRows = row.nRows;
    drawer->store = row.store;
    const bool isOrdered = LoadDimensions(distribution, row.dimensions, *drawer);
    if (drawer->extendable < 0) {
        const ComponentSetPtr rows = std::exchange(drawer->sets[0], ComponentSet::Empty());
        drawer->rows = DrawerRows(!rows->IsAscending());
        drawer->rows.Load({0, rows});
        return drawer;
    }
    drawer->rows = DrawerRows(isOrdered);
    for (const DrawerSegmentRow& segment :
         m_state.Rows().Find<DrawerSegmentRow>(row.distribution, row.number)) {
        drawer->rows.Load({segment.firstRow, ReadMembers(m_state.Store(), segment.members)});
    }
    return drawer;
}

// Returns whether the members along the extendable dimension keep an order of their own.
bool DistributionTable::LoadDimensions(const DistributionState& distribution,
                                       storage::Bytes dimensions, DrawerState& drawer) {
    bool isOrdered = false;
    storage::PackedDimensionReader reader(dimensions);
    while (reader.Next()) {
        const PackedDimension& dimension = reader.Dimension();
        const auto place = drawer.sets.size();
        if ((static_cast<int>(place) == drawer.extendable) !=
            (dimension.form == DimensionForm::Rows)) {
            break;  // the count below says so
        }
        isOrdered = isOrdered || (dimension.form == DimensionForm::Rows && dimension.set != 0);
        ORQSimCSetID set;
        ComponentSetPtr members = ComponentSet::Empty();
        if (dimension.form == DimensionForm::Run) {
            members = ReadMembers(m_state.Store(),
                                  StoredMembers{0, dimension.first, dimension.count, 0, 0, 0, {}});
        } else if (dimension.form == DimensionForm::Set && place < distribution.grid.size()) {
            const ORQSimCollectionID& collection = distribution.grid[place];
            set = ORQSimCSetID(drawer.id.ContextID(), collection.MinorID(), collection.TypeID(),
                               dimension.set);
            members = m_state.Sets().Members(set);
        }
        drawer.setIds.push_back(set);
        drawer.sets.push_back(std::move(members));
        drawer.chunks.push_back(dimension.chunk);
    }
    if (drawer.sets.empty() || drawer.sets.size() != distribution.grid.size() ||
        drawer.extendable >= std::ssize(drawer.sets)) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_state.ShownPath() + ": drawer " + std::to_string(drawer.id.Index()) +
                                " of distribution " + std::to_string(distribution.id.MinorID()) +
                                " does not have the dimensions of its grid");
    }
    return isOrdered;
}

void DistributionTable::PutSegment(const DrawerState& drawer, const DrawerSegment& segment) {
    m_state.Rows().Put(DrawerSegmentRow{drawer.id.MinorID(), drawer.id.Index(), segment.firstRow,
                                        WriteMembers(m_state.Store(), *segment.members)});
}

void DistributionTable::PutDrawerRow(const DrawerState& drawer) {
    std::vector<std::byte> packed;
    packed.reserve(8 * drawer.NumDims());  // mostly enough
    for (std::size_t dim = 0; dim < drawer.NumDims(); ++dim) {
        PackedDimension dimension;
        dimension.chunk = drawer.chunks[dim];
        if (static_cast<int>(dim) == drawer.extendable) {
            dimension.form = DimensionForm::Rows;
            dimension.set = drawer.rows.IsOrdered() ? 1 : 0;
        } else if (drawer.setIds[dim].IsNull()) {
            dimension.form = DimensionForm::Run;
            dimension.first = drawer.Members(dim)->First();
            dimension.count = drawer.Members(dim)->Size();
        } else {
            dimension.set = drawer.setIds[dim].Index();
        }
        AddPackedDimension(packed, dimension);
    }
    m_state.Rows().Put(DrawerRow{drawer.id.MinorID(), drawer.id.Index(),
                                 static_cast<int>(drawer.layout), drawer.extendable, drawer.nRows,
                                 drawer.store, packed});
}

// Null for a run of members, which the drawer holds itself.
ORQSimCSetID DistributionTable::SetFor(const ORQSimCollectionID& collection,
                                       const ComponentSetPtr& members) {
    if (members->GetForm() == ComponentSet::Form::Contiguous && !members->IsEmpty() &&
        members->First() >= 0 && m_state.Store().FormatVersion() >= storage::kSmallDrawersSince) {
        return {};
    }
    // Drawers mostly cover the same sets again, such as some components.
    const ORQSimCSetID known = m_state.Sets().FindStored(collection, members);
    return known.IsNull() ? m_state.Sets().Store(collection, members) : known;
}

DrawerState& DistributionTable::NewDrawer(DistributionState& distribution,
                                          std::unique_ptr<DrawerState> drawer,
                                          const std::vector<ComponentSetPtr>& sets) {
    storage::Change change(m_state.Rows());
    // Ascending and never given twice, as sets' numbers are.
    const int number = m_state.Store().NewSet(
        distribution.drawers.empty() ? 0 : distribution.drawers.back()->id.Index());
    drawer->id = ORQSimDrawerID(distribution.id.ContextID(), distribution.id.MinorID(),
                                distribution.id.TypeID(), number);
    // Stores are numbered like objects, so that no two things of a database share a store.
    drawer->store = m_state.Store().NewObject();
    drawer->sets = sets;
    const ComponentSetPtr rows = std::exchange(
        drawer->sets[static_cast<std::size_t>(drawer->RowDim())], ComponentSet::Empty());
    drawer->rows = DrawerRows(!rows->IsAscending());
    drawer->nRows = rows->Size();
    drawer->setIds.reserve(sets.size());
    for (std::size_t dim = 0; dim < sets.size(); ++dim) {
        const bool isExtendable = static_cast<int>(dim) == drawer->extendable;
        drawer->setIds.push_back(isExtendable ? ORQSimCSetID()
                                              : SetFor(distribution.grid[dim], sets[dim]));
    }
    if (drawer->extendable < 0) {
        drawer->rows.Load({0, rows});
    } else if (drawer->nRows > 0) {
        PutSegment(*drawer, drawer->rows.Append(rows));
    }
    PutDrawerRow(*drawer);
    distribution.drawers.push_back(std::move(drawer));
    m_state.Rows().Put(DistributionRow{distribution.id.MinorID(), distribution.scalar,
                                       distribution.storedRange, distribution.storedGrid,
                                       ++distribution.nStoredDrawers});
    change.Finish();
    return *distribution.drawers.back();
}

std::int64_t DistributionTable::AddRows(DrawerState& drawer, const ComponentSetPtr& members) {
    storage::Change change(m_state.Rows());
    const std::int64_t firstNew = drawer.nRows;
    drawer.nRows += members->Size();
    PutSegment(drawer, drawer.rows.Append(members));
    PutDrawerRow(drawer);
    change.Finish();
    return firstNew;
}

ORQSimCSetID DistributionTable::DimensionSet(const DistributionState& distribution,
                                             const DrawerState& drawer, int dimension) {
    const auto place = static_cast<std::size_t>(dimension);
    const ORQSimCSetID& set = drawer.setIds[place];
    if (!set.IsNull()) {
        return set;
    }
    return dimension == drawer.RowDim()
               ? m_state.Sets().Temps().Describe(distribution.grid[place], drawer)
               : m_state.Sets().Temps().FindOrAdd(distribution.grid[place], drawer.sets[place]);
}

void DistributionTable::ForgetInDataSets(std::int64_t distribution, int drawer) {
    std::vector<std::pair<std::int64_t, int>> places;
    for (const DataSetRow& set : m_state.Rows().Find<DataSetRow>()) {
        if (set.distribution != distribution) {
            continue;
        }
        for (const DataSetDrawerRow& row : m_state.Rows().Find<DataSetDrawerRow>(set.object)) {
            if (row.drawer == drawer) {
                places.emplace_back(set.object, row.place);
            }
        }
    }
    // After the loop: a query may or may not show rows that change while it is open.
    for (const auto& [dataSet, place] : places) {
        m_state.Rows().Erase(Table::DataSetDrawer, dataSet, place);
    }
}

void DistributionTable::DeleteDrawer(DistributionState& distribution, const ORQSimDrawerID& id) {
    const std::int64_t object = distribution.id.MinorID();
    if (distribution.Find(id) == nullptr) {
        ORQBasThrowUsage(m_state.ShownPath() + ": drawer " + std::to_string(id.Index()) +
                         " is not one of distribution " + std::to_string(object));
    }
    // All rows of the drawer go or, where one cannot be erased, the transaction is marked as half
    // done (invariant 11).
    storage::Change change(m_state.Rows());
    EraseDrawer(m_state.Store(), object, id.Index());
    ForgetInDataSets(object, id.Index());
    std::erase_if(distribution.drawers, [&](const auto& state) { return state->id == id; });
    --distribution.nStoredDrawers;
    change.Finish();
}

}  // namespace orq::database
