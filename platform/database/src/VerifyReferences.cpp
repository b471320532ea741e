#include "VerifyReferences.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Erasure.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "StoredMembers.h"
#include "VerifyDrawers.h"

namespace orq::database {

using storage::ChildRow;
using storage::CollectionRow;
using storage::CompartmentRow;
using storage::ComponentSetRow;
using storage::DataSetDrawerRow;
using storage::DataSetRow;
using storage::DistributionRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::ExtentRow;
using storage::FTableLabelRow;
using storage::FTableRow;
using storage::MapEntryRow;
using storage::MemberRow;
using storage::NameRow;
using storage::ObjectRow;
using storage::SetEntryRow;
using storage::SmallChunkRow;
using storage::SymbolRow;
using storage::Table;
using storage::VectorEntryRow;

namespace {

class ReferenceCheck {
  public:
    ReferenceCheck(DatabaseState& state, const storage::Salvage* salvage,
                   const std::function<void()>& goOn)
        : m_state(state), m_report(state, salvage, goOn) {}

    std::vector<Flaw> Run() {
        CheckKinds();
        CheckLinks<ChildRow>();
        CheckLinks<MapEntryRow>();
        CheckLinks<VectorEntryRow>();
        CheckLinks<SetEntryRow>();
        CheckOwners<NameRow>([](const NameRow& row) { return row.slot; });
        CheckMembers();
        CheckSymbols();
        CheckSets();
        CheckTables();
        CheckDistributions(m_report);
        for (const DataSetRow& row : m_report.Rows().Find<DataSetRow>()) {
            CheckDataSet(row.object, row.distribution);
        }
        CheckParts();
        CheckStores();
        return std::move(m_report.Flaws());
    }

  private:
    // Objects that are more than records have a row that says what they are, and vice versa.
    void CheckKinds() {
        for (const ObjectRow& row : m_report.Rows().Find<ObjectRow>()) {
            const std::optional<Table> kind = TableOfKind(row.category);
            if (kind && m_report.Rows().Count(*kind, row.id) == 0) {
                m_report.AddObject(row.id, std::string("has no row in table ") + NameOf(*kind));
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
        for (const Row& row : m_report.Rows().Find<Row>()) {
            if (m_state.Objects().Find(row.object).Category() != category) {
                m_report.AddObject(row.object, std::string("a row of table ") +
                                                   NameOf(Row::kTable) +
                                                   " belongs to it, and it does not exist as such");
            }
        }
    }

    // Removes the link that a row stores.
    FlawReport::Remove RemoveLink(const ChildRow& row) {
        return m_report.RemoveRow(Table::Child, row.object, row.slot, row.key);
    }

    FlawReport::Remove RemoveLink(const MapEntryRow& row) {
        return
            // A copy of the key: the row is gone by the time when the flaw is removed.
            [state = &m_state, object = row.object, slot = row.slot, name = std::string(row.key)] {
                state->Rows().Erase(Table::MapEntry, object, slot, std::string_view(name));
            };
    }

    FlawReport::Remove RemoveLink(const VectorEntryRow& row) {
        return m_report.RemoveRow(Table::VectorEntry, row.object, row.slot, row.key);
    }

    FlawReport::Remove RemoveLink(const SetEntryRow& row) {
        return m_report.RemoveRow(Table::SetEntry, row.object, row.slot, row.target.object,
                                  row.target.category, row.target.type, row.target.index);
    }

    template <class Link>
    void CheckLinks() {
        for (const Link& row : m_report.Rows().Find<Link>()) {
            const ORQSimDynamicID target = m_state.Objects().IdentityOf(row.target);
            const bool hasOwner = !m_state.Objects().Find(row.object).IsNull();
            if (hasOwner && m_report.Exists(target)) {
                continue;
            }
            std::string link =
                std::string(NameOf(Link::kTable)) + " " + ORQSimSchema::NameOf(row.slot);
            if constexpr (std::is_same_v<Link, MapEntryRow>) {
                link += " \"" + std::string(row.key) + "\"";
            }
            link += " of " + m_report.Show(row.object);
            m_report.Add(!hasOwner ? link + ": the object does not exist"
                                   : link + ": leads to " + m_report.ShowTarget(target) +
                                         ", which does not exist",
                         RemoveLink(row));
        }
    }

    // `second` returns the second number of a row's key.
    template <class Row, class Second>
    void CheckOwners(Second second) {
        for (const Row& row : m_report.Rows().Find<Row>()) {
            if (m_state.Objects().Find(row.object).IsNull()) {
                m_report.AddPart(Row::kTable, row.object, second(row));
            }
        }
    }

    void CheckMembers() {
        for (const MemberRow& row : m_report.Rows().Find<MemberRow>()) {
            const ORQSimCollectionID collection = m_state.Objects().FindCollection(row.collection);
            const bool isOutside =
                collection.IsNull() || row.member >= m_state.Objects().Space(collection);
            if (isOutside || m_state.Objects().Find(row.object).IsNull()) {
                const std::string member = "member " + std::to_string(row.member) +
                                           " of collection " + m_report.Show(row.collection);
                m_report.Add(isOutside ? member + ": the collection has no such member"
                                       : member + ": is " + m_report.Show(row.object) +
                                             ", which does not exist",
                             m_report.RemoveRow(Table::Member, row.collection, row.member));
            }
        }
    }

    void CheckSymbols() {
        for (const SymbolRow& row : m_report.Rows().Find<SymbolRow>()) {
            if (m_state.Objects().Find(row.object).IsNull() ||
                m_state.Objects().FindCollection(row.collection).IsNull()) {
                m_report.Add(
                    "symbol \"" + std::string(row.name) +
                        "\": its record or its collection does not exist",
                    m_report.RemoveRow(Table::Symbol, row.collection, row.type, row.place));
            }
        }
    }

    void CheckSets() {
        for (const ComponentSetRow& row : m_report.Rows().Find<ComponentSetRow>()) {
            m_report.Own(row.members.store,
                         [state = &m_state, set = row.id] { EraseSet(state->Store(), set); });
            const std::string problem = ProblemOfSet(row);
            if (!problem.empty()) {
                m_report.AddSet(row.collection, row.id, problem);
            }
        }
    }

    std::string ProblemOfSet(const ComponentSetRow& row) {
        const ORQSimCollectionID collection = m_state.Objects().FindCollection(row.collection);
        if (collection.IsNull()) {
            return "its collection, " + m_report.Show(row.collection) + ", does not exist";
        }
        const std::string loss = m_report.Loss(row.members);
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
                       " is outside the space of its collection, " + m_report.Show(row.collection);
            }
        } catch (const ORQBasFailure& failure) {
            return failure.Text();
        }
        return "";
    }

    void CheckTables() {
        for (const FTableRow& row : m_report.Rows().Find<FTableRow>()) {
            m_report.Own(row.store, [state = &m_state, object = row.object] {
                EraseObject(state->Store(), object);
            });
            std::int64_t wanted = 0;
            // Two ints and the size of a double can exceed 64 bits.
            if (__builtin_mul_overflow(std::int64_t{row.nRows} * row.nColumns,
                                       static_cast<std::int64_t>(sizeof(double)), &wanted)) {
                wanted = FlawReport::kUnknown;
            }
            const std::string loss = m_report.Loss(row.store, wanted);
            if (!loss.empty()) {
                m_report.AddObject(row.object, "a table of " + std::to_string(row.nRows) + " by " +
                                                   std::to_string(row.nColumns) +
                                                   " values is lost (" + loss + ")");
            } else if (m_report.StoredBytes(row.store) != wanted) {
                m_report.AddObject(row.object, "a table that holds " +
                                                   std::to_string(m_report.StoredBytes(row.store)) +
                                                   " bytes of " + std::to_string(wanted));
            }
        }
    }

    void CheckDataSet(std::int64_t object, std::int64_t distribution) {
        const auto report = [&](const std::string& text) {
            m_report.AddObject(object, "a data set: " + text);
        };
        if (distribution != 0 &&
            ORQSimDistributionID(m_state.Objects().Find(distribution)).IsNull()) {
            report("stands on " + m_report.Show(distribution) + ", which is no distribution");
        }
        if (m_report.MayHaveLost(Table::Compartment, object) ||
            m_report.MayHaveLost(Table::DataSetDrawer, object)) {
            report("parts of it may be lost");
        }
        for (const DataSetDrawerRow& row : m_report.Rows().Find<DataSetDrawerRow>(object)) {
            if (!m_report.Rows().Has<DrawerRow>(distribution, row.drawer)) {
                report("drawer " + std::to_string(row.drawer) + " does not exist");
            }
        }
        for (const CompartmentRow& row : m_report.Rows().Find<CompartmentRow>(object)) {
            const ORQSimCollectionID collection =
                m_state.Objects().FindCollection(row.setCollection);
            if (collection.IsNull() ||
                !m_report.Exists(ORQSimCSetID(collection.ContextID(), collection.MinorID(),
                                              collection.TypeID(), row.set))) {
                report("compartment " + std::to_string(row.place) + ", dimension " +
                       std::to_string(row.dimension) + " names a set that does not exist");
            }
        }
    }

    // Rows that are parts of what another row describes.
    void CheckParts() {
        for (const DrawerRow& row : m_report.Rows().Find<DrawerRow>()) {
            if (!m_report.Rows().Has<DistributionRow>(row.distribution)) {
                m_report.AddDrawer(row.distribution, row.number, "the distribution does not exist");
            }
        }
        CheckPartsOfDrawers<DrawerSegmentRow>();
        for (const CompartmentRow& row : m_report.Rows().Find<CompartmentRow>()) {
            if (!m_report.Rows().Has<DataSetRow>(row.dataSet)) {
                m_report.AddPart(Table::Compartment, row.dataSet, row.place);
            }
        }
        for (const DataSetDrawerRow& row : m_report.Rows().Find<DataSetDrawerRow>()) {
            if (!m_report.Rows().Has<DataSetRow>(row.dataSet)) {
                m_report.AddPart(Table::DataSetDrawer, row.dataSet, row.place);
            }
        }
        for (const FTableLabelRow& row : m_report.Rows().Find<FTableLabelRow>()) {
            if (!m_report.Rows().Has<FTableRow>(row.object)) {
                m_report.AddPart(Table::FTableLabel, row.object, row.axis);
            }
        }
    }

    template <class Part>
    void CheckPartsOfDrawers() {
        for (const Part& row : m_report.Rows().Find<Part>()) {
            if (!m_report.Rows().Has<DrawerRow>(row.distribution, row.drawer)) {
                m_report.AddDrawer(row.distribution, row.drawer, "does not exist but in part");
            }
        }
    }

    void CheckStores() {
        if (!m_report.Flaws().empty()) {
            return;  // whose data it is may not have been seen
        }
        std::int64_t last = 0;
        for (const ExtentRow& row : m_report.Rows().Find<ExtentRow>()) {
            if (row.store != last) {
                CheckOwner(row.store);
            }
            last = row.store;
        }
        for (const SmallChunkRow& row : m_report.Rows().Find<SmallChunkRow>()) {
            CheckOwner(row.store);
            if (m_report.Rows().Has<ExtentRow>(row.store)) {
                m_report.Add("store " + std::to_string(row.store) +
                                 " has a small chunk and others beside it",
                             m_report.RemoveRow(Table::SmallChunk, row.store));
            }
        }
    }

    void CheckOwner(std::int64_t store) {
        if (!m_report.IsOwned(store)) {
            m_report.Add("store " + std::to_string(store) + " has data that nothing uses",
                         [state = &m_state, store] { state->Chunks().Erase(store); });
        }
    }

    DatabaseState& m_state;
    FlawReport m_report;
};

}  // namespace

std::vector<Flaw> FindFlaws(DatabaseState& state, const storage::Salvage* salvage,
                            const std::function<void()>& goOn) {
    return ReferenceCheck(state, salvage, goOn).Run();
}

}  // namespace orq::database
