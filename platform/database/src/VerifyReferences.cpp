#include "VerifyReferences.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <set>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Erasure.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "ObjectPath.h"
#include "SparseRows.h"
#include "StoredDrawer.h"
#include "StoredMembers.h"

namespace orq::database {

using storage::ChildRow;
using storage::CollectionRow;
using storage::CompartmentRow;
using storage::ComponentSetRow;
using storage::DataSetDrawerRow;
using storage::DataSetRow;
using storage::DistributionRow;
using storage::DrawerDimensionRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::ExtentRow;
using storage::FieldRow;
using storage::FTableLabelRow;
using storage::FTableRow;
using storage::MapEntryRow;
using storage::MemberRow;
using storage::NameRow;
using storage::ObjectRow;
using storage::SetEntryRow;
using storage::SymbolRow;
using storage::Table;
using storage::VectorEntryRow;

namespace {

class ReferenceCheck {
  public:
    ReferenceCheck(DatabaseState& state, const storage::Salvage* salvage,
                   const std::function<void()>& goOn)
        : m_state(state), m_salvage(salvage), m_goOn(goOn) {}

    std::vector<Flaw> Run() {
        CheckKinds();
        CheckLinks<ChildRow>();
        CheckLinks<MapEntryRow>();
        CheckLinks<VectorEntryRow>();
        CheckLinks<SetEntryRow>();
        CheckOwners<NameRow>([](const NameRow& row) { return row.slot; });
        CheckOwners<FieldRow>([](const FieldRow& row) { return row.number; });
        CheckMembers();
        CheckSymbols();
        CheckSets();
        CheckTables();
        CheckDistributions();
        for (const DataSetRow& row : Rows().Find<DataSetRow>()) {
            CheckDataSet(row.object, row.distribution);
        }
        CheckParts();
        CheckStores();
        return std::move(m_flaws);
    }

  private:
    using Remove = std::function<void()>;
    static constexpr std::int64_t kUnknown = std::numeric_limits<std::int64_t>::max();

    // There is no loop without a look-up.
    storage::RowStore& Rows() {
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
               [state = &m_state, object] { EraseObject(state->Store(), object); });
    }
    void ReportSet(std::int64_t collection, int set, const std::string& text) {
        Report(NameInMessage(m_state, collection, set) + ": " + text,
               [state = &m_state, set] { EraseSet(state->Store(), set); });
    }
    void ReportDrawer(std::int64_t distribution, int drawer, const std::string& text) {
        m_flaws.push_back({Show(distribution) + ", drawer " + std::to_string(drawer) + ": " + text,
                           [state = &m_state, distribution, drawer] {
                               EraseDrawer(state->Store(), distribution, drawer);
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
                return !m_state.Objects().FindCollection(id.MinorID()).IsNull();
            }
            auto row = Rows().Find<ComponentSetRow>(id.Index());
            return row.Next() && row->collection == id.MinorID();
        }
        if (id.Category() == ORQSimCategoryDrawer) {
            return Rows().Has<DrawerRow>(id.MinorID(), id.Index());
        }
        return m_state.Objects().Find(id.MinorID()) == id;
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
        for (const ObjectRow& row : Rows().Find<ObjectRow>()) {
            const std::optional<Table> kind = TableOfKind(row.category);
            if (kind && Rows().Count(*kind, row.id) == 0) {
                ReportObject(row.id, std::string("has no row in table ") + NameOf(*kind));
            }
        }
        CheckKind<CollectionRow>(ORQSimCategoryCollection);
        CheckKind<DataSetRow>(ORQSimCategoryDSet);
        CheckKind<DistributionRow>(ORQSimCategoryDistribution);
        CheckKind<FTableRow>(ORQSimCategoryFTable);
    }

    static std::optional<Table> TableOfKind(int category) {
        switch (category) {
            case ORQSimCategoryCollection:
                return Table::Collection;
            case ORQSimCategoryDSet:
                return Table::DataSet;
            case ORQSimCategoryDistribution:
                return Table::Distribution;
            case ORQSimCategoryFTable:
                return Table::FTable;
            default:
                return {};
        }
    }

    template <class Row>
    void CheckKind(int category) {
        for (const Row& row : Rows().Find<Row>()) {
            if (m_state.Objects().Find(row.object).Category() != category) {
                ReportObject(row.object, std::string("a row of table ") + NameOf(Row::kTable) +
                                             " belongs to it, and it does not exist as such");
            }
        }
    }

    // Takes away the link that a row is.
    Remove RemoveLink(const ChildRow& row) {
        return RemoveRow(Table::Child, row.object, row.slot, row.key);
    }
    Remove RemoveLink(const MapEntryRow& row) {
        return
            [state = &m_state, object = row.object, slot = row.slot, name = std::string(row.key)] {
                state->Rows().Erase(Table::MapEntry, object, slot, std::string_view(name));
            };
    }
    Remove RemoveLink(const VectorEntryRow& row) {
        return RemoveRow(Table::VectorEntry, row.object, row.slot, row.key);
    }
    Remove RemoveLink(const SetEntryRow& row) {
        return RemoveRow(Table::SetEntry, row.object, row.slot, row.target.object,
                         row.target.category, row.target.type, row.target.index);
    }

    template <class Link>
    void CheckLinks() {
        for (const Link& row : Rows().Find<Link>()) {
            const ORQSimDynamicID target = m_state.Objects().IdentityOf(row.target);
            const bool hasOwner = !m_state.Objects().Find(row.object).IsNull();
            if (hasOwner && Exists(target)) {
                continue;
            }
            std::string link =
                std::string(NameOf(Link::kTable)) + " " + ORQSimSchema::NameOf(row.slot);
            if constexpr (std::is_same_v<Link, MapEntryRow>) {
                link += " \"" + std::string(row.key) + "\"";
            }
            link += " of " + Show(row.object);
            Report(!hasOwner ? link + ": the object does not exist"
                             : link + ": leads to " + ShowTarget(target) + ", which does not exist",
                   RemoveLink(row));
        }
    }

    // `second` answers the second number of a row's key.
    template <class Row, class Second>
    void CheckOwners(Second second) {
        for (const Row& row : Rows().Find<Row>()) {
            if (m_state.Objects().Find(row.object).IsNull()) {
                ReportPart(Row::kTable, row.object, second(row));
            }
        }
    }
    void ReportPart(Table table, std::int64_t owner, int second) {
        Report(std::string("a row of table ") + NameOf(table) + " belongs to " + Show(owner) +
                   ", which does not exist",
               RemoveRow(table, owner, second));
    }

    void CheckMembers() {
        for (const MemberRow& row : Rows().Find<MemberRow>()) {
            const ORQSimCollectionID collection = m_state.Objects().FindCollection(row.collection);
            const bool isOutside =
                collection.IsNull() || row.member >= m_state.Objects().Space(collection);
            if (isOutside || m_state.Objects().Find(row.object).IsNull()) {
                const std::string member = "member " + std::to_string(row.member) +
                                           " of collection " + Show(row.collection);
                Report(isOutside ? member + ": the collection has no such member"
                                 : member + ": is " + Show(row.object) + ", which does not exist",
                       RemoveRow(Table::Member, row.collection, row.member));
            }
        }
    }

    void CheckSymbols() {
        for (const SymbolRow& row : Rows().Find<SymbolRow>()) {
            if (m_state.Objects().Find(row.object).IsNull() ||
                m_state.Objects().FindCollection(row.collection).IsNull()) {
                Report("symbol \"" + std::string(row.name) +
                           "\": its record or its collection does not exist",
                       RemoveRow(Table::Symbol, row.collection, row.type, row.place));
            }
        }
    }

    void CheckSets() {
        for (const ComponentSetRow& row : Rows().Find<ComponentSetRow>()) {
            OwnStore(row.members.store,
                     [state = &m_state, set = row.id] { EraseSet(state->Store(), set); });
            const std::string problem = ProblemOfSet(row);
            if (!problem.empty()) {
                ReportSet(row.collection, row.id, problem);
            }
        }
    }

    std::string ProblemOfSet(const ComponentSetRow& row) {
        const ORQSimCollectionID collection = m_state.Objects().FindCollection(row.collection);
        if (collection.IsNull()) {
            return "its collection, " + Show(row.collection) + ", does not exist";
        }
        const std::string loss = LossOfMembers(row.members);
        if (!loss.empty()) {
            return std::to_string(row.members.count) + " members are lost (" + loss + ")";
        }
        try {
            const ComponentSetPtr members = ReadMembers(m_state.Store(), row.members);
            if (static_cast<std::int64_t>(members->Hash()) != row.hash) {
                return "its members are not those that were stored";
            }
            if (!members->IsEmpty() && members->Highest() >= m_state.Objects().Space(collection)) {
                return "member " + std::to_string(members->Highest()) +
                       " is outside the space of its collection, " + Show(row.collection);
            }
        } catch (const ORQBasFailure& failure) {
            return failure.Text();
        }
        return "";
    }

    std::string LossOfMembers(const storage::StoredMembers& members) {
        return Loss(members.store, std::int64_t{members.count} * 4);
    }

    void CheckTables() {
        for (const FTableRow& row : Rows().Find<FTableRow>()) {
            OwnStore(row.store, [state = &m_state, object = row.object] {
                EraseObject(state->Store(), object);
            });
            std::int64_t wanted = 0;
            if (__builtin_mul_overflow(std::int64_t{row.nRows} * row.nColumns,
                                       static_cast<std::int64_t>(sizeof(double)), &wanted)) {
                wanted = kUnknown;
            }
            const std::string loss = Loss(row.store, wanted);
            if (!loss.empty()) {
                ReportObject(row.object, "a table of " + std::to_string(row.nRows) + " by " +
                                             std::to_string(row.nColumns) + " values is lost (" +
                                             loss + ")");
            } else if (StoredBytes(row.store) != wanted) {
                ReportObject(row.object, "a table that holds " +
                                             std::to_string(StoredBytes(row.store)) + " bytes of " +
                                             std::to_string(wanted));
            }
        }
    }

    std::int64_t StoredBytes(std::int64_t store) {
        std::int64_t bytes = 0;
        for (const ExtentRow& row : Rows().Find<ExtentRow>(store)) {
            bytes = std::min(bytes + row.length, kUnknown / 2);  // no sum of lengths that are none
        }
        return bytes;
    }

    void CheckDistributions() {
        for (const DistributionRow& row : Rows().Find<DistributionRow>()) {
            const ORQSimDistributionID id(m_state.Objects().Find(row.object));
            if (id.IsNull()) {
                continue;  // told by CheckKinds
            }
            if (row.rangeCollection != 0 &&
                m_state.Objects().FindCollection(row.rangeCollection).IsNull()) {
                ReportObject(row.object, "the collection that its values refer to, " +
                                             Show(row.rangeCollection) + ", does not exist");
            } else if (HasWholeDrawers(row.object, row.grid.size() / sizeof(std::int64_t))) {
                CheckDistribution(row.object, id);
            }
        }
    }

    // Whether the rows of all drawers are there, so that a distribution can be read.
    bool HasWholeDrawers(std::int64_t object, std::size_t nDimensions) {
        const std::size_t nBefore = m_flaws.size();
        for (const DrawerRow& row : Rows().Find<DrawerRow>(object)) {
            if (m_salvage != nullptr && m_salvage->MayHaveLost(Table::Drawer, object) &&
                m_salvage->MayHaveLost(Table::DrawerDimension, object)) {
                ReportDrawer(object, row.number,
                             "another one that was lost may have held later values of its cells");
            } else if (Rows().Count(Table::DrawerDimension, object, row.number) !=
                       static_cast<std::int64_t>(nDimensions)) {
                ReportDrawer(object, row.number, "does not have the dimensions of its grid");
            } else if (const std::string problem = ProblemOfSegments(object, row.number);
                       !problem.empty()) {
                ReportDrawer(object, row.number, problem);
            }
        }
        return m_flaws.size() == nBefore;
    }

    std::string ProblemOfSegments(std::int64_t object, int drawer) {
        for (const DrawerSegmentRow& row : Rows().Find<DrawerSegmentRow>(object, drawer)) {
            const std::string loss = LossOfMembers(row.members);
            if (!loss.empty()) {
                return "what its rows stand for is lost (" + loss + ")";
            }
            try {
                ReadMembers(m_state.Store(), row.members);
            } catch (const ORQBasFailure& failure) {
                return failure.Text();
            }
        }
        return "";
    }

    void CheckDistribution(std::int64_t object, const ORQSimDistributionID& id) {
        try {
            const DistributionState distribution = m_state.Distributions().Load(id);
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
        for (const DrawerSegmentRow& row : Rows().Find<DrawerSegmentRow>(object, number)) {
            OwnDrawersStore(row.members.store, object, number);
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
        for (const ExtentRow& row : Rows().Find<ExtentRow>(drawer.store)) {
            std::string problem;
            if (rowBytes == 0 || row.length % rowBytes != 0 ||
                row.length / rowBytes > rowsPerChunk ||
                row.chunk * rowsPerChunk + row.length / rowBytes > drawer.nRows) {
                problem = "of " + std::to_string(row.length) + " bytes does not fit its rows";
            } else if (refers) {
                problem = WrongReference(distribution, row);
            }
            if (!problem.empty()) {
                ReportDrawer(drawer.id.MinorID(), drawer.id.Index(),
                             "chunk " + std::to_string(row.chunk) + " " + problem);
            }
        }
    }

    // The first one of a chunk; one finding a chunk says enough.
    std::string WrongReference(const DistributionState& distribution, const ExtentRow& chunk) {
        constexpr std::uint32_t kNoReference = 0xFFFFFFFF;
        const auto space =
            static_cast<std::uint32_t>(m_state.Objects().Space(distribution.rangeCollection));
        const std::byte* bytes =
            m_state.Chunks().Read(chunk.store, 0, chunk.chunk, 0, chunk.length);
        for (std::int64_t at = 0; at < chunk.length; at += 4) {
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
        if (distribution != 0 &&
            ORQSimDistributionID(m_state.Objects().Find(distribution)).IsNull()) {
            report("stands on " + Show(distribution) + ", which is no distribution");
        }
        if (m_salvage != nullptr && (m_salvage->MayHaveLost(Table::Compartment, object) ||
                                     m_salvage->MayHaveLost(Table::DataSetDrawer, object))) {
            report("parts of it may be lost");
        }
        for (const DataSetDrawerRow& row : Rows().Find<DataSetDrawerRow>(object)) {
            if (!Rows().Has<DrawerRow>(distribution, row.drawer)) {
                report("drawer " + std::to_string(row.drawer) + " does not exist");
            }
        }
        for (const CompartmentRow& row : Rows().Find<CompartmentRow>(object)) {
            const ORQSimCollectionID collection =
                m_state.Objects().FindCollection(row.setCollection);
            if (collection.IsNull() ||
                !Exists(ORQSimCSetID(collection.ContextID(), collection.MinorID(),
                                     collection.TypeID(), row.set))) {
                report("compartment " + std::to_string(row.place) + ", dimension " +
                       std::to_string(row.dimension) + " names a set that does not exist");
            }
        }
    }

    // Rows that are part of what another row tells.
    void CheckParts() {
        for (const DrawerRow& row : Rows().Find<DrawerRow>()) {
            if (!Rows().Has<DistributionRow>(row.distribution)) {
                ReportDrawer(row.distribution, row.number, "the distribution does not exist");
            }
        }
        CheckPartsOfDrawers<DrawerDimensionRow>();
        CheckPartsOfDrawers<DrawerSegmentRow>();
        for (const CompartmentRow& row : Rows().Find<CompartmentRow>()) {
            if (!Rows().Has<DataSetRow>(row.dataSet)) {
                ReportPart(Table::Compartment, row.dataSet, row.place);
            }
        }
        for (const DataSetDrawerRow& row : Rows().Find<DataSetDrawerRow>()) {
            if (!Rows().Has<DataSetRow>(row.dataSet)) {
                ReportPart(Table::DataSetDrawer, row.dataSet, row.place);
            }
        }
        for (const FTableLabelRow& row : Rows().Find<FTableLabelRow>()) {
            if (!Rows().Has<FTableRow>(row.object)) {
                ReportPart(Table::FTableLabel, row.object, row.axis);
            }
        }
    }

    template <class Part>
    void CheckPartsOfDrawers() {
        for (const Part& row : Rows().Find<Part>()) {
            if (!Rows().Has<DrawerRow>(row.distribution, row.drawer)) {
                ReportDrawer(row.distribution, row.drawer, "does not exist but in part");
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
            EraseDrawer(state->Store(), distribution, drawer);
        });
    }

    void CheckStores() {
        if (!m_flaws.empty()) {
            return;  // whose data it is may not have been seen
        }
        std::int64_t last = 0;
        for (const ExtentRow& row : Rows().Find<ExtentRow>()) {
            if (row.store != last && !m_stores.contains(row.store)) {
                Report("store " + std::to_string(row.store) + " has data that nothing uses",
                       [state = &m_state, store = row.store] { state->Chunks().Erase(store); });
            }
            last = row.store;
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
