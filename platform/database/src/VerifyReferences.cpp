// DatabaseState::VerifyReferences: whatever a row names must be there.

#include <algorithm>
#include <array>
#include <cstring>
#include <set>

#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"

namespace orq::database {

using storage::Cursor;
using storage::Table;

namespace {

class ReferenceCheck {
  public:
    explicit ReferenceCheck(DatabaseState& state) : m_state(state) {}

    std::vector<std::string> Run() {
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
        for (Cursor row = m_state.Rows().Find(Table::Distribution); row.Next();) {
            CheckDistribution(row.Int(0));
        }
        for (Cursor row = m_state.Rows().Find(Table::DataSet); row.Next();) {
            CheckDataSet(row.Int(0), row.Int(1));
        }
        CheckStores();
        return std::move(m_problems);
    }

  private:
    void Report(std::string text) { m_problems.push_back(std::move(text)); }

    static std::string Show(std::int64_t object) { return "object " + std::to_string(object); }

    bool Exists(const ORQSimDynamicID& id) {
        if (id.Category() == ORQSimCategoryCSet) {
            if (id.Index() == 0) {
                return !m_state.CollectionID(id.MinorID()).IsNull();
            }
            Cursor row = m_state.Rows().Find(Table::ComponentSet, id.Index());
            return row.Next() && row.Int(1) == id.MinorID();
        }
        if (id.Category() == ORQSimCategoryDrawer) {
            return m_state.Rows().Find(Table::Drawer, id.MinorID(), id.Index()).Next();
        }
        return m_state.ObjectID(id.MinorID()) == id;
    }

    void CheckLinks(Table table, int targetColumn) {
        for (Cursor row = m_state.Rows().Find(table); row.Next();) {
            const ORQSimDynamicID target = m_state.Target(row, targetColumn);
            const std::string link = std::string(storage::Catalogue::NameOf(table)) + " " +
                                     ORQSimSchema::NameOf(row.Int32(1)) + " of " + Show(row.Int(0));
            if (m_state.ObjectID(row.Int(0)).IsNull()) {
                Report(link + ": the object does not exist");
            }
            if (!Exists(target)) {
                Report(link + ": leads to " + Show(target.MinorID()) + " (category " +
                       std::to_string(target.Category()) + ", index " +
                       std::to_string(target.Index()) + "), which does not exist");
            }
        }
    }

    void CheckOwners(Table table) {
        for (Cursor row = m_state.Rows().Find(table); row.Next();) {
            if (m_state.ObjectID(row.Int(0)).IsNull()) {
                Report(std::string("a row of table ") + storage::Catalogue::NameOf(table) +
                       " belongs to " + Show(row.Int(0)) + ", which does not exist");
            }
        }
    }

    void CheckMembers() {
        for (Cursor row = m_state.Rows().Find(Table::Member); row.Next();) {
            const std::string member =
                "member " + std::to_string(row.Int(1)) + " of collection " + Show(row.Int(0));
            const ORQSimCollectionID collection = m_state.CollectionID(row.Int(0));
            if (collection.IsNull() || row.Int(1) >= m_state.Space(collection)) {
                Report(member + ": the collection has no such member");
            }
            if (m_state.ObjectID(row.Int(2)).IsNull()) {
                Report(member + ": is " + Show(row.Int(2)) + ", which does not exist");
            }
        }
    }

    void CheckSymbols() {
        for (Cursor row = m_state.Rows().Find(Table::Symbol); row.Next();) {
            if (m_state.ObjectID(row.Int(4)).IsNull() ||
                m_state.CollectionID(row.Int(0)).IsNull()) {
                Report("symbol \"" + std::string(row.Text(3)) +
                       "\": its record or its collection does not exist");
            }
        }
    }

    void CheckSets() {
        for (Cursor row = m_state.Rows().Find(Table::ComponentSet); row.Next();) {
            const std::string name = "set " + std::to_string(row.Int(0));
            OwnStore(row.Int(8));
            const ORQSimCollectionID collection = m_state.CollectionID(row.Int(1));
            if (collection.IsNull()) {
                Report(name + ": its collection, " + Show(row.Int(1)) + ", does not exist");
                continue;
            }
            const ComponentSetPtr members = ReadMembers(m_state.Engine(), row, 3);
            if (static_cast<std::int64_t>(members->Hash()) != row.Int(2)) {
                Report(name + ": its members are not those that were stored");
            }
            if (!members->IsEmpty() && members->Highest() >= m_state.Space(collection)) {
                Report(name + ": member " + std::to_string(members->Highest()) +
                       " is outside the space of its collection, " + Show(row.Int(1)));
            }
        }
    }

    void CheckTables() {
        for (Cursor row = m_state.Rows().Find(Table::FTable); row.Next();) {
            OwnStore(row.Int(3));
            const std::int64_t wanted =
                row.Int(1) * row.Int(2) * static_cast<std::int64_t>(sizeof(double));
            if (StoredBytes(row.Int(3)) != wanted) {
                Report("table " + Show(row.Int(0)) + ": holds " +
                       std::to_string(StoredBytes(row.Int(3))) + " bytes of " +
                       std::to_string(wanted));
            }
        }
    }

    std::int64_t StoredBytes(std::int64_t store) {
        std::int64_t bytes = 0;
        for (Cursor row = m_state.Rows().Find(Table::Extent, store); row.Next();) {
            bytes += row.Int(5);
        }
        return bytes;
    }

    void CheckDistribution(std::int64_t object) {
        const ORQSimDistributionID id(m_state.ObjectID(object));
        const std::string name = "distribution " + Show(object);
        if (id.IsNull()) {
            Report(name + ": is no object");
            return;
        }
        const DistributionState& distribution = m_state.Distribution(id);
        if (std::ranges::any_of(distribution.grid,
                                [](const auto& collection) { return collection.IsNull(); })) {
            Report(name + ": a collection of its grid does not exist");
            return;
        }
        for (const auto& drawer : distribution.drawers) {
            CheckDrawer(distribution, *drawer,
                        name + ", drawer " + std::to_string(drawer->id.Index()));
        }
    }

    void CheckDrawer(const DistributionState& distribution, const DrawerState& drawer,
                     const std::string& name) {
        OwnStore(drawer.store);
        for (Cursor row =
                 m_state.Rows().Find(Table::DrawerSegment, drawer.id.MinorID(), drawer.id.Index());
             row.Next();) {
            OwnStore(row.Int(8));
        }
        for (std::size_t dim = 0; dim < drawer.sets.size(); ++dim) {
            const ComponentSet& set = *drawer.sets[dim];
            const int space = m_state.Space(distribution.grid[dim]);
            if (!set.IsEmpty() && (set.Lowest() < 0 || set.Highest() >= space)) {
                Report(name + ": dimension " + std::to_string(dim) +
                       " covers members outside the space of " + std::to_string(space));
            }
            if (static_cast<int>(dim) != drawer.extendable && !Exists(drawer.setIds[dim])) {
                Report(name + ": the set of dimension " + std::to_string(dim) + " does not exist");
            }
        }
        std::int64_t nRows = 0;
        for (const DrawerSegment& segment : drawer.segments) {
            if (segment.firstRow != nRows) {
                Report(name + ": its rows have a gap at row " + std::to_string(nRows));
            }
            nRows += segment.members->Size();
        }
        if (nRows != drawer.nRows ||
            nRows != drawer.sets[static_cast<std::size_t>(drawer.RowDim())]->Size()) {
            Report(name + ": has " + std::to_string(drawer.nRows) + " rows, its members are " +
                   std::to_string(nRows));
        }
        if (drawer.layout != ORQSimDrawerLayout::Sparse) {
            CheckCells(distribution, drawer, name);
        }
    }

    // Chunks hold whole rows that the drawer has, and references name members that exist.
    void CheckCells(const DistributionState& distribution, const DrawerState& drawer,
                    const std::string& name) {
        const std::int64_t rowBytes = drawer.ItemsPerRow() * distribution.ScalarSize();
        const std::int64_t rowsPerChunk = drawer.RowsPerChunk(distribution.ScalarSize());
        for (Cursor row = m_state.Rows().Find(Table::Extent, drawer.store); row.Next();) {
            const std::int64_t chunk = row.Int(2);
            const std::int64_t length = row.Int(5);
            if (rowBytes == 0 || length % rowBytes != 0 || length / rowBytes > rowsPerChunk ||
                chunk * rowsPerChunk + length / rowBytes > drawer.nRows) {
                Report(name + ": chunk " + std::to_string(chunk) + " of " + std::to_string(length) +
                       " bytes does not fit its rows");
            } else if (!distribution.rangeCollection.IsNull() &&
                       (distribution.scalar == ORQSimScalarInt ||
                        distribution.scalar == ORQSimScalarUint)) {
                CheckReferences(distribution, drawer.store, chunk, length, name);
            }
        }
    }

    void CheckReferences(const DistributionState& distribution, std::int64_t store,
                         std::int64_t chunk, std::int64_t length, const std::string& name) {
        constexpr std::uint32_t kNoReference = 0xFFFFFFFF;
        const auto space = static_cast<std::uint32_t>(m_state.Space(distribution.rangeCollection));
        const std::byte* bytes = m_state.Engine().Chunks().Read(store, 0, chunk, 0, length);
        for (std::int64_t at = 0; at < length; at += 4) {
            std::uint32_t value = 0;
            std::memcpy(&value, bytes + at, sizeof value);
            if (value >= space && value != kNoReference) {
                Report(name + ": chunk " + std::to_string(chunk) + ", item " +
                       std::to_string(at / 4) + " refers to member " + std::to_string(value) +
                       " of a collection of " + std::to_string(space));
                return;  // one finding a chunk says enough
            }
        }
    }

    void CheckDataSet(std::int64_t object, std::int64_t distribution) {
        const std::string name = "data set " + Show(object);
        if (m_state.ObjectID(object).IsNull()) {
            Report(name + ": is no object");
        }
        if (distribution != 0 && ORQSimDistributionID(m_state.ObjectID(distribution)).IsNull()) {
            Report(name + ": stands on " + Show(distribution) + ", which is no distribution");
        }
        for (Cursor row = m_state.Rows().Find(Table::DataSetDrawer, object); row.Next();) {
            if (!m_state.Rows().Find(Table::Drawer, distribution, row.Int(2)).Next()) {
                Report(name + ": drawer " + std::to_string(row.Int(2)) + " does not exist");
            }
        }
        for (Cursor row = m_state.Rows().Find(Table::Compartment, object); row.Next();) {
            const ORQSimCollectionID collection = m_state.CollectionID(row.Int(4));
            if (collection.IsNull() ||
                !Exists(ORQSimCSetID(collection.ContextID(), collection.MinorID(),
                                     collection.TypeID(), row.Int32(3)))) {
                Report(name + ": compartment " + std::to_string(row.Int(1)) + ", dimension " +
                       std::to_string(row.Int(2)) + " names a set that does not exist");
            }
        }
    }

    void OwnStore(std::int64_t store) {
        if (store != 0 && !m_stores.insert(store).second) {
            Report("store " + std::to_string(store) + " is used twice");
        }
    }

    void CheckStores() {
        std::int64_t last = 0;
        for (Cursor row = m_state.Rows().Find(Table::Extent); row.Next();) {
            if (row.Int(0) != last && !m_stores.contains(row.Int(0))) {
                Report("store " + std::to_string(row.Int(0)) + " has data that nothing uses");
            }
            last = row.Int(0);
        }
    }

    DatabaseState& m_state;
    std::vector<std::string> m_problems;
    std::set<std::int64_t> m_stores;
};

}  // namespace

std::vector<std::string> DatabaseState::VerifyReferences() {
    return ReferenceCheck(*this).Run();
}

}  // namespace orq::database
