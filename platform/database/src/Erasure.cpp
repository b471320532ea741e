#include "Erasure.h"

#include <vector>

namespace orq::database {

using storage::ComponentSetRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::FTableRow;
using storage::Store;
using storage::Table;

namespace {

// Of one store of bulk data; 0 for none.
void EraseBulk(Store& store, std::int64_t number) {
    if (number != 0) {
        store.Chunks().Erase(number);
    }
}

}  // namespace

void EraseDrawer(Store& store, std::int64_t distribution, int drawer) {
    // Bulk data first: only these rows say where it lies.
    for (const DrawerSegmentRow& row : store.Rows().Find<DrawerSegmentRow>(distribution, drawer)) {
        EraseBulk(store, row.members.store);
    }
    for (const DrawerRow& row : store.Rows().Find<DrawerRow>(distribution, drawer)) {
        EraseBulk(store, row.store);
    }
    store.Rows().Erase(Table::DrawerSegment, distribution, drawer);
    store.Rows().Erase(Table::DrawerDimension, distribution, drawer);
    store.Rows().Erase(Table::Drawer, distribution, drawer);
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
        EraseDrawer(store, object, drawer);
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
