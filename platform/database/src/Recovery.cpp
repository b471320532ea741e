#include "Recovery.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "ObjectPath.h"
#include "VerifyReferences.h"
#include "storage/Salvage.h"

namespace orq::database {

using storage::Cursor;
using storage::Table;

namespace {

constexpr Table kLinkTables[] = {Table::Child, Table::MapEntry, Table::VectorEntry,
                                 Table::SetEntry};

int TargetColumn(Table links) {
    return links == Table::SetEntry ? 2 : 3;
}

// What a lost page of a table held.
struct Words {
    Table table;
    const char* rows;
    bool isOfObjects;  // whether its first key is the number of an object that is there
};
constexpr Words kWords[] = {
    {Table::Object, "objects", false},
    {Table::Collection, "sizes of collections", true},
    {Table::Member, "records that stand for members of collections", true},
    {Table::Symbol, "symbols of collections", true},
    {Table::Name, "names", true},
    {Table::Child, "links", true},
    {Table::MapEntry, "entries by name", true},
    {Table::VectorEntry, "entries of lists", true},
    {Table::SetEntry, "links of sets", true},
    {Table::Field, "values of records", true},
    {Table::ComponentSet, "sets of members", false},
    {Table::Distribution, "distributions", true},
    {Table::Drawer, "drawers of values", true},
    {Table::DrawerDimension, "dimensions of drawers", true},
    {Table::DrawerSegment, "rows of drawers", true},
    {Table::DataSet, "data sets", true},
    {Table::Compartment, "compartments of data sets", true},
    {Table::DataSetDrawer, "drawers of data sets", true},
    {Table::FTable, "tables", true},
    {Table::FTableLabel, "labels of tables", true},
    {Table::Extent, "places of bulk data in stores", false},
};

class Recoverer {
  public:
    Recoverer(DatabaseState& state, const std::string& damaged,
              const std::function<void(double)>& progress)
        : m_state(state),
          m_damaged(damaged),
          m_progress(progress),
          m_salvage(state.Engine(), damaged, m_goOn) {}

    ORQSimDatabase::Recovery Run() {
        m_salvage.TakeRows();
        MakeObjectsOfLinks();
        m_salvage.TakeRowsFromIndices();
        m_salvage.TakeChunks(m_progress);
        m_done = 1.0;
        m_recovery.damage = m_salvage.Damage();
        TellGaps();
        TellHalfLinks();
        RemoveFlaws();
        Count();
        return std::move(m_recovery);
    }

  private:
    storage::Catalogue& Rows() { return m_state.Rows(); }
    void Lose(std::string text) { m_recovery.lost.push_back(std::move(text)); }

    // A link says of its target's object all that the object's own row does; a symbol, of its
    // record.
    void MakeObjectsOfLinks() {
        if (!m_salvage.MayHaveLost(Table::Object)) {
            return;
        }
        std::map<std::int64_t, std::pair<int, int>> objects;  // number to type and category
        objects[kFocus] = {ORQSimSchema::Focus, ORQSimCategoryRecord};
        for (const Table table : kLinkTables) {
            for (Cursor row = Rows().Find(table); row.Next();) {
                const ORQSimDynamicID target = m_state.Target(row, TargetColumn(table));
                objects[target.MinorID()] = {target.TypeID().Index(), ObjectCategory(target)};
            }
        }
        for (Cursor row = Rows().Find(Table::Symbol); row.Next();) {
            objects[row.Int(4)] = {row.Int32(1), ORQSimCategoryRecord};
        }
        for (const auto& [object, kind] : objects) {
            if (m_salvage.MayHaveLost(Table::Object, object)) {
                Rows().InsertNew(Table::Object, object, kind.first, kind.second);
            }
        }
    }

    static int ObjectCategory(const ORQSimDynamicID& target) {
        switch (target.Category()) {
            case ORQSimCategoryCSet:
                return ORQSimCategoryCollection;
            case ORQSimCategoryDrawer:
                return ORQSimCategoryDistribution;
            default:
                return target.Category();
        }
    }

    void TellGaps() {
        for (const storage::RowGap& gap : m_salvage.Gaps()) {
            const auto* words = std::ranges::find(kWords, gap.table, &Words::table);
            const auto name = [&](std::int64_t key) {
                return words->isOfObjects ? NameInMessage(m_state, key) : std::to_string(key);
            };
            std::string text = words->rows;
            text += gap.after ? " from " + name((*gap.after)[0]) : "";
            text += gap.before ? " up to " + name((*gap.before)[0]) : "";
            text += gap.after || gap.before ? "" : " of the whole database";
            Lose(text + ": lost, some or all of them (the catalogue is damaged there)");
        }
    }

    void TellHalfLinks() {
        for (const storage::Salvage::HalfLink& link : m_salvage.HalfLinks()) {
            Lose(std::string(storage::Catalogue::NameOf(link.table)) + " " +
                 ORQSimSchema::NameOf(link.slot) + " of " + NameInMessage(m_state, link.object) +
                 ": led to object " + std::to_string(link.target) + ", which is lost");
        }
    }

    // What a flaw takes along has flaws in turn, until nothing is left that refers to it.
    void RemoveFlaws() {
        for (;;) {
            std::vector<Flaw> flaws = FindFlaws(m_state, &m_salvage, m_goOn);
            if (flaws.empty()) {
                return;
            }
            if (std::ranges::any_of(flaws, [](const Flaw& flaw) { return !flaw.isLastResort; })) {
                std::erase_if(flaws, [](const Flaw& flaw) { return flaw.isLastResort; });
            }
            AddCoveredDrawers(flaws);
            m_state.ForgetCaches();
            const std::int64_t nBefore = Rows().NumChanges();
            Remove(flaws);
            if (Rows().NumChanges() == nBefore) {
                throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                    m_damaged + ": cannot be recovered: " + flaws.front().text);
            }
        }
    }

    void Remove(std::vector<Flaw>& flaws) {
        std::set<std::string> told;
        for (Flaw& flaw : flaws) {
            m_goOn();
            flaw.remove();
            if (told.insert(flaw.text).second) {
                Lose(std::move(flaw.text));
            }
        }
    }

    // Where drawers overlap the later one wins; without it, cells of the earlier ones would be read
    // that had been replaced. So these go with it.
    void AddCoveredDrawers(std::vector<Flaw>& flaws) {
        std::set<std::pair<std::int64_t, int>> lost;
        for (const Flaw& flaw : flaws) {
            if (flaw.drawer != 0) {
                lost.emplace(flaw.distribution, flaw.drawer);
            }
        }
        std::vector<std::pair<std::int64_t, int>> open(lost.begin(), lost.end());
        while (!open.empty()) {
            const auto [distribution, later] = open.back();
            open.pop_back();
            for (Cursor row = Rows().Find(Table::Drawer, distribution); row.Next();) {
                const int earlier = row.Int32(1);
                if (earlier >= later || lost.contains({distribution, earlier}) ||
                    !MayMeet(distribution, earlier, later)) {
                    continue;
                }
                lost.emplace(distribution, earlier);
                open.emplace_back(distribution, earlier);
                flaws.push_back({NameInMessage(m_state, distribution) + ", drawer " +
                                     std::to_string(earlier) + ": drawer " + std::to_string(later) +
                                     ", which is lost, replaced some of its values",
                                 [state = &m_state, object = distribution, earlier] {
                                     state->EraseDrawerRows(object, earlier);
                                 },
                                 distribution, earlier, false});
            }
        }
    }

    bool MayMeet(std::int64_t distribution, int earlier, int later) {
        try {
            const ORQSimDistributionID id(m_state.ObjectID(distribution));
            const DistributionState state = m_state.LoadDistribution(id);
            const auto find = [&](int number) {
                return state.Find(
                    ORQSimDrawerID(id.ContextID(), id.MinorID(), id.TypeID(), number));
            };
            const DrawerState* one = find(earlier);
            const DrawerState* other = find(later);
            if (one == nullptr || other == nullptr) {
                return true;
            }
            for (std::size_t dim = 0; dim < one->NumDims(); ++dim) {
                if (KnowsMembers(*one, dim) && KnowsMembers(*other, dim) &&
                    ComponentSet::Intersection(ComponentSet::Ascending(one->Members(dim)),
                                               ComponentSet::Ascending(other->Members(dim)))
                        ->IsEmpty()) {
                    return false;
                }
            }
        } catch (const ORQBasFailure&) {
            return true;  // what they cover cannot be read
        }
        return true;
    }

    // A set that is lost reads as empty.
    static bool KnowsMembers(const DrawerState& drawer, std::size_t dim) {
        return static_cast<int>(dim) == drawer.extendable
                   ? drawer.Members(dim)->Size() == drawer.nRows
                   : !drawer.Members(dim)->IsEmpty() || drawer.setIds[dim].Index() == 0;
    }

    void Count() {
        m_recovery.objects = Rows().CountRows(Table::Object);
        for (const Table table : kLinkTables) {
            m_recovery.links += Rows().CountRows(table);
        }
        m_recovery.sets = Rows().CountRows(Table::ComponentSet);
        m_recovery.drawers = Rows().CountRows(Table::Drawer);
        m_recovery.tables = Rows().CountRows(Table::FTable);
        for (Cursor row = Rows().Find(Table::Extent); row.Next();) {
            m_recovery.bulkBytes += row.Int(5);
        }
        if (!m_recovery.lost.empty()) {
            m_recovery.unreachable = m_recovery.objects - CountReachable();
        }
    }

    std::int64_t CountReachable() {
        std::set<std::int64_t> reached = {kFocus};
        std::vector<std::int64_t> open = {kFocus};
        const auto reach = [&](std::int64_t object) {
            if (object != 0 && reached.insert(object).second) {
                open.push_back(object);
            }
        };
        const auto reachAll = [&](Table table, std::int64_t object, int column) {
            for (Cursor row = Rows().Find(table, object); row.Next();) {
                reach(row.Int(column));
            }
        };
        while (!open.empty()) {
            const std::int64_t object = open.back();
            open.pop_back();
            for (const Table table : kLinkTables) {
                reachAll(table, object, TargetColumn(table));
            }
            reachAll(Table::Member, object, 2);
            reachAll(Table::Symbol, object, 4);
            reachAll(Table::DataSet, object, 1);
            reachAll(Table::Compartment, object, 4);
            reachAll(Table::Distribution, object, 2);
            for (Cursor row = Rows().Find(Table::Distribution, object); row.Next();) {
                const std::span<const std::byte> grid = row.Blob(3);
                std::vector<std::int64_t> collections(grid.size() / sizeof(std::int64_t));
                std::memcpy(collections.data(), grid.data(),
                            collections.size() * sizeof(std::int64_t));
                std::ranges::for_each(collections, reach);
            }
        }
        return static_cast<std::int64_t>(reached.size());
    }

    DatabaseState& m_state;
    std::string m_damaged;
    const std::function<void(double)>& m_progress;
    double m_done = 0.0;
    // Called again and again, so that a host can give up: says how far the recovery was before.
    const std::function<void()> m_goOn = [this] { m_progress(m_done); };
    storage::Salvage m_salvage;
    ORQSimDatabase::Recovery m_recovery;
};

}  // namespace

ORQSimDatabase::Recovery RecoverInto(DatabaseState& state, const std::string& damaged,
                                     const std::function<void(double)>& progress) {
    state.Begin();
    ORQSimDatabase::Recovery recovery = Recoverer(state, damaged, progress).Run();
    state.Commit();
    return recovery;
}

}  // namespace orq::database
