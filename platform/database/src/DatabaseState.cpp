#include "DatabaseState.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "StoredDrawer.h"
#include "storage/FlatArray.h"

namespace orq::database {

using storage::Cursor;
using storage::Table;

namespace {

// Members up to this many stand in the row itself.
constexpr std::size_t kMostInRow = 1024;
// Drawers that are not chunked are still stored in pieces, so that changing a cell copies little.
constexpr std::int64_t kPlainChunk = 4 << 20;

struct OpenDatabase {
    DatabaseState* state = nullptr;
    // Of another process, from which this one came by fork(): to end it would change the files.
    std::unique_ptr<storage::Engine> abandoned = nullptr;
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

DatabaseState::DatabaseState(std::unique_ptr<storage::Engine> engine)
    : m_engine(std::move(engine)),
      m_path(m_engine->Path()),
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
    if (m_engine != nullptr && m_engine->IsOfOtherProcess()) {
        database.abandoned = std::move(m_engine);
    }
    m_engine.reset();
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
    state->m_engine->CheckProcess();
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
    state->m_engine->CheckProcess();
    state->CheckStorable(id);
    return *state;
}

DatabaseState& DatabaseState::Writing(const ORQSimDynamicID& id) {
    DatabaseState& state = Existing(id);
    if (state.m_engine->Depth() == 0) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            state.ShownPath() + ": no transaction is open, nothing can be changed");
    }
    state.m_engine->CheckUsable();
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
    m_engine->Begin();
    m_levelStarts.push_back({m_engine->NextObject(), m_engine->NextSet()});
    return m_engine->Depth();
}

void DatabaseState::ForgetUndoneLevels() noexcept {
    while (static_cast<int>(m_levelStarts.size()) > m_engine->Depth()) {
        m_undoneObjects.Add(m_levelStarts.back().object, m_engine->NextObject());
        m_undoneSets.Add(m_levelStarts.back().set, m_engine->NextSet());
        m_levelStarts.pop_back();
    }
}

void DatabaseState::CheckInnermost(int level) const {
    if (level != m_engine->Depth()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            ShownPath() +
                                ": a transaction was committed while one that was opened "
                                "inside it is still open");
    }
}

void DatabaseState::Commit() {
    try {
        m_engine->Commit();
    } catch (...) {
        ForgetCaches();
        ForgetUndoneLevels();
        throw;
    }
    m_levelStarts.pop_back();
}

void DatabaseState::Rollback(int level) noexcept {
    if (m_engine->IsOfOtherProcess()) {
        return;
    }
    ForgetCaches();
    while (m_engine->Depth() >= level) {
        m_engine->Rollback();
    }
    ForgetUndoneLevels();
}

bool DatabaseState::Refresh() {
    bool hasChanged = false;
    if (m_engine->MustReopen()) {
        auto fresh = storage::Engine::Open(m_path, false);
        hasChanged = fresh->Generation() != m_engine->Generation();
        m_engine = std::move(fresh);
    } else {
        hasChanged = m_engine->Refresh();
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
        Cursor row = Rows().Find(Table::Child, object, slot, member);
        known = {object, slot, member, row.Next() ? Target(row, 3) : ORQSimDynamicID()};
    }
    return known.target;
}

void DatabaseState::SetChild(std::int64_t object, int slot, int member,
                             const ORQSimDynamicID& target) {
    PlaceOfChild(object, slot, member) = {};
    if (target.IsNull()) {
        Rows().Erase(Table::Child, object, slot, member);
    } else {
        Rows().Put(Table::Child, object, slot, member, target.MinorID(), target.Category(),
                   target.TypeID().Index(), target.Index());
    }
}

ORQSimDynamicID DatabaseState::NewObject(int type, int category) {
    const std::int64_t object = m_engine->NewObject();
    Rows().Insert(Table::Object, object, type, category);
    return Identity(category, object, type, 0);
}

ORQSimDynamicID DatabaseState::ObjectID(std::int64_t object) {
    Cursor row = Rows().Find(Table::Object, object);
    return row.Next() ? Identity(row.Int32(2), object, row.Int32(1), 0) : ORQSimDynamicID();
}

ORQSimCollectionID DatabaseState::CollectionID(std::int64_t object) {
    return ORQSimCollectionID(ObjectID(object));
}

int DatabaseState::Space(const ORQSimCollectionID& collection) {
    Cursor row = Rows().Find(Table::Collection, collection.MinorID());
    return row.Next() ? row.Int32(1) : 0;
}

// --- Sets ----------------------------------------------------------------------------------------

void PutMembers(storage::Engine& engine, Table table, std::int64_t key0, std::int64_t key1,
                std::int64_t key2, const ComponentSet& members) {
    const std::span<const std::byte> bytes = std::as_bytes(members.Written());
    std::int64_t store = 0;
    if (members.Written().size() > kMostInRow) {
        store = engine.NewObject();
        storage::PutFlatArray(engine.Chunks(), store, 0, bytes);
    }
    engine.Rows().Put(table, key0, key1, key2, static_cast<int>(members.GetForm()), members.First(),
                      members.Count(), members.Stride(), members.Block(), store,
                      store == 0 ? bytes : std::span<const std::byte>());
}

namespace {

ComponentSetPtr MembersFromRow(storage::Engine& engine, const Cursor& row, int column) {
    const auto require = [&](bool holds, const char* otherwise) {
        if (!holds) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                engine.Path() + ": the members of a set " + otherwise);
        }
    };
    const auto form = static_cast<ComponentSet::Form>(row.Int32(column));
    const int first = row.Int32(column + 1);
    const int count = row.Int32(column + 2);
    const auto requireRange = [&](std::int64_t last) {
        require(last <= std::numeric_limits<int>::max(), "are numbers out of range");
    };
    if (form == ComponentSet::Form::Contiguous) {
        requireRange(first + std::int64_t{count} - 1);
        return ComponentSet::Contiguous(first, count);
    }
    if (form == ComponentSet::Form::Strided) {
        const int stride = row.Int32(column + 3);
        const int block = row.Int32(column + 4);
        require(block > 0 && stride >= block, "overlap");
        requireRange(first + (std::int64_t{count} - 1) * stride + block - 1);
        return ComponentSet::Strided(first, count, stride, block);
    }
    const std::int64_t size = std::int64_t{count} * static_cast<std::int64_t>(sizeof(int));
    const std::int64_t store = row.Int(column + 5);
    require(store != 0 ? storage::HasFlatArray(engine.Chunks(), store, 0, size)
                       : std::ssize(row.Blob(column + 6)) == size,
            "are not as many as stored");
    std::vector<int> members(static_cast<std::size_t>(count));
    const std::span<std::byte> out = std::as_writable_bytes(std::span(members));
    if (store == 0) {
        std::ranges::copy(row.Blob(column + 6), out.begin());
    } else {
        require(storage::GetFlatArray(engine.Chunks(), store, 0, 0, out), "are missing");
    }
    if (form == ComponentSet::Form::Sorted) {
        require(std::ranges::adjacent_find(members, std::greater_equal<>()) == members.end(),
                "are not ascending");
        return ComponentSet::FromAscending(std::move(members));
    }
    return ComponentSet::FromOrdered(std::move(members));
}

}  // namespace

ComponentSetPtr ReadMembers(storage::Engine& engine, const Cursor& row, int column) {
    try {
        return MembersFromRow(engine, row, column);
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Usage) {
            throw;
        }
        // What nobody could have given is not what was stored.
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            engine.Path() + ": stored members: " + failure.Text());
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
    Cursor row = Rows().Find(Table::ComponentSet, index);
    if (!row.Next()) {
        return ComponentSet::Empty();
    }
    ComponentSetPtr members = ReadMembers(*m_engine, row, 3);
    if (row.Int(1) != id.MinorID() ||
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
        index = m_engine->NewSet();
        PutMembers(*m_engine, Table::ComponentSet, index, collection.MinorID(),
                   static_cast<std::int64_t>(members->Hash()), *members);
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
    for (Cursor row = Rows().FindBy(storage::Index::ComponentSetByHash, collection.MinorID(),
                                    static_cast<std::int64_t>(members->Hash()));
         row.Next();) {
        if (Members(id(row.Int32(0)))->SameSequence(*members)) {
            return id(row.Int32(0));
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
    Cursor row = Rows().Find(Table::Distribution, id.MinorID());
    if (!row.Next()) {
        throw ORQBasFailure(
            ORQBasFailureKind::Usage,
            ShownPath() + ": object " + std::to_string(id.MinorID()) + " is no distribution");
    }
    DistributionState state;
    state.id = id;
    state.scalar = row.Int32(1);
    state.rangeCollection = CollectionID(row.Int(2));
    const std::span<const std::byte> grid = row.Blob(3);
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
    for (Cursor drawer = Rows().Find(Table::Drawer, id.MinorID()); drawer.Next();) {
        state.drawers.push_back(LoadDrawer(state, drawer));
    }
    return state;
}

std::unique_ptr<DrawerState> DatabaseState::LoadDrawer(const DistributionState& distribution,
                                                       const Cursor& row) {
    auto drawer = std::make_unique<DrawerState>();
    const int number = row.Int32(1);
    drawer->id =
        ORQSimDrawerID(m_context, distribution.id.MinorID(), distribution.id.TypeID(), number);
    drawer->layout = static_cast<ORQSimDrawerLayout>(row.Int32(2));
    drawer->extendable = row.Int32(3);
    drawer->nRows = row.Int(4);
    drawer->store = row.Int(5);
    bool isOrdered = false;  // along the row dimension of an extendable drawer
    for (Cursor dim = Rows().Find(Table::DrawerDimension, distribution.id.MinorID(), number);
         dim.Next();) {
        const auto place = drawer->sets.size();
        if (dim.Int(2) != static_cast<std::int64_t>(place)) {
            break;
        }
        const bool isRowDim = static_cast<int>(place) == drawer->extendable;
        ORQSimCSetID set;
        if (isRowDim) {
            isOrdered = dim.Int32(3) != 0;
        } else if (place < distribution.grid.size()) {
            const ORQSimCollectionID& collection = distribution.grid[place];
            set = ORQSimCSetID(m_context, collection.MinorID(), collection.TypeID(), dim.Int32(3));
        }
        drawer->setIds.push_back(set);
        drawer->sets.push_back(isRowDim ? ComponentSet::Empty() : Members(set));
        drawer->chunks.push_back(dim.Int32(4));
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
    for (Cursor part = Rows().Find(Table::DrawerSegment, distribution.id.MinorID(), number);
         part.Next();) {
        drawer->rows.Load({part.Int(2), ReadMembers(*m_engine, part, 3)});
    }
    return drawer;
}

void DatabaseState::PutSegment(const DrawerState& drawer, const DrawerSegment& segment) {
    PutMembers(*m_engine, Table::DrawerSegment, drawer.id.MinorID(), drawer.id.Index(),
               segment.firstRow, *segment.members);
}

void DatabaseState::PutDrawerRow(const DrawerState& drawer) {
    Rows().Put(Table::Drawer, drawer.id.MinorID(), drawer.id.Index(),
               static_cast<int>(drawer.layout), drawer.extendable, drawer.nRows, drawer.store);
}

DrawerState& DatabaseState::NewDrawer(DistributionState& distribution,
                                      std::unique_ptr<DrawerState> drawer,
                                      const std::vector<ComponentSetPtr>& sets) {
    storage::Change change(Rows().Unfinished());
    const int number = m_engine->NewSet();  // ascending and never given twice, as sets' numbers are
    drawer->id =
        ORQSimDrawerID(m_context, distribution.id.MinorID(), distribution.id.TypeID(), number);
    drawer->store = m_engine->NewObject();
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
        Rows().Insert(Table::DrawerDimension, distribution.id.MinorID(), number,
                      static_cast<int>(dim), stored, drawer->chunks[dim]);
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
    storage::Change change(Rows().Unfinished());
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
    for (Cursor set = Rows().Find(Table::DataSet); set.Next();) {
        if (set.Int(1) != distribution) {
            continue;
        }
        for (Cursor row = Rows().Find(Table::DataSetDrawer, set.Int(0)); row.Next();) {
            if (row.Int32(2) == drawer) {
                places.emplace_back(set.Int(0), row.Int32(1));
            }
        }
    }
    for (const auto& [dataSet, place] : places) {
        Rows().Erase(Table::DataSetDrawer, dataSet, place);
    }
}

void DatabaseState::EraseDrawerRows(std::int64_t distribution, int drawer) {
    for (Cursor part = Rows().Find(Table::DrawerSegment, distribution, drawer); part.Next();) {
        EraseStore(part.Int(8));
    }
    for (Cursor row = Rows().Find(Table::Drawer, distribution, drawer); row.Next();) {
        EraseStore(row.Int(5));
    }
    Rows().Erase(Table::DrawerSegment, distribution, drawer);
    Rows().Erase(Table::DrawerDimension, distribution, drawer);
    Rows().Erase(Table::Drawer, distribution, drawer);
}

void DatabaseState::EraseSet(int set) {
    for (Cursor row = Rows().Find(Table::ComponentSet, set); row.Next();) {
        EraseStore(row.Int(8));
    }
    Rows().Erase(Table::ComponentSet, set);
}

void DatabaseState::EraseObject(std::int64_t object) {
    std::vector<int> drawers;
    for (Cursor row = Rows().Find(Table::Drawer, object); row.Next();) {
        drawers.push_back(row.Int32(1));
    }
    for (const int drawer : drawers) {
        EraseDrawerRows(object, drawer);
    }
    for (Cursor row = Rows().Find(Table::FTable, object); row.Next();) {
        EraseStore(row.Int(3));
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
        m_engine->Chunks().Erase(store);
    }
}

void DatabaseState::DeleteDrawer(DistributionState& distribution, const ORQSimDrawerID& id) {
    const std::int64_t object = distribution.id.MinorID();
    if (distribution.Find(id) == nullptr) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            ShownPath() + ": drawer " + std::to_string(id.Index()) +
                                " is not one of distribution " + std::to_string(object));
    }
    storage::Change change(Rows().Unfinished());
    EraseDrawerRows(object, id.Index());
    ForgetInDataSets(object, id.Index());
    std::erase_if(distribution.drawers, [&](const auto& state) { return state->id == id; });
    change.Finish();
}

}  // namespace orq::database
