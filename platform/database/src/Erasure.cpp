#include "Erasure.h"

#include <algorithm>
#include <vector>

namespace orq::database {

using storage::ComponentSetRow;
using storage::DistributionRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::FTableRow;
using storage::Store;
using storage::Table;

namespace {

// Erases one store of bulk data; 0 stands for none.
void EraseBulk(Store& store, std::int64_t number) {
    if (number != 0) {
        store.Chunks().Erase(number);
    }
}

void EraseDrawerAlone(Store& store, std::int64_t distribution, int drawer) {
    // Bulk data first: only these rows say where it lies.
    for (const DrawerSegmentRow& row : store.Rows().Find<DrawerSegmentRow>(distribution, drawer)) {
        EraseBulk(store, row.members.store);
    }
    for (const DrawerRow& row : store.Rows().Find<DrawerRow>(distribution, drawer)) {
        EraseBulk(store, row.store);
    }
    store.Rows().Erase(Table::DrawerSegment, distribution, drawer);
    store.Rows().Erase(Table::Drawer, distribution, drawer);
}

// Sets how many drawers a distribution is to have; f(of before) says it.
template <class F>
void PutNumDrawers(Store& store, std::int64_t distribution, F&& f) {
    DistributionRow counted;
    // Copied, since it lies in the row that is read.
    std::vector<std::byte> grid;
    for (const DistributionRow& row : store.Rows().Find<DistributionRow>(distribution)) {
        counted = row;
        grid.assign(row.grid.begin(), row.grid.end());
    }
    if (counted.object == distribution) {
        counted.grid = grid;
        counted.nDrawers = f(counted.nDrawers);
        store.Rows().Put(counted);
    }
}

}  // namespace

void EraseDrawer(Store& store, std::int64_t distribution, int drawer) {
    if (store.Rows().Has<DrawerRow>(distribution, drawer)) {
        PutNumDrawers(store, distribution, [](int before) { return std::max(0, before - 1); });
    }
    EraseDrawerAlone(store, distribution, drawer);
}

void CountDrawers(Store& store, std::int64_t distribution) {
    const auto nDrawers = store.Rows().Count(Table::Drawer, distribution);
    PutNumDrawers(store, distribution, [&](int) { return static_cast<int>(nDrawers); });
}

void EraseSet(Store& store, int set) {
    for (const ComponentSetRow& row : store.Rows().Find<ComponentSetRow>(set)) {
        EraseBulk(store, row.members.store);
    }
    store.Rows().Erase(Table::ComponentSet, set);
}

void EraseObject(Store& store, std::int64_t object) {
    // Collected first: a query may or may not show rows that change while it is open.
    std::vector<int> drawers;
    for (const DrawerRow& row : store.Rows().Find<DrawerRow>(object)) {
        drawers.push_back(row.number);
    }
    for (const int drawer : drawers) {
        EraseDrawerAlone(store, object, drawer);
    }
    for (const FTableRow& row : store.Rows().Find<FTableRow>(object)) {
        EraseBulk(store, row.store);
    }
    for (const Table table :
         {Table::Object, Table::Collection, Table::Member, Table::Symbol, Table::Name, Table::Child,
          Table::MapEntry, Table::VectorEntry, Table::SetEntry, Table::Distribution, Table::DataSet,
          Table::Compartment, Table::DataSetDrawer, Table::FTable, Table::FTableLabel}) {
        store.Rows().Erase(table, object);
    }
}

}  // namespace orq::database
