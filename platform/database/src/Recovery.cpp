#include "Recovery.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "Erasure.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "ObjectPath.h"
#include "VerifyReferences.h"
#include "storage/Salvage.h"

namespace orq::database {

using storage::ChildRow;
using storage::CompartmentRow;
using storage::DataSetRow;
using storage::DistributionRow;
using storage::DrawerRow;
using storage::ExtentRow;
using storage::MapEntryRow;
using storage::MemberRow;
using storage::ObjectRow;
using storage::SetEntryRow;
using storage::SymbolRow;
using storage::Table;
using storage::VectorEntryRow;

namespace {

// What a lost page of a table held.
struct Words {
    Table table;
    const char* rows;
    bool isOfObjects;  // whether its first key is the number of an object that is there
};
constexpr Words kWords[] = {
    {Table::Object, "objects and the values of records", false},
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
    {Table::SmallChunk, "data of few bytes in stores", false},
};

class Recoverer {
  public:
    Recoverer(DatabaseState& state, const std::string& damaged,
              const std::function<void(double)>& progress)
        : m_state(state),
          m_damaged(damaged),
          m_progress(progress),
          m_salvage(state.Store().SalvageFrom(damaged, m_goOn)) {}

    ORQSimDatabase::Recovery Run() {
        // Indices hold links without their target's type, so objects are made as far as they can be
        // before links are taken from there.
        m_salvage->TakeRows();
        MakeObjectsOfLinks();
        m_salvage->TakeRowsFromIndices();
        m_salvage->TakeChunks(m_progress);
        m_done = 1.0;
        m_recovery.damage = m_salvage->Damage();
        ReportGaps();
        ReportHalfLinks();
        RemoveFlaws();
        Count();
        return std::move(m_recovery);
    }

  private:
    storage::RowStore& Rows() { return m_state.Rows(); }
    void Lose(std::string text) { m_recovery.lost.push_back(std::move(text)); }

    // A link says of its target's object all that the object's own row does; a symbol, of its
    // record.
    void MakeObjectsOfLinks() {
        if (!m_salvage->MayHaveLost(Table::Object)) {
            return;
        }
        Objects objects;
        objects[kFocus] = {kFocus, ORQSimSchema::Focus, ORQSimCategoryRecord};
        NoteTargets<ChildRow>(objects);
        NoteTargets<MapEntryRow>(objects);
        NoteTargets<VectorEntryRow>(objects);
        NoteTargets<SetEntryRow>(objects);
        for (const SymbolRow& row : Rows().Find<SymbolRow>()) {
            objects[row.object] = {row.object, row.type, ORQSimCategoryRecord};
        }
        for (const auto& [number, object] : objects) {
            // Where no row was lost with a page, a link to a missing object is itself the flaw.
            if (m_salvage->MayHaveLost(Table::Object, number)) {
                Rows().InsertNew(object);
            }
        }
    }

    using Objects = std::map<std::int64_t, ObjectRow>;  // by number
    template <class Link>
    void NoteTargets(Objects& objects) {
        for (const Link& row : Rows().Find<Link>()) {
            const storage::Target& target = row.target;
            objects[target.object] = {target.object, target.type, ObjectCategory(target.category)};
        }
    }

    static int ObjectCategory(int targetCategory) {
        switch (targetCategory) {
            case ORQSimCategoryCSet:
                return ORQSimCategoryCollection;
            case ORQSimCategoryDrawer:
                return ORQSimCategoryDistribution;
            default:
                return targetCategory;
        }
    }

    void ReportGaps() {
        for (const storage::RowGap& gap : m_salvage->Gaps()) {
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

    void ReportHalfLinks() {
        for (const storage::Salvage::HalfLink& link : m_salvage->HalfLinks()) {
            Lose(std::string(NameOf(link.table)) + " " + ORQSimSchema::NameOf(link.slot) + " of " +
                 NameInMessage(m_state, link.object) + ": led to object " +
                 std::to_string(link.target) + ", which is lost");
        }
    }

    // Removing what is flawed leaves new flaws, in what refers to it, until none is left.
    void RemoveFlaws() {
        for (;;) {
            std::vector<Flaw> flaws = FindFlaws(m_state, m_salvage.get(), m_goOn);
            if (flaws.empty()) {
                return;
            }
            if (std::ranges::any_of(flaws, [](const Flaw& flaw) { return !flaw.isLastResort; })) {
                std::erase_if(flaws, [](const Flaw& flaw) { return flaw.isLastResort; });
            }
            AddCoveredDrawers(flaws);
            // Removing erases rows behind the back of what is kept of them.
            m_state.ForgetCaches();
            const std::int64_t nBefore = Rows().NumChanges();
            Remove(flaws);
            // Each round takes rows away, so the loop ends.
            if (Rows().NumChanges() == nBefore) {
                throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                    m_damaged + ": cannot be recovered: " + flaws.front().text);
            }
        }
    }

    void Remove(std::vector<Flaw>& flaws) {
        std::set<std::string> reported;
        for (Flaw& flaw : flaws) {
            m_goOn();
            flaw.remove();
            if (reported.insert(flaw.text).second) {
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
            for (const DrawerRow& row : Rows().Find<DrawerRow>(distribution)) {
                const int earlier = row.number;
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
                                     EraseDrawer(state->Store(), object, earlier);
                                 },
                                 distribution, earlier, false});
            }
        }
    }

    bool MayMeet(std::int64_t distribution, int earlier, int later) {
        try {
            const ORQSimDistributionID id(m_state.Objects().Find(distribution));
            const DistributionState state = m_state.Distributions().Load(id);
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
        m_recovery.objects = Rows().Count(Table::Object);
        for (const Table links :
             {Table::Child, Table::MapEntry, Table::VectorEntry, Table::SetEntry}) {
            m_recovery.links += Rows().Count(links);
        }
        m_recovery.sets = Rows().Count(Table::ComponentSet);
        m_recovery.drawers = Rows().Count(Table::Drawer);
        m_recovery.tables = Rows().Count(Table::FTable);
        for (const ExtentRow& row : Rows().Find<ExtentRow>()) {
            m_recovery.bulkBytes += row.length;
        }
        for (const storage::SmallChunkRow& row : Rows().Find<storage::SmallChunkRow>()) {
            m_recovery.bulkBytes += std::ssize(row.bytes);
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
        while (!open.empty()) {
            const std::int64_t object = open.back();
            open.pop_back();
            ForEachTarget<ChildRow>(object, reach);
            ForEachTarget<MapEntryRow>(object, reach);
            ForEachTarget<VectorEntryRow>(object, reach);
            ForEachTarget<SetEntryRow>(object, reach);
            for (const MemberRow& row : Rows().Find<MemberRow>(object)) {
                reach(row.object);
            }
            for (const SymbolRow& row : Rows().Find<SymbolRow>(object)) {
                reach(row.object);
            }
            for (const DataSetRow& row : Rows().Find<DataSetRow>(object)) {
                reach(row.distribution);
            }
            for (const CompartmentRow& row : Rows().Find<CompartmentRow>(object)) {
                reach(row.setCollection);
            }
            for (const DistributionRow& row : Rows().Find<DistributionRow>(object)) {
                reach(row.rangeCollection);
                std::vector<std::int64_t> collections(row.grid.size() / sizeof(std::int64_t));
                std::memcpy(collections.data(), row.grid.data(),
                            collections.size() * sizeof(std::int64_t));
                std::ranges::for_each(collections, reach);
            }
        }
        return static_cast<std::int64_t>(reached.size());
    }

    template <class Link, class F>
    void ForEachTarget(std::int64_t object, F&& f) {
        for (const Link& row : Rows().Find<Link>(object)) {
            f(row.target.object);
        }
    }

    DatabaseState& m_state;
    std::string m_damaged;
    const std::function<void(double)>& m_progress;
    double m_done = 0.0;
    // Called again and again, so that a host can give up: says how far the recovery was before.
    const std::function<void()> m_goOn = [this] { m_progress(m_done); };
    std::unique_ptr<storage::Salvage> m_salvage;
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
