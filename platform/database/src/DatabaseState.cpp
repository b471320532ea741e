#include "DatabaseState.h"

#include <utility>
#include <vector>

#include "ORQBasFailure.h"
#include "ORQSimSchema.h"
#include "ObjectPath.h"

namespace orq::database {

namespace {

struct OpenDatabase {
    DatabaseState* state = nullptr;
    // The store of another process, from which this one came by fork(): to end it would change the
    // files.
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
    // First, so that handles find no database from here on.
    database.state = nullptr;
    ForgetCaches();
    m_sets.Temps().Clear();
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
    return state->m_undone.Contains(id, *state->m_store) ? nullptr : state;
}

DatabaseState& DatabaseState::Existing(const ORQSimDynamicID& id) {
    if (id.IsNull()) {
        ORQBasThrowUsage("cannot write through a null object");
    }
    DatabaseState* state = Find(id.ContextID());
    if (state == nullptr) {
        throw ClosedFailure();
    }
    state->m_store->CheckProcess();
    if (state->m_undone.Contains(id, *state->m_store)) {
        state->RefuseToStore(id);
    }
    return *state;
}

DatabaseState& DatabaseState::Writing(const ORQSimDynamicID& id) {
    DatabaseState& state = Existing(id);
    if (state.m_store->Depth() == 0) {
        ORQBasThrowUsage(state.ShownPath() + ": no transaction is open, nothing can be changed");
    }
    state.m_store->CheckUsable();
    return state;
}

void DatabaseState::CheckStorable(const ORQSimDynamicID& id) const {
    if (!id.IsNull() && (id.ContextID() != m_context || m_undone.Contains(id, *m_store))) {
        RefuseToStore(id);
    }
}

void DatabaseState::RefuseToStore(const ORQSimDynamicID& id) const {
    std::string name = "object " + std::to_string(id.MinorID());
    if (id.Category() == ORQSimCategoryCSet) {
        name = "set " + std::to_string(id.Index()) + " of " + name;
    } else if (id.Category() == ORQSimCategoryDrawer) {
        name = "drawer " + std::to_string(id.Index()) + " of " + name;
    }
    ORQBasThrowUsage(ShownPath() + ": " + name + " (" + ORQSimSchema::NameOf(id.TypeID().Index()) +
                     ") " +
                     (id.ContextID() != m_context
                          ? "belongs to another database"
                          : "is no longer there: the transaction that made it was undone"));
}

int DatabaseState::Begin() {
    // Takes the memory that Undo will need, so that undoing cannot fail for want of it (invariant
    // 11). Nothing has begun if this throws.
    m_undone.Prepare();
    m_store->Begin();
    m_undone.Begin(m_store->NextNumbers());
    return m_store->Depth();
}

void DatabaseState::CheckInnermost(int level) const {
    if (level != m_store->Depth()) {
        ORQBasThrowUsage(ShownPath() +
                         ": a transaction was committed while one that was opened "
                         "inside it is still open");
    }
}

void DatabaseState::Commit() {
    const std::int64_t before = m_store->Generation();
    try {
        m_store->Commit();
    } catch (const storage::ChangesMeet& meeting) {
        ForgetUndone();
        std::string text = ShownPath() + ": " + meeting.Beginning();
        for (const std::int64_t object : meeting.Objects()) {
            text +=
                (object == meeting.Objects().front() ? "" : ", ") + NameInMessage(*this, object);
        }
        throw ORQBasFailure(meeting.Kind(), text);
    } catch (...) {
        ForgetUndone();
        throw;
    }
    m_undone.Commit();
    if (m_store->Generation() > before + 1) {
        ForgetCaches();  // others committed first, and what they changed is seen from here on
    }
}

// The store has undone the transaction. Numbers that it gave name nothing any more.
void DatabaseState::ForgetUndone() noexcept {
    ForgetCaches();
    m_undone.Undo(m_store->Depth(), m_store->NextNumbers());
}

void DatabaseState::Rollback(int level) noexcept {
    // Destructors of a forked child come here too: the transaction is the parent's (invariant 15).
    if (m_store->IsOfOtherProcess()) {
        return;
    }
    ForgetCaches();
    // Inner transactions that are still open end with the one around them.
    while (m_store->Depth() >= level) {
        m_store->Rollback();
    }
    m_undone.Undo(m_store->Depth(), m_store->NextNumbers());
}

bool DatabaseState::Refresh() {
    bool hasChanged = false;
    // Opened before the old one is dropped (invariant 13): if that throws, the old state is still shown.
    if (auto newer = m_store->OpenNewer()) {
        hasChanged = newer->Generation() != m_store->Generation();
        m_store = std::move(newer);
    } else {
        try {
            hasChanged = m_store->Refresh();
        } catch (...) {
            ForgetCaches();  // it may have come some of the way
            throw;
        }
    }
    if (hasChanged) {
        ForgetCaches();
    }
    return hasChanged;
}

void DatabaseState::ForgetCaches() noexcept {
    m_objects.Forget();
    m_records.Forget();
    m_sets.Forget();
    m_distributions.Forget();
}

}  // namespace orq::database
