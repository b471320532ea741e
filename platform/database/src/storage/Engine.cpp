#include "Engine.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>

#include "ORQBasFailure.h"
#include "PageChecksumVfs.h"

namespace orq::storage {

namespace {

constexpr std::uint32_t kApplicationId = 0x4F525131;  // "ORQ1"; stored, do not change
constexpr std::size_t kHeaderBytes = 100;

// Asks for the user that the process acts as, who is the one that opens files.
bool MayAccess(const std::string& path, int how) {
    return faccessat(AT_FDCWD, path.c_str(), how, AT_EACCESS) == 0;
}

[[noreturn]] void FailSystem(const std::string& path, const std::string& doing) {
    const int error = errno;
    throw ORQBasFailure(ORQBasFailureKind::Io,
                        path + ": cannot " + doing + ": " + std::strerror(error));
}

void SyncDirectory(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (file < 0 || fsync(file) != 0) {
        FailSystem(path, "sync the directory");
    }
    close(file);
}

Identity NewIdentity() {
    Identity identity;
    std::random_device random;
    for (std::byte& byte : identity) {
        byte = static_cast<std::byte>(random());
    }
    return identity;
}

std::string WithoutTrailingSlash(std::string directory) {
    while (directory.size() > 1 && directory.back() == '/') {
        directory.pop_back();
    }
    return directory;
}

std::string ParentOf(const std::string& directory) {
    const auto parent = std::filesystem::path(directory).parent_path();
    return parent.empty() ? "." : parent.string();
}

// What stands between the name of a database and the number of the process that is making it.
constexpr const char* kBeside = ".new-";

// A database that is being made belongs to a process that lives, or somebody holds its lock: hosts
// do not know of each other's processes.
bool IsBeingMade(const std::string& beside, int process) {
    return kill(process, 0) == 0 || errno != ESRCH || !LockFile::WriterOf(LockPath(beside)).empty();
}

// Removes what killed processes left of databases that were to have this name.
void RemoveLeftovers(const std::string& directory) {
    const std::string prefix = std::filesystem::path(directory).filename().string() + kBeside;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(ParentOf(directory), error)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with(prefix) || !entry.is_directory(error)) {
            continue;
        }
        int process = 0;
        const char* end = name.data() + name.size();
        const auto number = std::from_chars(name.data() + prefix.size(), end, process);
        if (number.ptr == end && process > 0 && !IsBeingMade(entry.path().string(), process)) {
            std::filesystem::remove_all(entry.path(), error);
        }
    }
}

// Says whether a catalogue is ours, before SQLite goes by its contents.
void CheckHeader(const Connection& connection, const std::string& catalogue) {
    std::array<std::byte, kHeaderBytes> header{};
    if (connection.ReadFile(0, header) != SQLITE_OK) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            catalogue + ": is truncated: shorter than its header");
    }
    if (std::memcmp(header.data(), "SQLite format 3", 16) != 0) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged, catalogue + ": is not a catalogue");
    }
    // Pages of another size would pass the checksums unseen.
    const int pageSize = std::to_integer<int>(header[16]) << 8 | std::to_integer<int>(header[17]);
    std::uint32_t application = 0;
    for (const std::byte digit : std::span(header).subspan(68, 4)) {
        application = application << 8 | std::to_integer<std::uint32_t>(digit);
    }
    if (application != kApplicationId || pageSize != kCataloguePageSize ||
        header[20] != std::byte{kPageReservedBytes}) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            catalogue + ": is a database of another program, or damaged");
    }
}

// Whether nobody can write here, so that the files cannot change while they are read.
bool IsFrozen(const std::string& directory) {
    struct stat log {};
    const std::string logPath = CataloguePath(directory) + "-wal";
    const bool hasLog = stat(logPath.c_str(), &log) == 0 && log.st_size > 0;
    return !MayAccess(directory, W_OK) && !hasLog;
}

bool IsOnNetwork(const std::string& directory) {
    struct statfs status {};
    if (statfs(directory.c_str(), &status) != 0) {
        FailSystem(directory, "ask for the kind of file system");
    }
    constexpr std::int64_t kNetworkKinds[] = {NFS_SUPER_MAGIC,  SMB_SUPER_MAGIC, CIFS_SUPER_MAGIC,
                                              SMB2_SUPER_MAGIC, AFS_SUPER_MAGIC, CODA_SUPER_MAGIC,
                                              CEPH_SUPER_MAGIC, V9FS_MAGIC};
    return std::ranges::find(kNetworkKinds, status.f_type & 0xFFFFFFFF) != std::end(kNetworkKinds);
}

std::string UriOf(const std::string& path) {
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '?' || c == '#' || c == '%') {
            std::array<char, 4> hex{};
            std::snprintf(hex.data(), hex.size(), "%%%02X", static_cast<unsigned char>(c));
            uri += hex.data();
        } else {
            uri += c;
        }
    }
    return uri + "?immutable=1";
}

}  // namespace

std::string CataloguePath(const std::string& directory) {
    return directory + "/catalogue.sqlite";
}
std::string BulkPath(const std::string& directory) {
    return directory + "/bulk.bin";
}
std::string LockPath(const std::string& directory) {
    return directory + "/lock";
}

void CheckLooksLikeDatabase(const std::string& directory, bool needsBulk) {
    std::error_code error;
    const auto status = std::filesystem::status(directory, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw ORQBasFailure(ORQBasFailureKind::Io, directory + ": does not exist");
    }
    if (error) {
        throw ORQBasFailure(ORQBasFailureKind::Io, directory + ": cannot open: " + error.message());
    }
    if (!std::filesystem::is_directory(status)) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            directory + ": is not a model database (not a directory)");
    }
    const std::string catalogue = CataloguePath(directory);
    const std::string bulk = BulkPath(directory);
    const bool hasCatalogue = std::filesystem::exists(catalogue, error);
    const bool hasBulk = std::filesystem::exists(bulk, error);
    if (!hasCatalogue && !hasBulk) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            directory + ": is not a model database (no catalogue.sqlite in it)");
    }
    if (!hasCatalogue || (needsBulk && !hasBulk)) {
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            directory + ": " + (hasCatalogue ? "bulk.bin" : "catalogue.sqlite") + " is missing");
    }
    if (!MayAccess(catalogue, R_OK)) {
        FailSystem(catalogue, "read");
    }
}

void Engine::Build(const std::string& givenDirectory, FirstContent content, const Filling& fill) {
    const std::string directory = WithoutTrailingSlash(givenDirectory);
    if (std::filesystem::exists(std::filesystem::symlink_status(directory))) {
        throw ORQBasFailure(ORQBasFailureKind::Usage, directory + ": exists already");
    }
    RemoveLeftovers(directory);
    // Made beside its place and moved into it whole, so that a crash leaves no half database.
    const std::string beside = directory + kBeside + std::to_string(getpid());
    std::string made = beside;
    std::filesystem::remove_all(beside);
    if (mkdir(beside.c_str(), 0777) != 0) {
        FailSystem(beside, "create the directory");
    }
    try {
        std::unique_ptr<Engine> engine(new Engine);
        engine->m_directory = beside;
        engine->m_writable = true;
        engine->m_lock.OpenAsWriter(LockPath(beside), LockFile::Sharing::WithReaders);
        const Identity identity = NewIdentity();
        engine->m_file.Create(BulkPath(beside), identity);
        engine->Connect(CataloguePath(beside), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                        PageChecksumVfsName());
        engine->PrepareNewFile();
        engine->OpenCatalogue();
        engine->WriteFirstState(identity, content);
        engine->BeginSnapshot();
        engine->m_isOpen = true;
        fill(std::move(engine));
        SyncDirectory(beside);
        if (renameat2(AT_FDCWD, beside.c_str(), AT_FDCWD, directory.c_str(), RENAME_NOREPLACE) !=
            0) {
            FailSystem(directory, "move the new database into its place");
        }
        made = directory;
        SyncDirectory(ParentOf(directory));
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove_all(made, ignored);
        throw;
    }
}

std::unique_ptr<Engine> Engine::Create(const std::string& directory, FirstContent content) {
    Build(directory, content, [](std::unique_ptr<Engine> engine) { engine.reset(); });
    return Open(directory, true);
}

std::unique_ptr<Engine> Engine::CreateInMemory(FirstContent content) {
    std::unique_ptr<Engine> engine(new Engine);
    engine->m_writable = true;
    engine->m_file.CreateInMemory();
    engine->Connect(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    engine->OpenCatalogue();
    engine->WriteFirstState(NewIdentity(), content);
    engine->BeginSnapshot();
    engine->m_isOpen = true;
    return engine;
}

std::unique_ptr<Engine> Engine::Open(const std::string& directory, bool writable) {
    try {
        return Open(directory, writable, false);
    } catch (const NoSpaceForLogIndex&) {
        if (writable) {
            throw;
        }
        return Open(directory, false, true);  // a full disk keeps nobody from reading
    }
}

std::unique_ptr<Engine> Engine::Open(const std::string& givenDirectory, bool writable,
                                     bool isAlone) {
    const std::string directory = WithoutTrailingSlash(givenDirectory);
    CheckLooksLikeDatabase(directory, true);
    std::unique_ptr<Engine> engine(new Engine);
    engine->m_directory = directory;
    engine->m_writable = writable;
    // Readers too are opened for writing where that is allowed, so that the last one out, whoever
    // it is, folds the log in and leaves two files; a reader itself never writes.
    const std::string catalogue = CataloguePath(directory);
    const bool isFrozen = !writable && IsFrozen(directory);
    const bool canWrite = writable || MayAccess(catalogue, W_OK);
    engine->Connect(isFrozen ? UriOf(catalogue) : catalogue,
                    isFrozen   ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI
                    : canWrite ? SQLITE_OPEN_READWRITE
                               : SQLITE_OPEN_READONLY,
                    PageChecksumVfsName());
    // What is refused stays as it is, its log too.
    engine->m_connection->FoldLogAtClose(false);
    if (isAlone) {
        engine->m_connection->UseAlone();
    }
    CheckHeader(*engine->m_connection, catalogue);
    if (writable) {
        engine->m_connection->CheckWritable();
        engine->m_lock.OpenAsWriter(LockPath(directory), IsOnNetwork(directory)
                                                             ? LockFile::Sharing::Alone
                                                             : LockFile::Sharing::WithReaders);
    } else {
        engine->m_lock.OpenAsReader(LockPath(directory));
    }
    engine->OpenCatalogue();
    CheckSchema(*engine->m_connection);
    if (!writable) {
        engine->m_connection->Execute("PRAGMA query_only = 1");
    }
    engine->BeginSnapshot();
    engine->m_file.Open(BulkPath(directory), writable, engine->m_identity,
                        engine->m_chunks->BulkEnd());
    engine->m_connection->FoldLogAtClose(true);
    engine->m_isOpen = true;
    return engine;
}

Engine::~Engine() {
    if (!m_isOpen) {
        return;  // what was found may be anything; it stays as it is
    }
    const bool isClean = m_writable && !IsInMemory() && !m_refused && Depth() == 0;
    const std::int64_t bulkEnd = m_chunks->BulkEnd();
    DropConnection();
    if (isClean && m_lock.OldestSnapshot(m_generation) == m_generation) {
        m_file.CutOff(bulkEnd);
    }
}

void Engine::DropConnection() {
    m_catalogue.reset();
    if (sqlite3_get_autocommit(m_connection->Handle()) == 0) {
        sqlite3_exec(m_connection->Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
    m_connection.reset();
}

void Engine::Connect(const std::string& name, int flags, const char* vfs) {
    m_connection = std::make_unique<Connection>(name, flags, vfs,
                                                IsInMemory() ? name : CataloguePath(m_directory));
}

void Engine::PrepareNewFile() {
    int reserved = kPageReservedBytes;
    m_connection->Check(
        sqlite3_file_control(m_connection->Handle(), "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved),
        "reserve room for page checksums");
    m_connection->Execute(("PRAGMA page_size = " + std::to_string(kCataloguePageSize)).c_str());
    m_connection->Execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
    m_connection->Execute("PRAGMA journal_mode = WAL");
}

void Engine::OpenCatalogue() {
    m_connection->Execute(
        "PRAGMA synchronous = FULL; PRAGMA mmap_size = 0; PRAGMA cache_size = -8192;"
        "PRAGMA temp_store = MEMORY");
    m_catalogue = std::make_unique<Catalogue>(*m_connection);
    m_space = std::make_unique<FreeSpace>(*m_catalogue, m_lock);
    m_chunks = std::make_unique<ChunkStore>(*m_catalogue, m_file, *m_space);
}

void Engine::WriteFirstState(const Identity& identity, FirstContent content) {
    m_identity = identity;
    m_generation = 1;
    m_connection->Execute("BEGIN IMMEDIATE");
    CreateSchema(*m_connection);
    content(*this);
    m_catalogue->Insert(Table::State, 0, kFormatVersion, std::span<const std::byte>(identity),
                        m_generation, m_nextObject, m_nextSet, m_chunks->BulkEnd());
    m_connection->Execute("COMMIT");
}

std::map<std::string, std::int64_t> Engine::Roots() {
    std::map<std::string, std::int64_t> roots;
    sqlite3_stmt* question = m_connection->Prepare("SELECT name, rootpage FROM sqlite_schema");
    while (sqlite3_step(question) == SQLITE_ROW) {
        roots[reinterpret_cast<const char*>(sqlite3_column_text(question, 0))] =
            sqlite3_column_int64(question, 1);
    }
    sqlite3_finalize(question);
    return roots;
}

void Engine::ReserveNumbers(std::int64_t nextObject, std::int64_t nextSet) {
    m_nextObject = std::max(m_nextObject, nextObject);
    m_nextSet = std::max(m_nextSet, static_cast<int>(nextSet));
}

void Engine::BeginSnapshot() {
    if (!m_writable) {
        m_lock.BeginChoosingSnapshot();
    }
    m_connection->Execute("BEGIN");
    ReadState();
    if (!m_writable) {
        m_lock.MarkSnapshot(m_generation);
    }
}

void Engine::EndSnapshot() {
    m_catalogue->LeaveRows();
    if (sqlite3_get_autocommit(m_connection->Handle()) == 0) {
        m_connection->Execute("COMMIT");
    }
}

void Engine::ReadState() {
    Cursor row = m_catalogue->Find(Table::State, 0);
    if (!row.Next() || row.Blob(2).size() != m_identity.size()) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            CataloguePath(m_directory) + ": has no state row");
    }
    if (const int format = row.Int32(1); format != kFormatVersion) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            m_directory + ": has format version " + std::to_string(format) +
                                ", this program knows version " + std::to_string(kFormatVersion));
    }
    std::ranges::copy(row.Blob(2), m_identity.begin());
    m_generation = row.Int(3);
    m_nextObject = std::max(m_nextObject, row.Int(4));
    m_nextSet = std::max(m_nextSet, row.Int32(5));
    m_chunks->BulkEnd() = row.Int(6);
}

void Engine::CheckUsable() const {
    if (m_refused) {
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            m_directory +
                                ": an earlier failure left this handle in doubt; open the "
                                "database again");
    }
}

void Engine::Begin() {
    CheckUsable();
    if (!m_writable) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            m_directory + ": is open for reading only, nothing can be changed");
    }
    if (Depth() == 0) {
        EndSnapshot();
        m_connection->Execute("BEGIN IMMEDIATE");
        m_space->BeginTransaction(m_generation);
        m_changesBefore = sqlite3_total_changes(m_connection->Handle());
    } else {
        m_connection->Execute(("SAVEPOINT level" + std::to_string(Depth())).c_str());
    }
    m_chunks->BeginLevel();
    m_bulkEnds.push_back(m_chunks->BulkEnd());
}

void Engine::Commit() {
    CheckUsable();
    if (Depth() > 1) {
        m_connection->Execute(("RELEASE level" + std::to_string(Depth() - 1)).c_str());
        m_bulkEnds.pop_back();
        return;
    }
    const bool wroteBytes = m_chunks->TakeWroteBytes();
    const bool hasChanges =
        wroteBytes || sqlite3_total_changes(m_connection->Handle()) != m_changesBefore;
    try {
        if (hasChanges) {
            if (wroteBytes) {
                m_space->TrimEnd(m_chunks->BulkEnd());
                m_file.Flush();
                m_refused = true;  // unless the sync returns
                m_file.Sync(m_chunks->BulkEnd());
                m_refused = false;
            }
            m_catalogue->Put(Table::State, 0, kFormatVersion,
                             std::span<const std::byte>(m_identity), m_generation + 1, m_nextObject,
                             m_nextSet, m_chunks->BulkEnd());
        }
        m_catalogue->LeaveRows();
        m_connection->Execute("COMMIT");
    } catch (const ORQBasException&) {
        const int code = sqlite3_extended_errcode(m_connection->Handle());
        m_refused = m_refused || code == SQLITE_IOERR_FSYNC || code == SQLITE_IOERR_DIR_FSYNC;
        Rollback();
        throw;
    }
    m_bulkEnds.pop_back();
    // The changes are durable now; if they cannot be looked at, the next use of the handle fails.
    m_connection->FoldLongLog();
    m_refused = true;
    try {
        BeginSnapshot();
        m_refused = false;
    } catch (const ORQBasException&) {
    }
}

void Engine::Rollback() {
    const std::int64_t bulkEnd = m_bulkEnds.back();
    const int level = Depth() - 1;
    m_bulkEnds.pop_back();
    m_chunks->Forget();
    m_space->Reload();
    m_chunks->BulkEnd() = bulkEnd;
    m_chunks->BeginLevel();
    const bool wasRefused = m_refused;
    m_refused = true;  // unless all of this returns
    m_catalogue->LeaveRows();
    if (level > 0) {
        const std::string name = "level" + std::to_string(level);
        m_connection->Execute(("ROLLBACK TO " + name + "; RELEASE " + name).c_str());
    } else {
        // SQLite has rolled back by itself after some failures.
        if (sqlite3_get_autocommit(m_connection->Handle()) == 0) {
            m_connection->Execute("ROLLBACK");
        }
        BeginSnapshot();
    }
    m_refused = wasRefused;
}

bool Engine::Refresh() {
    CheckUsable();
    if (m_writable) {
        return false;  // the only writer sees the last state always
    }
    const std::int64_t before = m_generation;
    m_lock.BeginChoosingSnapshot();
    EndSnapshot();
    BeginSnapshot();
    if (m_generation == before) {
        return false;
    }
    m_chunks->Forget();
    m_file.CheckReaches(m_chunks->BulkEnd());
    return true;
}

Sizes Engine::GetSizes() {
    Sizes sizes;
    for (Cursor row = m_catalogue->Find(Table::FreeExtent); row.Next();) {
        sizes.freeBulkBytes = std::min(sizes.freeBulkBytes + row.Int(1), m_chunks->BulkEnd());
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
