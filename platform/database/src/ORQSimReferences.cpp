#include "ORQSimReferences.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "DatabaseState.h"
#include "Erasure.h"
#include "Links.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "storage/PackedDimensions.h"

using orq::database::DatabaseState;
using orq::database::EraseObject;
using orq::database::EraseSet;
using orq::database::kFocus;
using orq::database::ObjectTable;
using orq::storage::Change;
using orq::storage::ChildRow;
using orq::storage::CompartmentRow;
using orq::storage::ComponentSetRow;
using orq::storage::DataSetRow;
using orq::storage::DimensionForm;
using orq::storage::DistributionRow;
using orq::storage::DrawerRow;
using orq::storage::Index;
using orq::storage::MapEntryRow;
using orq::storage::MemberRow;
using orq::storage::PackedDimensionReader;
using orq::storage::RowStore;
using orq::storage::SetEntryRow;
using orq::storage::SymbolRow;
using orq::storage::Table;
using orq::storage::Target;
using orq::storage::VectorEntryRow;

namespace {

DatabaseState& Open(ORQSimContextID context) {
    return DatabaseState::Existing(
        {ORQSimCategoryRecord, context, kFocus, ORQSimTypeID(ORQSimSchema::Focus), 0});
}

std::string Shown(DatabaseState& state, std::int64_t object) {
    const int type = state.Objects().Find(object).TypeID().Index();
    return "object " + std::to_string(object) + " (" + ORQSimSchema::NameOf(type) + ")";
}

bool HasInGrid(const DistributionRow& row, std::int64_t collection) {
    for (std::size_t at = 0; at + sizeof(std::int64_t) <= row.grid.size();
         at += sizeof(std::int64_t)) {
        std::int64_t one = 0;
        std::memcpy(&one, row.grid.data() + at, sizeof one);
        if (one == collection) {
            return true;
        }
    }
    return false;
}

ORQSimCSetID SetID(const ORQSimCollectionID& collection, int set) {
    return ORQSimCSetID(collection.ContextID(), collection.MinorID(), collection.TypeID(), set);
}

/// A link as it is stored: rows that were read point into the store, and do not outlive their
/// query.
template <class Link>
struct Held {
    Link row;
    std::string key;  // of a map's entry

    explicit Held(const Link& read) : row(read) {
        if constexpr (std::is_same_v<Link, MapEntryRow>) {
            key = read.key;
        }
    }
    Link Row() const {
        Link whole = row;
        if constexpr (std::is_same_v<Link, MapEntryRow>) {
            whole.key = key;
        }
        return whole;
    }
};

/// The links of a kind into an object: to itself, or to its sets or drawers as well.
template <class Link>
std::vector<Held<Link>> LinksInto(RowStore& rows, std::int64_t object) {
    std::vector<Held<Link>> links;
    for (const Link& row : rows.FindBy<Link::kByTarget>(object)) {
        links.emplace_back(row);
    }
    return links;
}

bool IsSame(const Target& a, const Target& b) {
    return a.object == b.object && a.category == b.category && a.index == b.index;
}

/// The links to one target.
template <class Link>
std::vector<Held<Link>> LinksTo(RowStore& rows, const Target& target) {
    std::vector<Held<Link>> links;
    for (const Link& row : rows.FindBy<Link::kByTarget>(target.object, target.index)) {
        if (IsSame(row.target, target)) {
            links.emplace_back(row);
        }
    }
    return links;
}

template <class Link>
void EraseLink(RowStore& rows, const Link& row) {
    if constexpr (std::is_same_v<Link, SetEntryRow>) {
        rows.Erase(Table::SetEntry, row.object, row.slot, row.target.object, row.target.category,
                   row.target.type, row.target.index);
    } else {
        rows.Erase(Link::kTable, row.object, row.slot, row.key);
    }
}

/// Moves the entries of a vector together, in their order.
void CloseGaps(RowStore& rows, std::int64_t object, int slot) {
    std::vector<VectorEntryRow> entries;
    for (const VectorEntryRow& row : rows.Find<VectorEntryRow>(object, slot)) {
        entries.push_back(row);
    }
    rows.Erase(Table::VectorEntry, object, slot);
    int place = 0;
    for (VectorEntryRow& row : entries) {
        row.key = place++;
        rows.Insert(row);
    }
}

template <class Link>
void EraseLinksInto(RowStore& rows, const std::vector<Held<Link>>& links) {
    std::set<std::pair<std::int64_t, int>> vectors;
    for (const Held<Link>& held : links) {
        EraseLink(rows, held.Row());
        vectors.emplace(held.row.object, held.row.slot);
    }
    if constexpr (std::is_same_v<Link, VectorEntryRow>) {
        for (const auto& [object, slot] : vectors) {
            CloseGaps(rows, object, slot);
        }
    }
}

template <class Link>
void RedirectLinks(RowStore& rows, const Target& from, const Target& to) {
    for (const Held<Link>& held : LinksTo<Link>(rows, from)) {
        EraseLink(rows, held.Row());
        Link row = held.Row();
        row.target = to;
        // A set may have the new target already.
        rows.Put(row);
    }
}

/// The object over a collection, 0 for none: a distribution or a data set with compartments.
std::int64_t UserOf(RowStore& rows, std::int64_t collection) {
    for (const DistributionRow& row : rows.Find<DistributionRow>()) {
        if (row.rangeCollection == collection || HasInGrid(row, collection)) {
            return row.object;
        }
    }
    for (const CompartmentRow& row : rows.Find<CompartmentRow>()) {
        if (row.setCollection == collection) {
            return row.dataSet;
        }
    }
    return 0;
}

/// The same of a set.
std::int64_t UserOfSet(RowStore& rows, std::int64_t collection, int set) {
    for (const CompartmentRow& row : rows.Find<CompartmentRow>()) {
        if (row.setCollection == collection && row.set == set) {
            return row.dataSet;
        }
    }
    for (const DrawerRow& row : rows.Find<DrawerRow>()) {
        PackedDimensionReader dimensions(row.dimensions);
        while (dimensions.Next()) {
            if (dimensions.Dimension().form == DimensionForm::Set &&
                dimensions.Dimension().set == set) {
                return row.distribution;
            }
        }
    }
    return 0;
}

void EraseSetsOf(DatabaseState& state, std::int64_t collection) {
    std::vector<int> sets;
    for (const ComponentSetRow& row : state.Rows().FindBy<Index::ComponentSetByHash>(collection)) {
        sets.push_back(row.id);
    }
    for (const int set : sets) {
        EraseSet(state.Store(), set);
    }
}

void EraseAsMember(RowStore& rows, std::int64_t object) {
    std::vector<MemberRow> members;
    for (const MemberRow& row : rows.FindBy<Index::MemberByObject>(object)) {
        members.push_back(row);
    }
    for (const MemberRow& row : members) {
        rows.Erase(Table::Member, row.collection, row.member);
    }
    std::vector<std::pair<std::int64_t, std::pair<int, int>>> symbols;
    for (const SymbolRow& row : rows.FindBy<Index::SymbolByObject>(object)) {
        symbols.push_back({row.collection, {row.type, row.place}});
    }
    for (const auto& [collection, key] : symbols) {
        rows.Erase(Table::Symbol, collection, key.first, key.second);
    }
}

void LeaveDataSets(DatabaseState& state, std::int64_t distribution) {
    std::vector<std::int64_t> dataSets;
    for (const DataSetRow& row : state.Rows().Find<DataSetRow>()) {
        if (row.distribution == distribution) {
            dataSets.push_back(row.object);
        }
    }
    for (const std::int64_t dataSet : dataSets) {
        state.Rows().Erase(Table::DataSetDrawer, dataSet);
        state.Rows().Put(DataSetRow{dataSet, 0});
    }
}

}  // namespace

std::vector<ORQSimCSetID> ORQSimReferences::LinkedSets(const ORQSimCollectionID& collection) const {
    DatabaseState& state = Open(m_context);
    std::set<int> sets;
    const auto add = [&]<class Link>(const std::vector<Held<Link>>& links) {
        for (const Held<Link>& held : links) {
            if (held.row.target.category == ORQSimCategoryCSet) {
                sets.insert(held.row.target.index);
            }
        }
    };
    const std::int64_t object = collection.MinorID();
    add(LinksInto<ChildRow>(state.Rows(), object));
    add(LinksInto<MapEntryRow>(state.Rows(), object));
    add(LinksInto<VectorEntryRow>(state.Rows(), object));
    add(LinksInto<SetEntryRow>(state.Rows(), object));
    for (const CompartmentRow& row : state.Rows().Find<CompartmentRow>()) {
        if (row.setCollection == object) {
            sets.insert(row.set);
        }
    }
    std::vector<ORQSimCSetID> ids;
    for (const int set : sets) {
        ids.push_back(SetID(collection, set));
    }
    return ids;
}

std::vector<ORQSimDistributionID> ORQSimReferences::DistributionsOver(
    const ORQSimCollectionID& collection) const {
    DatabaseState& state = Open(m_context);
    std::vector<std::int64_t> objects;
    for (const DistributionRow& row : state.Rows().Find<DistributionRow>()) {
        if (row.rangeCollection == collection.MinorID() || HasInGrid(row, collection.MinorID())) {
            objects.push_back(row.object);
        }
    }
    std::vector<ORQSimDistributionID> distributions;
    for (const std::int64_t object : objects) {
        distributions.emplace_back(state.Objects().Find(object));
    }
    return distributions;
}

std::vector<ORQSimDSetID> ORQSimReferences::DataSetsOn(
    const ORQSimDistributionID& distribution) const {
    DatabaseState& state = Open(m_context);
    std::vector<std::int64_t> objects;
    for (const DataSetRow& row : state.Rows().Find<DataSetRow>()) {
        if (row.distribution == distribution.MinorID()) {
            objects.push_back(row.object);
        }
    }
    std::vector<ORQSimDSetID> dataSets;
    for (const std::int64_t object : objects) {
        dataSets.emplace_back(state.Objects().Find(object));
    }
    return dataSets;
}

bool ORQSimReferences::IsUsed(const ORQSimDynamicID& id) const {
    RowStore& rows = Open(m_context).Rows();
    const Target target = ObjectTable::TargetOf(id);
    return !LinksTo<ChildRow>(rows, target).empty() ||
           !LinksTo<MapEntryRow>(rows, target).empty() ||
           !LinksTo<VectorEntryRow>(rows, target).empty() ||
           !LinksTo<SetEntryRow>(rows, target).empty() ||
           (id.Category() == ORQSimCategoryCSet &&
            UserOfSet(rows, target.object, target.index) != 0);
}

void ORQSimReferences::Redirect(const ORQSimDynamicID& from, const ORQSimDynamicID& to) const {
    DatabaseState& state = DatabaseState::Writing(from);
    if (to.IsNull()) {
        ORQBasThrowUsage("links cannot be redirected to null");
    }
    state.CheckStorable(to);
    const ORQSimDynamicID lasting =
        to.Category() == ORQSimCategoryCSet ? state.Sets().Persistent(ORQSimCSetID(to)) : to;
    const Target before = ObjectTable::TargetOf(from);
    const Target after = ObjectTable::TargetOf(lasting);
    Change change(state.Rows());
    RedirectLinks<ChildRow>(state.Rows(), before, after);
    RedirectLinks<MapEntryRow>(state.Rows(), before, after);
    RedirectLinks<VectorEntryRow>(state.Rows(), before, after);
    RedirectLinks<SetEntryRow>(state.Rows(), before, after);
    if (from.Category() == ORQSimCategoryCSet) {
        std::vector<CompartmentRow> compartments;
        for (const CompartmentRow& row : state.Rows().Find<CompartmentRow>()) {
            if (row.setCollection == before.object && row.set == before.index) {
                compartments.push_back(row);
            }
        }
        for (CompartmentRow& row : compartments) {
            row.setCollection = after.object;
            row.set = after.index;
            state.Rows().Put(row);
        }
    }
    change.Finish();
    state.Objects().Forget();
}

void ORQSimReferences::Delete(const ORQSimDynamicID& object) const {
    DatabaseState& state = DatabaseState::Writing(object);
    RowStore& rows = state.Rows();
    const std::int64_t number = object.MinorID();
    const bool isSet = object.Category() == ORQSimCategoryCSet;
    if ((!isSet && !orq::database::IsObject(object)) || (isSet && object.Index() < 1) ||
        number == kFocus || state.Objects().Find(number).IsNull()) {
        ORQBasThrowUsage("object " + std::to_string(number) + " cannot be deleted");
    }
    const std::int64_t user = isSet ? UserOfSet(rows, number, object.Index())
                              : object.Category() == ORQSimCategoryCollection ? UserOf(rows, number)
                                                                              : 0;
    if (user != 0) {
        ORQBasThrowUsage(Shown(state, number) + " cannot be deleted: " + Shown(state, user) +
                         " is over it");
    }
    const auto eraseLinks = [&]<class Link>(std::type_identity<Link>) {
        EraseLinksInto(rows, isSet ? LinksTo<Link>(rows, ObjectTable::TargetOf(object))
                                   : LinksInto<Link>(rows, number));
    };
    Change change(rows);
    eraseLinks(std::type_identity<ChildRow>());
    eraseLinks(std::type_identity<MapEntryRow>());
    eraseLinks(std::type_identity<VectorEntryRow>());
    eraseLinks(std::type_identity<SetEntryRow>());
    if (isSet) {
        EraseSet(state.Store(), object.Index());
    } else {
        EraseAsMember(rows, number);
        LeaveDataSets(state, number);
        EraseSetsOf(state, number);
        EraseObject(state.Store(), number);
    }
    state.ForgetCaches();
    change.Finish();
}
