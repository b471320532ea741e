#include "DatabaseState.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include "FlatArray.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "StoredDrawer.h"

namespace orq::database {

using storage::ComponentSetRow;
using storage::DataSetDrawerRow;
using storage::DataSetRow;
using storage::DrawerDimensionRow;
using storage::DrawerRow;
using storage::DrawerSegmentRow;
using storage::Index;
using storage::Table;

namespace {

// Members up to this many stand in the row itself.
constexpr std::size_t kMostInRow = 1024;
// Drawers that are not chunked are still stored in pieces, so that changing a cell copies little.
constexpr std::int64_t kPlainChunk = 4 << 20;

struct OpenDatabase {
    DatabaseState* state = nullptr;
    // Of another process, from which this one came by fork(): to end it would change the files.
    std::unique_ptr<storage::Store> abandoned = nullptr;
};

// Open databases by context number; numbers are never given twice. Never destroyed: handles may be
// held by objects that end later than this library's own.
std::vector<OpenDatabase>& OpenDatabases() {
    static auto& databases = *new std::vector<OpenDatabase>(1);
    return databases;
}

ORQBasFailure ClosedFailure() {
    return {ORQBasFailureKind::Usage, "the database of this object has been closed"};
}

}  // namespace

DrawerState* DistributionState::Find(const ORQSimDrawerID& drawer) const {
    const auto number = [](const auto& state) { return state->id.Index(); };  // ascends
    const auto found = std::ranges::lower_bound(drawers, drawer.Index(), {}, number);
    return found == drawers.end() || (*found)->id != drawer ? nullptr : found->get();
}

std::int64_t DrawerState::ItemsPerRow() const {
    std::int64_t items = 1;
    for (std::size_t dim = 0; dim < sets.size(); ++dim) {
        items *= static_cast<int>(dim) == RowDim() ? 1 : sets[dim]->Size();
    }
    return items;
}

std::int64_t DrawerState::RowsPerChunk(int scalarSize) const {
    const std::int64_t rowBytes = std::max<std::int64_t>(1, ItemsPerRow() * scalarSize);
    return layout == ORQSimDrawerLayout::Chunked
               ? chunks[static_cast<std::size_t>(RowDim())]
               : std::max<std::int64_t>(1, kPlainChunk / rowBytes);
}

DatabaseState::DatabaseState(std::unique_ptr<storage::Store> store)
    : m_store(std::move(store)),
      m_path(m_store->Path()),
      m_context(static_cast<int>(OpenDatabases().size())) {
    OpenDatabases().push_back({this});
}

DatabaseState::~DatabaseState() {
    Close();
}

void DatabaseState::Close() {
    OpenDatabase& database = OpenDatabases()[static_cast<std::size_t>(m_context.Value())];
    database.state = nullptr;
    ForgetCaches();
    m_tempSets.clear();
    m_tempByHash.clear();
    m_describedRows.clear();
    if (m_store != nullptr && m_store->IsOfOtherProcess()) {
        database.abandoned = std::move(m_store);
    }
    m_store.reset();
}

std::string DatabaseState::ShownPath() const {
    return m_path.empty() ? "database in memory" : m_path;
}

DatabaseState* DatabaseState::Find(ORQSimContextID context) {
    const auto& databases = OpenDatabases();
    const auto number = static_cast<std::size_t>(context.Value());
    return !context.IsNull() && number < databases.size() ? databases[number].state : nullptr;
}

DatabaseState* DatabaseState::Reading(const ORQSimDynamicID& id) {
    if (id.IsNull()) {
        return nullptr;
    }
    DatabaseState* state = Find(id.ContextID());
    if (state == nullptr) {
        throw ClosedFailure();
    }
    state->m_store->CheckProcess();
    return state->WasUndone(id) ? nullptr : state;
}

DatabaseState& DatabaseState::Existing(const ORQSimDynamicID& id) {
    if (id.IsNull()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage, "cannot write through a null object");
    }
    DatabaseState* state = Find(id.ContextID());
    if (state == nullptr) {
        throw ClosedFailure();
    }
    state->m_store->CheckProcess();
    state->CheckStorable(id);
    return *state;
}

DatabaseState& DatabaseState::Writing(const ORQSimDynamicID& id) {
    DatabaseState& state = Existing(id);
    if (state.m_store->Depth() == 0) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            state.ShownPath() + ": no transaction is open, nothing can be changed");
    }
    state.m_store->CheckUsable();
    return state;
}

bool DatabaseState::WasUndone(const ORQSimDynamicID& id) const {
    const bool isPart =
        id.Category() == ORQSimCategoryCSet || id.Category() == ORQSimCategoryDrawer;
    return m_undoneObjects.Contains(id.MinorID()) ||
           (isPart && id.Index() > 0 && m_undoneSets.Contains(id.Index()));
}

void DatabaseState::CheckStorable(const ORQSimDynamicID& id) const {
    if (id.IsNull() || (id.ContextID() == m_context && !WasUndone(id))) {
        return;
    }
    std::string name = "object " + std::to_string(id.MinorID());
    if (id.Category() == ORQSimCategoryCSet) {
        name = "set " + std::to_string(id.Index()) + " of " + name;
    } else if (id.Category() == ORQSimCategoryDrawer) {
        name = "drawer " + std::to_string(id.Index()) + " of " + name;
    }
    throw ORQBasFailure(ORQBasFailureKind::Usage,
                        ShownPath() + ": " + name + " (" +
                            ORQSimSchema::NameOf(id.TypeID().Index()) + ") " +
                            (id.ContextID() != m_context
                                 ? "belongs to another database"
                                 : "is no longer there: the transaction that made it was undone"));
}

int DatabaseState::Begin() {
    // Undoing takes no memory, so what it needs is there before.
    m_levelStarts.reserve(m_levelStarts.size() + 1);
    m_undoneObjects.ReserveFor(m_levelStarts.size() + 1);
    m_undoneSets.ReserveFor(m_levelStarts.size() + 1);
    m_store->Begin();
    m_levelStarts.push_back(m_store->NextNumbers());
    return m_store->Depth();
}

void DatabaseState::ForgetUndoneLevels() noexcept {
    while (static_cast<int>(m_levelStarts.size()) > m_store->Depth()) {
        const storage::Numbers next = m_store->NextNumbers();
        m_undoneObjects.Add(m_levelStarts.back().object, next.object);
        m_undoneSets.Add(m_levelStarts.back().set, next.set);
        m_levelStarts.pop_back();
    }
}

void DatabaseState::CheckInnermost(int level) const {
    if (level != m_store->Depth()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            ShownPath() +
                                ": a transaction was committed while one that was opened "
                                "inside it is still open");
    }
}

void DatabaseState::Commit() {
    try {
        m_store->Commit();
    } catch (...) {
        ForgetCaches();
        ForgetUndoneLevels();
        throw;
    }
    m_levelStarts.pop_back();
}

void DatabaseState::Rollback(int level) noexcept {
    if (m_store->IsOfOtherProcess()) {
        return;
    }
    ForgetCaches();
    while (m_store->Depth() >= level) {
        m_store->Rollback();
    }
    ForgetUndoneLevels();
}

bool DatabaseState::Refresh() {
    bool hasChanged = false;
    if (m_store->MustReopen()) {
        auto fresh = storage::Store::Open(m_path, false);
        hasChanged = fresh->Generation() != m_store->Generation();
        m_store = std::move(fresh);
    } else {
        hasChanged = m_store->Refresh();
    }
    if (hasChanged) {
        ForgetCaches();
    }
    return hasChanged;
}

void DatabaseState::ForgetCaches() noexcept {
    m_children.fill({});
    m_sets.clear();
    m_distributions.clear();
}

DatabaseState::KnownChild& DatabaseState::PlaceOfChild(std::int64_t object, int slot, int member) {
    const std::uint64_t hash =
        (static_cast<std::uint64_t>(object) * 31 + static_cast<std::uint64_t>(slot)) * 31 +
        static_cast<std::uint64_t>(member);
    return m_children[hash % m_children.size()];
}

ORQSimDynamicID DatabaseState::Child(std::int64_t object, int slot, int member) {
    KnownChild& known = PlaceOfChild(object, slot, member);
    if (known.object != object || known.slot != slot || known.member != member) {
        auto row = Rows().Find<storage::ChildRow>(object, slot, member);
        known = {object, slot, member, row.Next() ? IdentityOf(row->target) : ORQSimDynamicID()};
    }
    return known.target;
}

void DatabaseState::SetChild(std::int64_t object, int slot, int member,
                             const ORQSimDynamicID& target) {
    PlaceOfChild(object, slot, member) = {};
    if (target.IsNull()) {
        Rows().Erase(Table::Child, object, slot, member);
    } else {
        Rows().Put(storage::ChildRow{object, slot, member, TargetOf(target)});
    }
}

ORQSimDynamicID DatabaseState::NewObject(int type, int category) {
    const std::int64_t object = m_store->NewObject();
    Rows().Insert(storage::ObjectRow{object, type, category});
    return Identity(category, object, type, 0);
}

ORQSimDynamicID DatabaseState::ObjectID(std::int64_t object) {
    auto row = Rows().Find<storage::ObjectRow>(object);
    return row.Next() ? Identity(row->category, object, row->type, 0) : ORQSimDynamicID();
}

ORQSimCollectionID DatabaseState::CollectionID(std::int64_t object) {
    return ORQSimCollectionID(ObjectID(object));
}

int DatabaseState::Space(const ORQSimCollectionID& collection) {
    auto row = Rows().Find<storage::CollectionRow>(collection.MinorID());
    return row.Next() ? row->space : 0;
}

// --- Sets ----------------------------------------------------------------------------------------

storage::StoredMembers WriteMembers(storage::Store& store, const ComponentSet& members) {
    storage::StoredMembers stored{static_cast<int>(members.GetForm()),
                                  members.First(),
                                  members.Count(),
                                  members.Stride(),
                                  members.Block(),
                                  0,
                                  {}};
    const storage::Bytes bytes = std::as_bytes(members.Written());
    if (members.Written().size() > kMostInRow) {
        stored.store = store.NewObject();
        PutFlatArray(store.Chunks(), stored.store, 0, bytes);
    } else {
        stored.written = bytes;
    }
    return stored;
}

namespace {

ComponentSetPtr MembersOf(storage::Store& store, const storage::StoredMembers& stored) {
    const auto require = [&](bool holds, const char* otherwise) {
        if (!holds) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                store.Path() + ": the members of a set " + otherwise);
        }
    };
    const auto requireRange = [&](std::int64_t last) {
        require(last <= std::numeric_limits<int>::max(), "are numbers out of range");
    };
    const auto form = static_cast<ComponentSet::Form>(stored.form);
    const std::int64_t count = stored.count;
    if (form == ComponentSet::Form::Contiguous) {
        requireRange(stored.first + count - 1);
        return ComponentSet::Contiguous(stored.first, stored.count);
    }
    if (form == ComponentSet::Form::Strided) {
        require(stored.block > 0 && stored.stride >= stored.block, "overlap");
        requireRange(stored.first + (count - 1) * stored.stride + stored.block - 1);
        return ComponentSet::Strided(stored.first, stored.count, stored.stride, stored.block);
    }
    // Compared before memory is taken for them: a row may say any number.
    const std::int64_t size = count * static_cast<std::int64_t>(sizeof(int));
    require(stored.store != 0 ? HasFlatArray(store.Chunks(), stored.store, 0, size)
                              : std::ssize(stored.written) == size,
            "are not as many as stored");
    std::vector<int> members(static_cast<std::size_t>(count));
    const std::span<std::byte> out = std::as_writable_bytes(std::span(members));
    if (stored.store == 0) {
        std::ranges::copy(stored.written, out.begin());
    } else {
        require(GetFlatArray(store.Chunks(), stored.store, 0, 0, out), "are missing");
    }
    if (form == ComponentSet::Form::Sorted) {
        require(std::ranges::adjacent_find(members, std::greater_equal<>()) == members.end(),
                "are not ascending");
        return ComponentSet::FromAscending(std::move(members));
    }
    return ComponentSet::FromOrdered(std::move(members));
}

}  // namespace

ComponentSetPtr ReadMembers(storage::Store& store, const storage::StoredMembers& stored) {
    try {
        return MembersOf(store, stored);
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Usage) {
            throw;
        }
        // What nobody could have given is not what was stored.
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            store.Path() + ": stored members: " + failure.Text());
    }
}

ComponentSetPtr DatabaseState::Members(const ORQSimCSetID& id) {
    const int index = id.Index();
    if (index == 0) {
        return ComponentSet::Empty();
    }
    if (index < 0) {
        const auto place = static_cast<std::size_t>(-2 - index);
        return place < m_tempSets.size() ? m_tempSets[place].members : ComponentSet::Empty();
    }
    if (const auto known = m_sets.find(index); known != m_sets.end()) {
        return known->second;
    }
    auto row = Rows().Find<ComponentSetRow>(index);
    if (!row.Next()) {
        return ComponentSet::Empty();
    }
    ComponentSetPtr members = ReadMembers(*m_store, row->members);
    if (row->collection != id.MinorID() ||
        (!members->IsEmpty() && members->Highest() >= Space(id.CollectionID()))) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            ShownPath() + ": set " + std::to_string(index) +
                                " has members that are not of collection " +
                                std::to_string(id.MinorID()));
    }
    return m_sets[index] = std::move(members);
}

ORQSimCSetID DatabaseState::StoreSet(const ORQSimCollectionID& collection,
                                     const ComponentSetPtr& members) {
    int index = 0;
    if (!members->IsEmpty()) {
        index = m_store->NewSet();
        Rows().Put(ComponentSetRow{index, collection.MinorID(),
                                   static_cast<std::int64_t>(members->Hash()),
                                   WriteMembers(*m_store, *members)});
        m_sets[index] = members;
    }
    return ORQSimCSetID(m_context, collection.MinorID(), collection.TypeID(), index);
}

ORQSimCSetID DatabaseState::FindStoredSet(const ORQSimCollectionID& collection,
                                          const ComponentSetPtr& members) {
    const auto id = [&](int index) {
        return ORQSimCSetID(m_context, collection.MinorID(), collection.TypeID(), index);
    };
    if (members->IsEmpty()) {
        return id(0);
    }
    for (const ComponentSetRow& row : Rows().FindBy<Index::ComponentSetByHash>(
             collection.MinorID(), static_cast<std::int64_t>(members->Hash()))) {
        if (Members(id(row.id))->SameSequence(*members)) {
            return id(row.id);
        }
    }
    return {};
}

ORQSimCSetID DatabaseState::TempSetID(int place) const {
    const ORQSimCollectionID& collection = m_tempSets[static_cast<std::size_t>(place)].collection;
    return ORQSimCSetID(m_context, collection.MinorID(), collection.TypeID(), -2 - place);
}

int DatabaseState::PlaceOfTempSet(const ORQSimCollectionID& collection,
                                  const ComponentSetPtr& members) const {
    const auto [begin, end] = m_tempByHash.equal_range(members->Hash());
    for (auto entry = begin; entry != end; ++entry) {
        const TempSetEntry& temp = m_tempSets[static_cast<std::size_t>(entry->second)];
        if (temp.collection == collection && temp.members->SameSequence(*members)) {
            return entry->second;
        }
    }
    return -1;
}

int DatabaseState::AddTempSet(const ORQSimCollectionID& collection,
                              const ComponentSetPtr& members) {
    const int place = static_cast<int>(m_tempSets.size());
    m_tempSets.push_back({collection, members});
    m_tempByHash.emplace(members->Hash(), place);
    return place;
}

void DatabaseState::ReplaceTempSet(int place, const ComponentSetPtr& members) {
    TempSetEntry& temp = m_tempSets[static_cast<std::size_t>(place)];
    m_tempByHash.emplace(members->Hash(), place);
    const auto [begin, end] = m_tempByHash.equal_range(temp.members->Hash());
    m_tempByHash.erase(
        std::find_if(begin, end, [&](const auto& entry) { return entry.second == place; }));
    temp.members = members;
}

ORQSimCSetID DatabaseState::FindTempSet(const ORQSimCollectionID& collection,
                                        const ComponentSetPtr& members) {
    const int place = PlaceOfTempSet(collection, members);
    if (place < 0) {
        return {};
    }
    m_tempSets[static_cast<std::size_t>(place)].isReplaceable = false;
    return TempSetID(place);
}

ORQSimCSetID DatabaseState::TempSet(const ORQSimCollectionID& collection,
                                    const ComponentSetPtr& members) {
    if (members->IsEmpty()) {
        return ORQSimCSetID(m_context, collection.MinorID(), collection.TypeID(), 0);
    }
    const ORQSimCSetID known = FindTempSet(collection, members);
    return known.IsNull() ? TempSetID(AddTempSet(collection, members)) : known;
}

ORQSimCSetID DatabaseState::Persistent(const ORQSimCSetID& id) {
    CheckStorable(id);
    if (id.Index() >= 0) {
        return id;
    }
    const ComponentSetPtr members = Members(id);
    const ORQSimCSetID stored = FindStoredSet(id.CollectionID(), members);
    return stored.IsNull() ? StoreSet(id.CollectionID(), members) : stored;
}

// --- Distributions and drawers -------------------------------------------------------------------

DistributionState& DatabaseState::Distribution(const ORQSimDistributionID& id) {
    if (const auto known = m_distributions.find(id.MinorID()); known != m_distributions.end()) {
        return known->second;
    }
    DistributionState state = LoadDistribution(id);
    for (const auto& drawer : state.drawers) {
        if (const std::string problem = ProblemOfDrawer(*this, state, *drawer); !problem.empty()) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                ShownPath() + ": drawer " + std::to_string(drawer->id.Index()) +
                                    " of distribution " + std::to_string(id.MinorID()) + ": " +
                                    problem);
        }
    }
    return m_distributions[id.MinorID()] = std::move(state);
}

DistributionState DatabaseState::LoadDistribution(const ORQSimDistributionID& id) {
    auto row = Rows().Find<storage::DistributionRow>(id.MinorID());
    if (!row.Next()) {
        throw ORQBasFailure(
            ORQBasFailureKind::Usage,
            ShownPath() + ": object " + std::to_string(id.MinorID()) + " is no distribution");
    }
    DistributionState state;
    state.id = id;
    state.scalar = row->scalar;
    state.rangeCollection = CollectionID(row->rangeCollection);
    const storage::Bytes grid = row->grid;
    if (grid.empty() || grid.size() % sizeof(std::int64_t) != 0) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            ShownPath() + ": the grid of distribution " +
                                std::to_string(id.MinorID()) + " is no list of collections");
    }
    for (std::size_t at = 0; at < grid.size(); at += sizeof(std::int64_t)) {
        std::int64_t collection = 0;
        std::memcpy(&collection, grid.data() + at, sizeof collection);
        state.grid.push_back(CollectionID(collection));
    }
    for (const DrawerRow& drawer : Rows().Find<DrawerRow>(id.MinorID())) {
        state.drawers.push_back(LoadDrawer(state, drawer));
    }
    return state;
}

std::unique_ptr<DrawerState> DatabaseState::LoadDrawer(const DistributionState& distribution,
                                                       const DrawerRow& row) {
    auto drawer = std::make_unique<DrawerState>();
    const int number = row.number;
    drawer->id =
        ORQSimDrawerID(m_context, distribution.id.MinorID(), distribution.id.TypeID(), number);
    drawer->layout = static_cast<ORQSimDrawerLayout>(row.layout);
    drawer->extendable = row.extendable;
    drawer->nRows = row.nRows;
    drawer->store = row.store;
    bool isOrdered = false;  // along the row dimension of an extendable drawer
    for (const DrawerDimensionRow& dim :
         Rows().Find<DrawerDimensionRow>(distribution.id.MinorID(), number)) {
        const auto place = drawer->sets.size();
        if (dim.dimension != static_cast<int>(place)) {
            break;
        }
        const bool isRowDim = static_cast<int>(place) == drawer->extendable;
        ORQSimCSetID set;
        if (isRowDim) {
            isOrdered = dim.set != 0;
        } else if (place < distribution.grid.size()) {
            const ORQSimCollectionID& collection = distribution.grid[place];
            set = ORQSimCSetID(m_context, collection.MinorID(), collection.TypeID(), dim.set);
        }
        drawer->setIds.push_back(set);
        drawer->sets.push_back(isRowDim ? ComponentSet::Empty() : Members(set));
        drawer->chunks.push_back(dim.chunk);
    }
    if (drawer->sets.empty() || drawer->sets.size() != distribution.grid.size() ||
        drawer->extendable >= std::ssize(drawer->sets)) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            ShownPath() + ": drawer " + std::to_string(number) +
                                " of distribution " + std::to_string(distribution.id.MinorID()) +
                                " does not have the dimensions of its grid");
    }
    if (drawer->extendable < 0) {
        const ComponentSetPtr rows = std::exchange(drawer->sets[0], ComponentSet::Empty());
        drawer->rows = DrawerRows(!rows->IsAscending());
        drawer->rows.Load({0, rows});
        return drawer;
    }
    drawer->rows = DrawerRows(isOrdered);
    for (const DrawerSegmentRow& segment :
         Rows().Find<DrawerSegmentRow>(distribution.id.MinorID(), number)) {
        drawer->rows.Load({segment.firstRow, ReadMembers(*m_store, segment.members)});
    }
    return drawer;
}

void DatabaseState::PutSegment(const DrawerState& drawer, const DrawerSegment& segment) {
    Rows().Put(DrawerSegmentRow{drawer.id.MinorID(), drawer.id.Index(), segment.firstRow,
                                WriteMembers(*m_store, *segment.members)});
}

void DatabaseState::PutDrawerRow(const DrawerState& drawer) {
    Rows().Put(DrawerRow{drawer.id.MinorID(), drawer.id.Index(), static_cast<int>(drawer.layout),
                         drawer.extendable, drawer.nRows, drawer.store});
}

DrawerState& DatabaseState::NewDrawer(DistributionState& distribution,
                                      std::unique_ptr<DrawerState> drawer,
                                      const std::vector<ComponentSetPtr>& sets) {
    storage::Change change(Rows());
    const int number = m_store->NewSet();  // ascending and never given twice, as sets' numbers are
    drawer->id =
        ORQSimDrawerID(m_context, distribution.id.MinorID(), distribution.id.TypeID(), number);
    drawer->store = m_store->NewObject();
    drawer->sets = sets;
    const ComponentSetPtr rows = std::exchange(
        drawer->sets[static_cast<std::size_t>(drawer->RowDim())], ComponentSet::Empty());
    drawer->rows = DrawerRows(!rows->IsAscending());
    drawer->nRows = rows->Size();
    for (std::size_t dim = 0; dim < sets.size(); ++dim) {
        ORQSimCSetID set;
        int stored = drawer->rows.IsOrdered() ? 1 : 0;
        if (static_cast<int>(dim) != drawer->extendable) {
            set = FindStoredSet(distribution.grid[dim], sets[dim]);
            set = set.IsNull() ? StoreSet(distribution.grid[dim], sets[dim]) : set;
            stored = set.Index();
        }
        drawer->setIds.push_back(set);
        Rows().Insert(DrawerDimensionRow{distribution.id.MinorID(), number, static_cast<int>(dim),
                                         stored, drawer->chunks[dim]});
    }
    PutDrawerRow(*drawer);
    if (drawer->extendable < 0) {
        drawer->rows.Load({0, rows});
    } else if (drawer->nRows > 0) {
        PutSegment(*drawer, drawer->rows.Append(rows));
    }
    distribution.drawers.push_back(std::move(drawer));
    change.Finish();
    return *distribution.drawers.back();
}

std::int64_t DatabaseState::AddRows(DrawerState& drawer, const ComponentSetPtr& members) {
    storage::Change change(Rows());
    const std::int64_t firstNew = drawer.nRows;
    drawer.nRows += members->Size();
    PutSegment(drawer, drawer.rows.Append(members));
    PutDrawerRow(drawer);
    change.Finish();
    return firstNew;
}

ORQSimCSetID DatabaseState::DimensionSet(const DistributionState& distribution,
                                         const DrawerState& drawer, int dimension) {
    const auto place = static_cast<std::size_t>(dimension);
    return dimension == drawer.extendable ? DescribedRows(distribution.grid[place], drawer)
                                          : drawer.setIds[place];
}

ORQSimCSetID DatabaseState::DescribedRows(const ORQSimCollectionID& collection,
                                          const DrawerState& drawer) {
    const ComponentSetPtr& members = drawer.rows.Members();
    if (members->IsEmpty()) {
        return TempSet(collection, members);
    }
    int& place = m_describedRows.try_emplace(drawer.id.Index(), -1).first->second;
    if (place >= 0 && m_tempSets[static_cast<std::size_t>(place)].members == members) {
        return TempSetID(place);
    }
    const int same = PlaceOfTempSet(collection, members);
    if (same >= 0) {
        m_tempSets[static_cast<std::size_t>(same)].isReplaceable = false;
        place = same;
    } else if (place >= 0 && m_tempSets[static_cast<std::size_t>(place)].isReplaceable) {
        ReplaceTempSet(place, members);
    } else {
        place = AddTempSet(collection, members);
        m_tempSets[static_cast<std::size_t>(place)].isReplaceable = true;
    }
    return TempSetID(place);
}

void DatabaseState::ForgetInDataSets(std::int64_t distribution, int drawer) {
    std::vector<std::pair<std::int64_t, int>> places;
    for (const DataSetRow& set : Rows().Find<DataSetRow>()) {
        if (set.distribution != distribution) {
            continue;
        }
        for (const DataSetDrawerRow& row : Rows().Find<DataSetDrawerRow>(set.object)) {
            if (row.drawer == drawer) {
                places.emplace_back(set.object, row.place);
            }
        }
    }
    for (const auto& [dataSet, place] : places) {
        Rows().Erase(Table::DataSetDrawer, dataSet, place);
    }
}

void DatabaseState::EraseDrawerRows(std::int64_t distribution, int drawer) {
    for (const DrawerSegmentRow& row : Rows().Find<DrawerSegmentRow>(distribution, drawer)) {
        EraseStore(row.members.store);
    }
    for (const DrawerRow& row : Rows().Find<DrawerRow>(distribution, drawer)) {
        EraseStore(row.store);
    }
    Rows().Erase(Table::DrawerSegment, distribution, drawer);
    Rows().Erase(Table::DrawerDimension, distribution, drawer);
    Rows().Erase(Table::Drawer, distribution, drawer);
}

void DatabaseState::EraseSet(int set) {
    for (const ComponentSetRow& row : Rows().Find<ComponentSetRow>(set)) {
        EraseStore(row.members.store);
    }
    Rows().Erase(Table::ComponentSet, set);
}

void DatabaseState::EraseObject(std::int64_t object) {
    std::vector<int> drawers;
    for (const DrawerRow& row : Rows().Find<DrawerRow>(object)) {
        drawers.push_back(row.number);
    }
    for (const int drawer : drawers) {
        EraseDrawerRows(object, drawer);
    }
    for (const storage::FTableRow& row : Rows().Find<storage::FTableRow>(object)) {
        EraseStore(row.store);
    }
    for (const Table table :
         {Table::Object, Table::Collection, Table::Member, Table::Symbol, Table::Name, Table::Child,
          Table::MapEntry, Table::VectorEntry, Table::SetEntry, Table::Field, Table::Distribution,
          Table::DataSet, Table::Compartment, Table::DataSetDrawer, Table::FTable,
          Table::FTableLabel}) {
        Rows().Erase(table, object);
    }
}

void DatabaseState::EraseStore(std::int64_t store) {
    if (store != 0) {
        Chunks().Erase(store);
    }
}

void DatabaseState::DeleteDrawer(DistributionState& distribution, const ORQSimDrawerID& id) {
    const std::int64_t object = distribution.id.MinorID();
    if (distribution.Find(id) == nullptr) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            ShownPath() + ": drawer " + std::to_string(id.Index()) +
                                " is not one of distribution " + std::to_string(object));
    }
    storage::Change change(Rows());
    EraseDrawerRows(object, id.Index());
    ForgetInDataSets(object, id.Index());
    std::erase_if(distribution.drawers, [&](const auto& state) { return state->id == id; });
    change.Finish();
}

}  // namespace orq::database
