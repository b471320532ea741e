// Recording and applying changes of the catalogue, and the parts of Engine that use them.

#include "Replication.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "ChangesetWalk.h"
#include "Engine.h"
#include "ORQBasFailure.h"
#include "ORQBasStaged.h"
#include "PageChecksumVfs.h"

namespace orq::storage {

using Bound = Connection::Bound;

namespace {

void CheckTables(Connection& connection, std::span<const std::byte> changeset) {
    std::set<std::string, std::less<>> tables;
    connection.ForEachRow(
        "SELECT name FROM sqlite_schema WHERE type = 'table'",
        [&](const std::vector<Value>& row) { tables.emplace(std::get<std::string_view>(row[0])); });
    for (ChangesetWalk walk(changeset); walk.Next();) {
        if (!tables.contains(walk.Table())) {
            connection.FailDamaged("a changeset changes table \"" +
                                   std::string(walk.Table().substr(0, 40)) +
                                   "\", which a model has not");
        }
    }
}

struct Application {
    ChangedTables tables;
    std::string conflict;  // the table of the first row that is not as the changeset says
};

int IsToBeApplied(void* application, const char* table) {
    return static_cast<Application*>(application)->tables == ChangedTables::All ||
                   !IsBookkeeping(table)
               ? 1
               : 0;
}

// Gives all of it up at the first conflict.
int NoteConflict(void* application, int, sqlite3_changeset_iter* changes) {
    const char* table = nullptr;
    int nColumns = 0;
    int operation = 0;
    int isIndirect = 0;
    if (sqlite3changeset_op(changes, &table, &nColumns, &operation, &isIndirect) == SQLITE_OK) {
        static_cast<Application*>(application)->conflict = table;
    }
    return SQLITE_CHANGESET_ABORT;
}

std::vector<std::byte> BytesOfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<std::byte> bytes(file ? static_cast<std::size_t>(file.tellg()) : 0);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file || bytes.empty()) {
        ORQBasThrowSystemFailure(path, "read");
    }
    return bytes;
}

}  // namespace

ChangeRecorder::ChangeRecorder(Connection& connection) : m_connection(connection) {
    m_connection.Check(sqlite3session_create(connection.Handle(), "main", &m_session),
                       "record changes");
    // Null: every table that has a key, as all have.
    m_connection.Check(sqlite3session_attach(m_session, nullptr), "record changes");
}

ChangeRecorder::~ChangeRecorder() {
    sqlite3session_delete(m_session);
    sqlite3_free(m_changeset);
}

std::span<const std::byte> ChangeRecorder::Take() {
    sqlite3_free(std::exchange(m_changeset, nullptr));
    int size = 0;
    m_connection.Check(sqlite3session_changeset(m_session, &size, &m_changeset), "record changes");
    return {static_cast<const std::byte*>(m_changeset), static_cast<std::size_t>(size)};
}

void ApplyChangeset(Connection& connection, std::span<const std::byte> changeset,
                    ChangedTables tables) {
    CheckTables(connection, changeset);
    // Statements that compare all columns of a row nest deeper than ours.
    constexpr int kDepth = 200;
    sqlite3_limit(connection.Handle(), SQLITE_LIMIT_EXPR_DEPTH, kDepth);
    Application application{tables, ""};
    const int code = sqlite3changeset_apply(connection.Handle(), static_cast<int>(changeset.size()),
                                            const_cast<std::byte*>(changeset.data()), IsToBeApplied,
                                            NoteConflict, &application);
    if (!application.conflict.empty()) {
        connection.FailDamaged("a changeset does not fit this state: table " +
                               application.conflict);
    }
    connection.Check(code, "apply a changeset");
}

std::string SummaryOf(std::span<const std::byte> changeset) {
    struct Counts {
        std::int64_t added = 0;
        std::int64_t changed = 0;
        std::int64_t removed = 0;
    };
    std::map<std::string, Counts, std::less<>> tables;
    for (ChangesetWalk walk(changeset); walk.Next();) {
        if (IsBookkeeping(walk.Table())) {
            continue;
        }
        auto found = tables.find(walk.Table());
        if (found == tables.end()) {
            found = tables.emplace(walk.Table(), Counts()).first;
        }
        Counts& counts = found->second;
        ++(walk.Operation() == SQLITE_INSERT   ? counts.added
           : walk.Operation() == SQLITE_UPDATE ? counts.changed
                                               : counts.removed);
    }
    std::string text;
    for (const auto& [table, counts] : tables) {
        text += (text.empty() ? "" : ", ") + table;
        for (const auto& [sign, count] :
             {std::pair('+', counts.added), std::pair('~', counts.changed),
              std::pair('-', counts.removed)}) {
            text += count > 0 ? std::string(" ") + sign + std::to_string(count) : "";
        }
    }
    return text;
}

std::vector<BulkFile::Place> Meet(std::vector<BulkFile::Place> places,
                                  std::vector<BulkFile::Place> others) {
    const auto endOf = [](const BulkFile::Place& place) { return place.offset + place.size; };
    const auto inOrder = [&](std::vector<BulkFile::Place>& given) {
        std::ranges::sort(given, {}, &BulkFile::Place::offset);
        std::vector<BulkFile::Place> united;
        for (const BulkFile::Place& place : given) {
            if (!united.empty() && place.offset <= endOf(united.back())) {
                united.back().size =
                    std::max(endOf(united.back()), endOf(place)) - united.back().offset;
            } else {
                united.push_back(place);
            }
        }
        return united;
    };
    places = inOrder(places);
    others = inOrder(others);
    std::vector<BulkFile::Place> met;
    auto other = others.begin();
    for (const BulkFile::Place& place : places) {
        while (other != others.end() && endOf(*other) <= place.offset) {
            ++other;
        }
        for (auto it = other; it != others.end() && it->offset < endOf(place); ++it) {
            const std::int64_t begin = std::max(place.offset, it->offset);
            const std::int64_t end = std::min(endOf(place), endOf(*it));
            met.push_back({begin, end - begin});
        }
    }
    return met;
}

// --- Engine --------------------------------------------------------------------------------------

void Engine::ServeAsCache(ChunkSource* source, CommitSink* sink) {
    m_isCache = true;
    m_sink = sink;
    m_chunks->BringFrom(source);
    m_space->NeverReuse();
    m_file.NoteWrites(sink != nullptr);
    m_file.KeepWrittenPages(WrittenPath(m_directory));
    if (m_writable) {
        // What a crash loses of a cache is fetched again; it only has to stay one state.
        EndSnapshot();
        m_connection->Execute("PRAGMA synchronous = NORMAL");
        m_connection->PrepareBounds();
        See(TakeSnapshot());
    }
}

std::vector<BulkFile::Place> Engine::ChunkPlaces() {
    std::vector<BulkFile::Place> places;
    for (const ExtentRow& row : m_catalogue->Find<ExtentRow>()) {
        if (row.offset != 0) {
            places.push_back({row.offset, row.length});
        }
    }
    return places;
}

std::vector<BulkFile::Place> Engine::FindMissing(std::int64_t mostBytes) {
    constexpr int kMostRows = 4096;  // a look at each, however many a model has
    std::vector<BulkFile::Place> places;
    int nRows = 0;
    for (const ExtentRow& row : m_catalogue->Find<ExtentRow>()) {
        if (++nRows > kMostRows) {
            break;
        }
        const std::int64_t end = row.offset + row.length;
        if (row.offset >= kBulkPage && row.length <= mostBytes && end <= m_chunks->BulkEnd() &&
            !m_file.HasWritten(row.offset, end)) {
            places.push_back({row.offset, row.length});
        }
    }
    std::ranges::sort(places, {}, &BulkFile::Place::size);
    const auto last = std::ranges::find_if(
        places, [&](const BulkFile::Place& place) { return (mostBytes -= place.size) < 0; });
    places.erase(last, places.end());
    return places;
}

// A transaction that cannot be recorded has not begun.
void Engine::RecordChanges() {
    if (m_sink == nullptr) {
        return;
    }
    try {
        m_recorder = std::make_unique<ChangeRecorder>(*m_connection);
    } catch (...) {
        EndSnapshot();
        m_connection->Try(Bound::Begin);
        throw;
    }
    m_file.TakeNotedWrites();  // those of a transaction that was undone do not count
}

Engine::State Engine::ApplyNext(std::span<const std::byte> changeset, std::int64_t generation) {
    m_catalogue->LeaveRows();
    ApplyChangeset(*m_connection, changeset, ChangedTables::All);
    const State state = ReadState();
    if (state.identity != m_identity || state.generation != generation) {
        m_connection->FailDamaged("a changeset leads to state " + std::to_string(state.generation) +
                                  " of " + (state.identity == m_identity ? "the" : "another") +
                                  " model, where state " + std::to_string(generation) + " is due");
    }
    return state;
}

void Engine::Apply(std::span<const std::byte> changeset) {
    CheckOwner();
    CheckSound();
    EndSnapshot();
    m_connection->Do(Bound::BeginToWrite);
    try {
        const State state = ApplyNext(changeset, m_generation + 1);
        // Before it is named: a handle that opens the state compares the file's length with it.
        m_file.Extend(state.bulkEnd);
        m_catalogue->LeaveRows();
        m_catalogue->DropPending();  // with what is known of names
        const std::int64_t fold = NoteFold();
        m_connection->Do(Bound::Commit);
        m_foldNoted = fold;
        See(state);
    } catch (...) {
        EndSnapshot();
        m_connection->Try(Bound::Begin);
        throw;
    }
    m_chunks->Forget();
    m_space->Reload();
    if (!m_lock.AreFilesHeld()) {
        m_connection->FoldLongLog();
    }
    m_connection->Try(Bound::Begin);
}

std::vector<std::byte> Engine::CatalogueImage() {
    CheckUsable();
    // A folder that is removed at the end, with what killed processes left of the same name.
    ORQBasStaged staged(std::filesystem::temp_directory_path() / "orq-base", "image");
    {
        Connection copy(staged.Path().string(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                        PageChecksumVfsName(), staged.Path().string());
        PrepareNewFile(copy);
        ReadState();  // holds the snapshot that a writer may not have begun
        CopyCataloguePages(copy);
    }
    return BytesOfFile(staged.Path().string());
}

void Engine::BuildFromImage(const std::string& directory, std::span<const std::byte> image,
                            const Identity& identity) {
    {
        std::ofstream file(CataloguePath(directory), std::ios::binary);
        file.write(reinterpret_cast<const char*>(image.data()),
                   static_cast<std::streamsize>(image.size()));
        file.close();
        if (!file) {
            ORQBasThrowSystemFailure(CataloguePath(directory), "write");
        }
    }
    BulkFile bulk;
    bulk.Create(BulkPath(directory), identity);
    LockFile lock;
    lock.OpenAsWriter(LockPath(directory), LockFile::Sharing::WithReaders);
    // The bulk file has no bytes yet, so it is too short for the state, whose end it is given here.
    Connection catalogue(CataloguePath(directory), SQLITE_OPEN_READWRITE, PageChecksumVfsName(),
                         CataloguePath(directory));
    CheckCatalogueHeader(catalogue, CataloguePath(directory));
    CheckStateTable(catalogue);  // the rest is compared when it is opened
    std::int64_t end = 0;
    catalogue.ForEachRow("SELECT bulk_end FROM state", [&](const std::vector<Value>& row) {
        const auto* number = std::get_if<std::int64_t>(&row[0]);
        end = number != nullptr ? *number : 0;
    });
    bulk.Sync(end);
}

}  // namespace orq::storage
