#include "VerifyReferences.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "ObjectPath.h"
#include "SparseRows.h"
#include "StoredDrawer.h"

namespace orq::database {

using storage::Cursor;
using storage::Table;

namespace {

class ReferenceCheck {
  public:
    ReferenceCheck(DatabaseState& state, const storage::Salvage* salvage,
                   const std::function<void()>& goOn)
        : m_state(state), m_salvage(salvage), m_goOn(goOn) {}

    std::vector<Flaw> Run() {
        CheckKinds();
        CheckLinks(Table::Child, 3);
        CheckLinks(Table::MapEntry, 3);
        CheckLinks(Table::VectorEntry, 3);
        CheckLinks(Table::SetEntry, 2);
        CheckOwners(Table::Name);
        CheckOwners(Table::Field);
        CheckMembers();
        CheckSymbols();
        CheckSets();
        CheckTables();
        CheckDistributions();
        for (Cursor row = Rows().Find(Table::DataSet); row.Next();) {
            CheckDataSet(row.Int(0), row.Int(1));
        }
        CheckParts();
        CheckStores();
        return std::move(m_flaws);
    }

  private:
    using Remove = std::function<void()>;
    static constexpr std::int64_t kUnknown = std::numeric_limits<std::int64_t>::max();

    // There is no loop without a look-up.
    storage::Catalogue& Rows() {
        m_goOn();
        return m_state.Rows();
    }

    void Report(std::string text, Remove remove) {
        m_flaws.push_back({std::move(text), std::move(remove), 0, 0, false});
    }
    template <class... Keys>
    Remove RemoveRow(Table table, Keys... keys) {
        return [state = &m_state, table, keys...] { state->Rows().Erase(table, keys...); };
    }
    void ReportObject(std::int64_t object, const std::string& text) {
        Report(Show(object) + ": " + text,
               [state = &m_state, object] { state->EraseObject(object); });
    }
    void ReportSet(std::int64_t collection, int set, const std::string& text) {
        Report(NameInMessage(m_state, collection, set) + ": " + text,
               [state = &m_state, set] { state->EraseSet(set); });
    }
    void ReportDrawer(std::int64_t distribution, int drawer, const std::string& text) {
        m_flaws.push_back({Show(distribution) + ", drawer " + std::to_string(drawer) + ": " + text,
                           [state = &m_state, distribution, drawer] {
                               state->EraseDrawerRows(distribution, drawer);
                           },
                           distribution, drawer, false});
    }

    // Looking for a name costs as much as some thousand look-ups.
    std::string Show(std::int64_t object) {
        constexpr std::size_t kMostNamed = 1000;
        return m_flaws.size() < kMostNamed ? NameInMessage(m_state, object)
                                           : "object " + std::to_string(object);
    }

    std::string ShowTarget(const ORQSimDynamicID& id) {
        switch (id.Category()) {
            case ORQSimCategoryCSet:
                return "set " + std::to_string(id.Index()) + " of " + Show(id.MinorID());
            case ORQSimCategoryDrawer:
                return "drawer " + std::to_string(id.Index()) + " of " + Show(id.MinorID());
            default:
                return "object " + std::to_string(id.MinorID()) + " (category " +
                       std::to_string(id.Category()) + ")";
        }
    }

    bool Exists(const ORQSimDynamicID& id) {
        if (id.Category() == ORQSimCategoryCSet) {
            if (id.Index() == 0) {
                return !m_state.CollectionID(id.MinorID()).IsNull();
            }
            Cursor row = Rows().Find(Table::ComponentSet, id.Index());
            return row.Next() && row.Int(1) == id.MinorID();
        }
        if (id.Category() == ORQSimCategoryDrawer) {
            return Rows().Find(Table::Drawer, id.MinorID(), id.Index()).Next();
        }
        return m_state.ObjectID(id.MinorID()) == id;
    }

    // What a store's data has lost, in words; empty where it is whole, as far as a salvage knows.
    // `size` is what it would be if no chunk were missing.
    std::string Loss(std::int64_t store, std::int64_t size) {
        if (m_salvage == nullptr || store == 0) {
            return "";
        }
        const auto damaged = m_salvage->DamagedStores().find(store);
        if (damaged != m_salvage->DamagedStores().end()) {
            return damaged->second;
        }
        return m_salvage->MayHaveLost(Table::Extent, store) && StoredBytes(store) < size
                   ? "the catalogue's page that says where its data lies is damaged"
                   : "";
    }

    // Objects that are more than records have a row that says what they are, and the other way.
    void CheckKinds() {
        constexpr std::pair<int, Table> kKinds[] = {
            {ORQSimCategoryCollection, Table::Collection},
            {ORQSimCategoryDSet, Table::DataSet},
            {ORQSimCategoryDistribution, Table::Distribution},
            {ORQSimCategoryFTable, Table::FTable}};
        for (Cursor row = Rows().Find(Table::Object); row.Next();) {
            const auto* kind =
                std::ranges::find(kKinds, row.Int32(2), &std::pair<int, Table>::first);
            if (kind != std::end(kKinds) && !Rows().Find(kind->second, row.Int(0)).Next()) {
                ReportObject(row.Int(0), std::string("has no row in table ") +
                                             storage::Catalogue::NameOf(kind->second));
            }
        }
        for (const auto& [category, table] : kKinds) {
            for (Cursor row = Rows().Find(table); row.Next();) {
                if (m_state.ObjectID(row.Int(0)).Category() != category) {
                    ReportObject(row.Int(0), std::string("a row of table ") +
                                                 storage::Catalogue::NameOf(table) +
                                                 " belongs to it, and it does not exist as such");
                }
            }
        }
    }

    // Takes away the link that a row is.
    Remove RemoveLink(Table table, const Cursor& row) {
        switch (table) {
            case Table::MapEntry:
                return [state = &m_state, object = row.Int(0), slot = row.Int(1),
                        name = std::string(row.Text(2))] {
                    state->Rows().Erase(Table::MapEntry, object, slot, std::string_view(name));
                };
            case Table::SetEntry:
                return RemoveRow(table, row.Int(0), row.Int(1), row.Int(2), row.Int(3), row.Int(4),
                                 row.Int(5));
            default:
                return RemoveRow(table, row.Int(0), row.Int(1), row.Int(2));
        }
    }

    void CheckLinks(Table table, int targetColumn) {
        for (Cursor row = Rows().Find(table); row.Next();) {
            const ORQSimDynamicID target = m_state.Target(row, targetColumn);
            const bool hasOwner = !m_state.ObjectID(row.Int(0)).IsNull();
            if (hasOwner && Exists(target)) {
                continue;
            }
            std::string link = std::string(storage::Catalogue::NameOf(table)) + " " +
                               ORQSimSchema::NameOf(row.Int32(1));
            if (table == Table::MapEntry) {
                link += " \"" + std::string(row.Text(2)) + "\"";
            }
            link += " of " + Show(row.Int(0));
            Report(!hasOwner ? link + ": the object does not exist"
                             : link + ": leads to " + ShowTarget(target) + ", which does not exist",
                   RemoveLink(table, row));
        }
    }

    void CheckOwners(Table table) {
        for (Cursor row = Rows().Find(table); row.Next();) {
            if (m_state.ObjectID(row.Int(0)).IsNull()) {
                Report(std::string("a row of table ") + storage::Catalogue::NameOf(table) +
                           " belongs to " + Show(row.Int(0)) + ", which does not exist",
                       RemoveRow(table, row.Int(0), row.Int(1)));
            }
        }
    }

    void CheckMembers() {
        for (Cursor row = Rows().Find(Table::Member); row.Next();) {
            const ORQSimCollectionID collection = m_state.CollectionID(row.Int(0));
            const bool isOutside = collection.IsNull() || row.Int(1) >= m_state.Space(collection);
            if (isOutside || m_state.ObjectID(row.Int(2)).IsNull()) {
                const std::string member =
                    "member " + std::to_string(row.Int(1)) + " of collection " + Show(row.Int(0));
                Report(isOutside ? member + ": the collection has no such member"
                                 : member + ": is " + Show(row.Int(2)) + ", which does not exist",
                       RemoveRow(Table::Member, row.Int(0), row.Int(1)));
            }
        }
    }

    void CheckSymbols() {
        for (Cursor row = Rows().Find(Table::Symbol); row.Next();) {
            if (m_state.ObjectID(row.Int(4)).IsNull() ||
                m_state.CollectionID(row.Int(0)).IsNull()) {
                Report("symbol \"" + std::string(row.Text(3)) +
                           "\": its record or its collection does not exist",
                       RemoveRow(Table::Symbol, row.Int(0), row.Int(1), row.Int(2)));
            }
        }
    }

    void CheckSets() {
        for (Cursor row = Rows().Find(Table::ComponentSet); row.Next();) {
            OwnStore(row.Int(8), [state = &m_state, set = row.Int32(0)] { state->EraseSet(set); });
            const std::string problem = ProblemOfSet(row);
            if (!problem.empty()) {
                ReportSet(row.Int(1), row.Int32(0), problem);
            }
        }
    }

    std::string ProblemOfSet(const Cursor& row) {
        const ORQSimCollectionID collection = m_state.CollectionID(row.Int(1));
        if (collection.IsNull()) {
            return "its collection, " + Show(row.Int(1)) + ", does not exist";
        }
        const std::string loss = Loss(row.Int(8), row.Int(5) * 4);
        if (!loss.empty()) {
            return std::to_string(row.Int(5)) + " members are lost (" + loss + ")";
        }
        try {
            const ComponentSetPtr members = ReadMembers(m_state.Engine(), row, 3);
            if (static_cast<std::int64_t>(members->Hash()) != row.Int(2)) {
                return "its members are not those that were stored";
            }
            if (!members->IsEmpty() && members->Highest() >= m_state.Space(collection)) {
                return "member " + std::to_string(members->Highest()) +
                       " is outside the space of its collection, " + Show(row.Int(1));
            }
        } catch (const ORQBasFailure& failure) {
            return failure.Text();
        }
        return "";
    }

    void CheckTables() {
        for (Cursor row = Rows().Find(Table::FTable); row.Next();) {
            OwnStore(row.Int(3),
                     [state = &m_state, object = row.Int(0)] { state->EraseObject(object); });
            std::int64_t wanted = 0;
            if (__builtin_mul_overflow(row.Int(1) * row.Int(2),
                                       static_cast<std::int64_t>(sizeof(double)), &wanted)) {
                wanted = kUnknown;
            }
            const std::string loss = Loss(row.Int(3), wanted);
            if (!loss.empty()) {
                ReportObject(row.Int(0), "a table of " + std::to_string(row.Int(1)) + " by " +
                                             std::to_string(row.Int(2)) + " values is lost (" +
                                             loss + ")");
            } else if (StoredBytes(row.Int(3)) != wanted) {
                ReportObject(row.Int(0), "a table that holds " +
                                             std::to_string(StoredBytes(row.Int(3))) +
                                             " bytes of " + std::to_string(wanted));
            }
        }
    }

    std::int64_t StoredBytes(std::int64_t store) {
        std::int64_t bytes = 0;
        for (Cursor row = Rows().Find(Table::Extent, store); row.Next();) {
            bytes = std::min(bytes + row.Int(5), kUnknown / 2);  // no sum of lengths that are none
        }
        return bytes;
    }

    void CheckDistributions() {
        for (Cursor row = Rows().Find(Table::Distribution); row.Next();) {
            const std::int64_t object = row.Int(0);
            const ORQSimDistributionID id(m_state.ObjectID(object));
            if (id.IsNull()) {
                continue;  // told by CheckKinds
            }
            if (const std::int64_t range = row.Int(2);
                range != 0 && m_state.CollectionID(range).IsNull()) {
                ReportObject(object, "the collection that its values refer to, " + Show(range) +
                                         ", does not exist");
            } else if (HasWholeDrawers(object, row.Blob(3).size() / sizeof(std::int64_t))) {
                CheckDistribution(object, id);
            }
        }
    }

    // Whether the rows of all drawers are there, so that a distribution can be read.
    bool HasWholeDrawers(std::int64_t object, std::size_t nDimensions) {
        const std::size_t nBefore = m_flaws.size();
        for (Cursor row = Rows().Find(Table::Drawer, object); row.Next();) {
            const int number = row.Int32(1);
            if (m_salvage != nullptr && m_salvage->MayHaveLost(Table::Drawer, object) &&
                m_salvage->MayHaveLost(Table::DrawerDimension, object)) {
                ReportDrawer(object, number,
                             "another one that was lost may have held later values of its cells");
            } else if (Rows().CountRows(Table::DrawerDimension, object, number) !=
                       static_cast<std::int64_t>(nDimensions)) {
                ReportDrawer(object, number, "does not have the dimensions of its grid");
            } else if (const std::string problem = ProblemOfSegments(object, number);
                       !problem.empty()) {
                ReportDrawer(object, number, problem);
            }
        }
        return m_flaws.size() == nBefore;
    }

    std::string ProblemOfSegments(std::int64_t object, int drawer) {
        for (Cursor row = Rows().Find(Table::DrawerSegment, object, drawer); row.Next();) {
            const std::string loss = Loss(row.Int(8), row.Int(5) * 4);
            if (!loss.empty()) {
                return "what its rows stand for is lost (" + loss + ")";
            }
            try {
                ReadMembers(m_state.Engine(), row, 3);
            } catch (const ORQBasFailure& failure) {
                return failure.Text();
            }
        }
        return "";
    }

    void CheckDistribution(std::int64_t object, const ORQSimDistributionID& id) {
        try {
            const DistributionState distribution = m_state.LoadDistribution(id);
            if (std::ranges::any_of(distribution.grid,
                                    [](const auto& collection) { return collection.IsNull(); })) {
                ReportObject(object, "a collection of its grid does not exist");
                return;
            }
            for (const auto& drawer : distribution.drawers) {
                CheckDrawer(distribution, *drawer);
            }
        } catch (const ORQBasFailure& failure) {
            // One of its sets, mostly; that is told by CheckSets, and goes first.
            ReportObject(object, "cannot be read: " + failure.Text());
            m_flaws.back().isLastResort = true;
        }
    }

    void CheckDrawer(const DistributionState& distribution, const DrawerState& drawer) {
        const std::int64_t object = drawer.id.MinorID();
        const int number = drawer.id.Index();
        const auto report = [&](const std::string& text) { ReportDrawer(object, number, text); };
        OwnDrawersStore(drawer.store, object, number);
        for (Cursor row = Rows().Find(Table::DrawerSegment, object, number); row.Next();) {
            OwnDrawersStore(row.Int(8), object, number);
        }
        if (const std::string problem = ProblemOfDrawer(m_state, distribution, drawer);
            !problem.empty()) {
            report(problem);
            return;
        }
        const bool isSparse = drawer.layout == ORQSimDrawerLayout::Sparse;
        const std::int64_t nValues = drawer.nRows * drawer.ItemsPerRow();
        const std::string loss =
            Loss(drawer.store, isSparse ? kUnknown : nValues * distribution.ScalarSize());
        if (!loss.empty()) {
            report(std::to_string(nValues) + " values in " + std::to_string(drawer.nRows) +
                   " rows are lost (" + loss + ")");
        } else if (isSparse) {
            CheckSparse(distribution, drawer);
        } else {
            CheckCells(distribution, drawer);
        }
    }

    void CheckSparse(const DistributionState& distribution, const DrawerState& drawer) {
        try {
            SparseRows::Read(m_state, distribution, drawer, drawer.sets);
        } catch (const ORQBasFailure& failure) {
            ReportDrawer(drawer.id.MinorID(), drawer.id.Index(), failure.Text());
        }
    }

    // Chunks hold whole rows that the drawer has, and references name members that exist.
    void CheckCells(const DistributionState& distribution, const DrawerState& drawer) {
        const std::int64_t rowBytes = drawer.ItemsPerRow() * distribution.ScalarSize();
        const std::int64_t rowsPerChunk = drawer.RowsPerChunk(distribution.ScalarSize());
        const bool refers =
            !distribution.rangeCollection.IsNull() &&
            (distribution.scalar == ORQSimScalarInt || distribution.scalar == ORQSimScalarUint);
        for (Cursor row = Rows().Find(Table::Extent, drawer.store); row.Next();) {
            const std::int64_t chunk = row.Int(2);
            const std::int64_t length = row.Int(5);
            std::string problem;
            if (rowBytes == 0 || length % rowBytes != 0 || length / rowBytes > rowsPerChunk ||
                chunk * rowsPerChunk + length / rowBytes > drawer.nRows) {
                problem = "of " + std::to_string(length) + " bytes does not fit its rows";
            } else if (refers) {
                problem = WrongReference(distribution, drawer.store, chunk, length);
            }
            if (!problem.empty()) {
                ReportDrawer(drawer.id.MinorID(), drawer.id.Index(),
                             "chunk " + std::to_string(chunk) + " " + problem);
            }
        }
    }

    // The first one of a chunk; one finding a chunk says enough.
    std::string WrongReference(const DistributionState& distribution, std::int64_t store,
                               std::int64_t chunk, std::int64_t length) {
        constexpr std::uint32_t kNoReference = 0xFFFFFFFF;
        const auto space = static_cast<std::uint32_t>(m_state.Space(distribution.rangeCollection));
        const std::byte* bytes = m_state.Engine().Chunks().Read(store, 0, chunk, 0, length);
        for (std::int64_t at = 0; at < length; at += 4) {
            std::uint32_t value = 0;
            std::memcpy(&value, bytes + at, sizeof value);
            if (value >= space && value != kNoReference) {
                return "item " + std::to_string(at / 4) + " refers to member " +
                       std::to_string(value) + " of a collection of " + std::to_string(space);
            }
        }
        return "";
    }

    void CheckDataSet(std::int64_t object, std::int64_t distribution) {
        const auto report = [&](const std::string& text) {
            ReportObject(object, "a data set: " + text);
        };
        if (distribution != 0 && ORQSimDistributionID(m_state.ObjectID(distribution)).IsNull()) {
            report("stands on " + Show(distribution) + ", which is no distribution");
        }
        if (m_salvage != nullptr && (m_salvage->MayHaveLost(Table::Compartment, object) ||
                                     m_salvage->MayHaveLost(Table::DataSetDrawer, object))) {
            report("parts of it may be lost");
        }
        for (Cursor row = Rows().Find(Table::DataSetDrawer, object); row.Next();) {
            if (!Rows().Find(Table::Drawer, distribution, row.Int(2)).Next()) {
                report("drawer " + std::to_string(row.Int(2)) + " does not exist");
            }
        }
        for (Cursor row = Rows().Find(Table::Compartment, object); row.Next();) {
            const ORQSimCollectionID collection = m_state.CollectionID(row.Int(4));
            if (collection.IsNull() ||
                !Exists(ORQSimCSetID(collection.ContextID(), collection.MinorID(),
                                     collection.TypeID(), row.Int32(3)))) {
                report("compartment " + std::to_string(row.Int(1)) + ", dimension " +
                       std::to_string(row.Int(2)) + " names a set that does not exist");
            }
        }
    }

    // Rows that are part of what another row tells.
    void CheckParts() {
        for (Cursor row = Rows().Find(Table::Drawer); row.Next();) {
            if (!Rows().Find(Table::Distribution, row.Int(0)).Next()) {
                ReportDrawer(row.Int(0), row.Int32(1), "the distribution does not exist");
            }
        }
        for (const Table part : {Table::DrawerDimension, Table::DrawerSegment}) {
            for (Cursor row = Rows().Find(part); row.Next();) {
                if (!Rows().Find(Table::Drawer, row.Int(0), row.Int(1)).Next()) {
                    ReportDrawer(row.Int(0), row.Int32(1), "does not exist but in part");
                }
            }
        }
        constexpr std::pair<Table, Table> kParts[] = {{Table::Compartment, Table::DataSet},
                                                      {Table::DataSetDrawer, Table::DataSet},
                                                      {Table::FTableLabel, Table::FTable}};
        for (const auto& [part, whole] : kParts) {
            for (Cursor row = Rows().Find(part); row.Next();) {
                if (!Rows().Find(whole, row.Int(0)).Next()) {
                    Report(std::string("a row of table ") + storage::Catalogue::NameOf(part) +
                               " belongs to " + Show(row.Int(0)) + ", which does not exist",
                           RemoveRow(part, row.Int(0), row.Int(1)));
                }
            }
        }
    }

    // `remove` takes the owner away.
    void OwnStore(std::int64_t store, Remove remove) {
        if (store != 0 && !m_stores.insert(store).second) {
            Report("store " + std::to_string(store) + " is used twice", std::move(remove));
        }
    }
    void OwnDrawersStore(std::int64_t store, std::int64_t distribution, int drawer) {
        OwnStore(store, [state = &m_state, distribution, drawer] {
            state->EraseDrawerRows(distribution, drawer);
        });
    }

    void CheckStores() {
        if (!m_flaws.empty()) {
            return;  // whose data it is may not have been seen
        }
        std::int64_t last = 0;
        for (Cursor row = Rows().Find(Table::Extent); row.Next();) {
            const std::int64_t store = row.Int(0);
            if (store != last && !m_stores.contains(store)) {
                Report("store " + std::to_string(store) + " has data that nothing uses",
                       [state = &m_state, store] { state->Engine().Chunks().Erase(store); });
            }
            last = store;
        }
    }

    DatabaseState& m_state;
    const storage::Salvage* m_salvage;
    const std::function<void()>& m_goOn;
    std::vector<Flaw> m_flaws;
    std::set<std::int64_t> m_stores;
};

}  // namespace

std::vector<Flaw> FindFlaws(DatabaseState& state, const storage::Salvage* salvage,
                            const std::function<void()>& goOn) {
    return ReferenceCheck(state, salvage, goOn).Run();
}

}  // namespace orq::database
