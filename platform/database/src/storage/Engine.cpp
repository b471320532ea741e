#include "Engine.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

#include "ORQBasFailure.h"

namespace orq::storage {

using Bound = Connection::Bound;

void Engine::Connect(const std::string& name, int flags, const char* vfs) {
    m_connection = std::make_unique<Connection>(name, flags, vfs,
                                                IsInMemory() ? name : CataloguePath(m_directory));
    m_connection->WhenTransactionIsLost([this] { ReplaceLostSnapshot(); });
}

void Engine::OpenCatalogue() {
    // FULL syncs the log at each commit (invariant 3); nobody loses a database that has no name yet.
    m_connection->Execute(m_isOutOfSight ? "PRAGMA synchronous = OFF"
                                         : "PRAGMA synchronous = FULL");
    // Pages are read by calls, not through a map, since they have to pass through the checksum
    // shim. The cache has 16 MiB. Nothing temporary is written to a disk.
    m_connection->Execute(
        "PRAGMA mmap_size = 0; PRAGMA cache_size = -16384; PRAGMA temp_store = MEMORY");
    m_catalogue = std::make_unique<Catalogue>(*m_connection);
    m_space = std::make_unique<FreeSpace>(*m_catalogue, m_lock);
    m_chunks = std::make_unique<BulkChunks>(*m_catalogue, m_file, *m_space);
}

void Engine::WriteFirstState(const Identity& identity, FirstContent content) {
    m_identity = identity;
    m_generation = 1;
    m_connection->Do(Bound::BeginToWrite);
    CreateSchema(*m_connection, kFormatVersion);
    content(*this);
    m_catalogue->WritePending();
    PutState(m_generation);
    m_connection->Do(Bound::Commit);
}

void CheckFormat(const std::string& directory, std::int64_t version) {
    if (version < kOldestFormatVersion || version > kFormatVersion) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            directory + ": has format version " + std::to_string(version) +
                                ", this program knows versions " +
                                std::to_string(kOldestFormatVersion) + " to " +
                                std::to_string(kFormatVersion));
    }
}

void Engine::Describe(std::span<const NumberMeaning> meanings) {
    storage::Describe(*m_connection, meanings);
}

void Engine::PutState(std::int64_t generation) {
    const Numbers next = NumbersBehindAll();
    m_catalogue->Put(StateRow{0, FormatVersion(), m_identity, generation, next.object, next.set,
                              m_chunks->BulkEnd()});
}

Numbers Engine::NumbersBehindAll() const {
    return {std::max(m_seen.object, m_next.object), std::max(m_seen.set, m_next.set)};
}

void Engine::ReserveNumbers(const Numbers& next) {
    m_seen = {std::max(m_seen.object, next.object), std::max(m_seen.set, next.set)};
    if (m_numbers == nullptr) {
        m_next = NumbersBehindAll();
    }
}

Engine::State Engine::TakeSnapshot(State (Engine::*read)()) {
    m_connection->Do(Bound::Begin);
    try {
        return (this->*read)();
    } catch (...) {
        EndSnapshot();
        throw;
    }
}

void Engine::See(const State& state) noexcept {
    m_identity = state.identity;
    m_generation = state.generation;
    ReserveNumbers(state.next);
    m_chunks->BulkEnd() = state.bulkEnd;
}

// Undone, not committed: SQLite refuses to commit after it met damage, though nothing was changed.
void Engine::EndSnapshot() noexcept {
    m_catalogue->LeaveRows();
    if (!IsLost()) {
        m_connection->Try(Bound::Rollback);
        m_refused = m_refused || !IsLost();
    }
}

// Nothing was changed, so what the handle knows is right as long as the state is the same one. A
// reader's mark still holds back the space of its own.
void Engine::ReplaceLostSnapshot() {
    CheckSound();
    const State state = TakeSnapshot();
    if (state.generation != m_generation) {
        EndSnapshot();
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            m_directory + ": an earlier failure ended the reading of state " +
                                std::to_string(m_generation) + ", and the last one is " +
                                std::to_string(state.generation) + "; refresh the handle");
    }
}

Engine::State Engine::ReadState() {
    auto row = m_catalogue->Find<StateRow>(0);
    State state;
    if (!row.Next() || row->identity.size() != state.identity.size()) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            CataloguePath(m_directory) + ": has no state row");
    }
    CheckFormat(m_directory, row->format);
    state.format = row->format;
    std::ranges::copy(row->identity, state.identity.begin());
    state.generation = row->generation;
    state.next = {row->nextObject, row->nextSet};
    state.bulkEnd = row->bulkEnd;
    return state;
}

bool Engine::IsLost() const {
    return sqlite3_get_autocommit(m_connection->Handle()) != 0;
}

void Engine::CheckOwner() const {
    if (m_process.IsOther()) {
        RefuseProcess();
    }
}

void Engine::CheckSound() const {
    CheckProcess();
    if (m_refused) {
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            m_directory +
                                ": an earlier failure left this handle in doubt; open the "
                                "database again");
    }
    if (Depth() > 0 && (IsLost() || m_catalogue->Unfinished() > 0)) {
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            m_directory +
                                ": an earlier failure left the transaction that is open half "
                                "done; it can only be undone");
    }
}

void Engine::CheckUsable() {
    CheckSound();
    m_connection->NeedTransaction();
}

void Engine::Begin() {
    CheckOwner();
    CheckSound();
    if (!m_writable) {
        ORQBasThrowUsage(m_directory + ": is open for reading only, nothing can be changed");
    }
    m_bulkEnds.reserve(m_bulkEnds.size() + 1);  // what has begun is noted, whatever happens
    if (Depth() == 0) {
        EndSnapshot();
        // Takes SQLite's own writer lock now, so that no later statement finds it taken.
        m_connection->Do(Bound::BeginToWrite);
        RecordChanges();
        m_chunks->TakeWroteBytes();  // those of a transaction that was undone do not count
        m_space->BeginTransaction(m_generation);
        m_changesBefore = m_catalogue->NumChanges();
    } else {
        m_catalogue->WritePending();
        m_connection->Execute(("SAVEPOINT level" + std::to_string(Depth())).c_str());
    }
    m_chunks->BeginLevel();
    m_bulkEnds.push_back(m_chunks->BulkEnd());
    if (Depth() == 1 && m_numbers != nullptr) {
        m_chunks->KeepPlacesBelow(m_chunks->BulkEnd());
    }
}

void Engine::Commit() {
    CheckOwner();
    try {
        CheckSound();
        if (Depth() == 1) {
            CommitOutermost();
        } else {
            m_connection->Execute(("RELEASE level" + std::to_string(Depth() - 1)).c_str());
        }
    } catch (...) {
        const int code = sqlite3_extended_errcode(m_connection->Handle());
        // Invariant 10: after a failed sync the kernel may have dropped what it could not write,
        // and a second sync would succeed without it.
        m_refused = m_refused || code == SQLITE_IOERR_FSYNC || code == SQLITE_IOERR_DIR_FSYNC;
        Rollback();
        throw;
    }
    m_bulkEnds.pop_back();
    if (Depth() == 0) {
        m_recorder.reset();
        // The changes are durable, and what follows fails in silence: space that was not given back
        // is given back later, a log that was not folded is folded later, a snapshot that was not
        // taken is taken when it is needed.
        CutOffBulk();
        if (!m_lock.AreFilesHeld()) {
            m_connection->FoldLongLog();
        }
        m_connection->Try(Bound::Begin);
    }
}

// A reader of an older state compares the file's length with the end that its state says; so it is
// cut only while there is none, and only at an end that no chunk reaches beyond.
void Engine::CutOffBulk() noexcept {
    const std::int64_t end = m_chunks->BulkEnd();
    if (m_chunks->ArePlacesChecked() && m_file.Reaches(end + 1) &&
        m_lock.OldestSnapshot(m_generation) == m_generation) {
        m_file.CutOff(end);
    }
}

void Engine::CommitOutermost() {
    m_catalogue->WritePending();
    const bool wroteBytes = m_chunks->TakeWroteBytes();
    const bool hasChanges = wroteBytes || m_catalogue->NumChanges() != m_changesBefore;
    if (hasChanges) {
        // First, as it changes rows and the end up to which the file has to reach.
        m_chunks->TrimEnd();
        if (wroteBytes) {
            m_file.Flush();
            m_refused = true;  // unless the sync returns
            m_isCache || m_isOutOfSight ? m_file.Extend(m_chunks->BulkEnd())
                                        : m_file.Sync(m_chunks->BulkEnd());
            m_refused = false;
        }
        // After the bulk data is on the disk (invariant 3).
        PutState(m_generation + 1);
    }
    m_catalogue->LeaveRows();
    const std::int64_t fold = hasChanges && !IsInMemory() ? NoteFold() : m_foldNoted;
    if (hasChanges && m_sink != nullptr) {
        CommitShared();
    } else {
        m_connection->Do(Bound::Commit);
    }
    m_foldNoted = fold;
    // The generation moves only now: what the commit above throws leaves the handle in its old
    // state.
    m_generation += hasChanges ? 1 : 0;
}

// What was taken over is committed, whatever happens here.
void Engine::CommitShared() {
    const std::int64_t before = m_generation;
    try {
        HandOver();
    } catch (...) {
        m_generation = before;
        throw;
    }
    m_refused = true;  // unless it is here too
    try {
        m_connection->Do(Bound::Commit);
    } catch (const ORQBasFailure& failure) {
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            failure.Text() + "; state " + std::to_string(m_generation + 1) +
                                " is committed in the store all the same; open the model again");
    }
    m_refused = false;
}

// A log begins anew only after a whole fold, so its first commit says which main file it goes on
// from. Returns what is noted then.
std::int64_t Engine::NoteFold() {
    const FoldStamp stamp = m_connection->ReadFoldStamp();
    if (!stamp.isWhole || stamp.fold == m_foldNoted) {
        return m_foldNoted;
    }
    const auto number = static_cast<std::int32_t>(stamp.fold);
    m_connection->Execute(("PRAGMA user_version = " + std::to_string(number)).c_str());
    return stamp.fold;
}

void Engine::Rollback() noexcept {
    m_chunks->BulkEnd() = m_bulkEnds.back();
    m_bulkEnds.pop_back();
    // What is mirrored in memory is read again from rows.
    m_chunks->Forget();
    m_space->Reload();
    m_chunks->BeginLevel();
    m_catalogue->LeaveRows();
    m_catalogue->DropPending();
    m_catalogue->Unfinished() = 0;
    if (Depth() == 0) {
        m_recorder.reset();
        EndSnapshot();
        m_connection->Try(Bound::Begin);
    } else if (!IsLost()) {
        std::array<char, 64> sql{};
        std::snprintf(sql.data(), sql.size(), "ROLLBACK TO level%d; RELEASE level%d", Depth(),
                      Depth());
        const int code =
            sqlite3_exec(m_connection->Handle(), sql.data(), nullptr, nullptr, nullptr);
        // A transaction that was lost meanwhile is refused level by level.
        m_refused = m_refused || (code != SQLITE_OK && !IsLost());
    }
}

bool Engine::Refresh() {
    CheckOwner();
    CheckSound();
    if (m_writable) {
        return false;  // the only writer sees the last state always
    }
    // Invariants 6 and 13: announced first; the old mark stays until the new state is known to be
    // there.
    m_lock.BeginChoosingSnapshot();
    EndSnapshot();
    State state;
    try {
        state = TakeSnapshot();
        // A file that was cut is an error here, not a signal where the map is touched.
        m_file.CheckReaches(state.bulkEnd);
        m_lock.MarkSnapshot(state.generation);
    } catch (...) {
        EndSnapshot();  // rows of another state are never taken for those of this one
        m_lock.EndChoosing();
        throw;
    }
    const bool isOther = state.generation != m_generation;
    See(state);
    if (isOther) {
        m_chunks->Forget();
    }
    return isOther;
}

Sizes Engine::GetSizes() {
    Sizes sizes;
    for (const FreeExtentRow& row : m_catalogue->Find<FreeExtentRow>()) {
        // Rows of a damaged catalogue may claim more than there is.
        sizes.freeBulkBytes = std::min(sizes.freeBulkBytes + row.length, m_chunks->BulkEnd());
    }
    sizes.bulkBytes = m_chunks->BulkEnd();
    if (!IsInMemory()) {
        std::error_code error;
        const auto bytes = std::filesystem::file_size(CataloguePath(m_directory), error);
        sizes.catalogueBytes = error ? 0 : static_cast<std::int64_t>(bytes);
        const auto log = std::filesystem::file_size(CataloguePath(m_directory) + "-wal", error);
        sizes.catalogueBytes += error ? 0 : static_cast<std::int64_t>(log);
    }
    return sizes;
}

}  // namespace orq::storage
