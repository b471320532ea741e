// Engine: making databases, opening them for those who may write and for those who may not, and
// closing.

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>
#include <utility>

#include "Engine.h"
#include "ORQBasFailure.h"
#include "ORQBasStaged.h"
#include "PageChecksumVfs.h"

namespace orq::storage {

namespace {

constexpr std::uint32_t kApplicationId = 0x4F525131;  // "ORQ1"; stored, do not change
// SQLite's file header: page size at byte 16, reserved bytes of a page at 20, application ID at 68.
constexpr std::size_t kHeaderBytes = 100;

// For the effective user, who is the one that opens files.
bool MayAccess(const std::string& path, int how) {
    return faccessat(AT_FDCWD, path.c_str(), how, AT_EACCESS) == 0;
}

std::string WithoutTrailingSlash(std::string directory) {
    while (directory.size() > 1 && directory.back() == '/') {
        directory.pop_back();
    }
    return directory;
}

bool HasLog(const std::string& directory) {
    struct stat log {};
    // SQLite makes the log before it writes into it; one of no bytes holds no commit.
    return stat((CataloguePath(directory) + "-wal").c_str(), &log) == 0 && log.st_size > 0;
}

// Whether this user can write the catalogue, and make the log and its index beside it.
bool MayTakePart(const std::string& directory) {
    return MayAccess(CataloguePath(directory), W_OK) && MayAccess(directory, W_OK);
}

bool IsOnReadOnlyFileSystem(const std::string& directory) {
    struct statvfs status {};
    return statvfs(directory.c_str(), &status) == 0 && (status.f_flag & ST_RDONLY) != 0;
}

bool IsOnNetwork(const std::string& directory) {
    struct statfs status {};
    if (statfs(directory.c_str(), &status) != 0) {
        ORQBasThrowSystemFailure(directory, "ask for the kind of file system");
    }
    // Compared in 32 bits: where the field is that narrow and has a sign, the higher ones come out
    // negative.
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
    return uri;
}

// Of a catalogue that has no page yet.
void SetPageSizes(Connection& catalogue) {
    int reserved = kPageReservedBytes;
    catalogue.Check(
        sqlite3_file_control(catalogue.Handle(), "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved),
        "reserve room for page checksums");
    catalogue.Execute(("PRAGMA page_size = " + std::to_string(kCataloguePageSize)).c_str());
}

// Never destroyed, as the list of databases; those of a process that forked stay in the child's.
std::vector<const Engine*>& AllEngines() {
    static auto& engines = *new std::vector<const Engine*>;
    return engines;
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
std::string WrittenPath(const std::string& directory) {
    return directory + "/written";
}

void CheckCatalogueHeader(const Connection& connection, const std::string& catalogue) {
    std::array<std::byte, kHeaderBytes> header{};
    const int code = connection.ReadFile(0, header);
    if (code != SQLITE_OK && code != SQLITE_IOERR_SHORT_READ) {
        ORQBasThrowSystemFailure(catalogue, "read");
    }
    if (code != SQLITE_OK) {
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

Identity NewIdentity() {
    Identity identity;
    // Random, so that two databases never share one: by it a bulk file is known to belong to a
    // catalogue.
    std::random_device random;
    for (std::byte& byte : identity) {
        byte = static_cast<std::byte>(random());
    }
    return identity;
}

void CheckLooksLikeDatabase(const std::string& directory, bool needsBulk) {
    std::error_code error;
    // From the outside in, so that the text names the first thing that is not as it should be.
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
        ORQBasThrowSystemFailure(catalogue, "read");
    }
}

Engine::Engine() {
    AllEngines().push_back(this);
}

void Engine::RefuseProcess() const {
    throw ORQBasFailure(
        ORQBasFailureKind::Refused,
        (IsInMemory() ? "database in memory" : m_directory) + ": was opened by process " +
            std::to_string(m_process.Number()) + "; process " + std::to_string(getpid()) +
            " came of it by fork() and cannot use it (start processes by posix_spawn, or open "
            "databases after fork)");
}

// SQLite takes the locks that it has noted in memory for this process's own, also where they are
// those of the process from which the memory was copied.
void Engine::RefuseInherited(const std::string& directory) {
    for (const Engine* engine : AllEngines()) {
        std::error_code ignored;
        if (engine->IsOfOtherProcess() && !engine->IsInMemory() &&
            std::filesystem::equivalent(engine->m_directory, directory, ignored)) {
            engine->RefuseProcess();
        }
    }
}

void Engine::MakeOutOfSight(const std::string& givenDirectory,
                            const std::function<void(const std::string&)>& make) {
    const std::string directory = WithoutTrailingSlash(givenDirectory);
    // Only so that nobody waits for a database that cannot be put into place; it is checked again
    // then.
    if (std::filesystem::exists(std::filesystem::symlink_status(directory))) {
        ORQBasThrowUsage(directory + ": exists already");
    }
    ORQBasStaged staged(directory, "new");
    const std::string made = staged.Path().string();
    // The folder around it is private to this user; what is moved out of it gets the usual rights.
    if (mkdir(made.c_str(), 0777) != 0) {
        ORQBasThrowSystemFailure(made, "create the directory");
    }
    make(made);
    staged.PutIntoPlace(false);
}

void Engine::Build(const std::string& directory, FirstContent content, const Filling& fill) {
    MakeOutOfSight(directory, [&](const std::string& beside) {
        std::unique_ptr<Engine> engine(new Engine);
        engine->m_directory = beside;
        engine->m_writable = true;
        engine->m_isOutOfSight = true;
        // Nobody else knows the folder, so there is no reader to exclude on a network file system.
        engine->m_lock.OpenAsWriter(LockPath(beside), LockFile::Sharing::WithReaders);
        const Identity identity = NewIdentity();
        engine->m_file.Create(BulkPath(beside), identity);
        engine->Connect(CataloguePath(beside), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                        PageChecksumVfsName());
        PrepareNewFile(*engine->m_connection);
        engine->OpenCatalogue();
        engine->WriteFirstState(identity, content);
        engine->See(engine->TakeSnapshot());
        engine->m_isOpen = true;
        fill(std::move(engine));
    });
}

std::unique_ptr<Engine> Engine::CreateInMemory(FirstContent content) {
    std::unique_ptr<Engine> engine(new Engine);
    engine->m_writable = true;
    engine->m_file.CreateInMemory();
    engine->Connect(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    engine->OpenCatalogue();
    engine->WriteFirstState(NewIdentity(), content);
    engine->See(engine->TakeSnapshot());
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

namespace {

// Of the folder to which a name leads now: device and node; zeros where there is none.
using FolderNumber = std::pair<dev_t, ino_t>;

FolderNumber NumberOf(const std::string& folder) {
    struct stat status {};
    return stat(folder.c_str(), &status) == 0 ? FolderNumber(status.st_dev, status.st_ino)
                                              : FolderNumber();
}

// Where folders cannot be exchanged in one step, the name leads nowhere for a moment.
bool IsBetweenTwoSteps(const std::string& directory) {
    return NumberOf(directory) == FolderNumber() &&
           NumberOf(ORQBasAsideOf(directory).string()) != FolderNumber();
}

}  // namespace

std::unique_ptr<Engine> Engine::OpenOnce(const std::string& directory, bool writable,
                                         bool isAlone) {
    CheckLooksLikeDatabase(directory, true);
    RefuseInherited(directory);
    std::unique_ptr<Engine> engine(new Engine);
    engine->m_directory = directory;
    engine->m_place = std::filesystem::absolute(directory).string();
    engine->m_writable = writable;
    if (writable) {
        engine->OpenWithOthers(isAlone);
    } else {
        engine->OpenAsReader(isAlone);
    }
    return engine;
}

std::unique_ptr<Engine> Engine::Open(const std::string& givenDirectory, bool writable,
                                     bool isAlone) {
    const std::string directory = WithoutTrailingSlash(givenDirectory);
    // Who puts another database into the place of this one looks for a writer's lock, and does not
    // find that of one who is just opening. So whoever opens sees to it that the name has led to
    // the same folder all the time, and begins again where it has not.
    constexpr int kAttempts = 10;
    std::unique_ptr<Engine> engine;
    for (int attempt = 1; engine == nullptr; ++attempt) {
        const FolderNumber folder = NumberOf(directory);
        try {
            engine = OpenOnce(directory, writable, isAlone);
            if (NumberOf(directory) != folder || !engine->m_lock.IsInPlace(LockPath(directory))) {
                throw ORQBasFailure(ORQBasFailureKind::Busy,
                                    directory + ": is replaced while it is being opened");
            }
        } catch (const ORQBasFailure&) {
            const bool isBetween = IsBetweenTwoSteps(directory);
            const bool isReplaced = isBetween || engine != nullptr || NumberOf(directory) != folder;
            engine.reset();
            if (!isReplaced || attempt == kAttempts) {
                throw;
            }
            if (isBetween) {
                usleep(static_cast<useconds_t>(5000 * attempt));  // a quarter of a second in all
            }
        }
    }
    // Only from here on: what was refused above is closed with its log as it was. The pragmas of
    // opening have outdated the bounds.
    engine->m_connection->FoldLogAtClose(true);
    engine->m_connection->PrepareBounds();
    engine->m_isOpen = true;
    return engine;
}

void Engine::ConnectToExisting(const std::string& name, int flags) {
    Connect(name, flags, PageChecksumVfsName());
    // What is refused stays as it is, its log too.
    m_connection->FoldLogAtClose(false);
    CheckCatalogueHeader(*m_connection, CataloguePath(m_directory));
}

// Readers of a log too are opened for writing, so that the last one out, whoever it is, folds it in
// and leaves two files; a reader itself never writes.
void Engine::OpenWithOthers(bool isAlone) {
    ConnectToExisting(CataloguePath(m_directory), SQLITE_OPEN_READWRITE);
    if (isAlone) {
        m_connection->UseAlone();
        m_keepsLog = true;  // a fold needs the index, which says how far the log goes
    }
    if (m_writable) {
        m_connection->CheckWritable();
        m_lock.OpenAsWriter(LockPath(m_directory), IsOnNetwork(m_directory)
                                                       ? LockFile::Sharing::Alone
                                                       : LockFile::Sharing::WithReaders);
    } else if (!m_lock.OpenAsReader(LockPath(m_directory), true)) {
        // A reader whom nobody sees would go on in space that a writer uses again.
        throw ORQBasFailure(ORQBasFailureKind::Io,
                            LockPath(m_directory) +
                                ": cannot be read; without it a writer would not see that "
                                "somebody reads");
    } else {
        m_connection->Execute("PRAGMA query_only = 1");
    }
    Start();
}

// Where there is a log, a reader reads it. Where there is none, the catalogue's file is whole, and
// stays as it is while the files are held: only who folds a log in changes it, and looks for
// holders when there is a log. Likewise no space is used again that its state needs once a choice
// is announced. So hold and announce first, then look for a log. To make a log and its index for
// reading would take twice as long.
void Engine::OpenAsReader(bool isAlone) {
    // With the pauses below half a second in all, for an owner that opens and closes meanwhile.
    constexpr int kAttempts = 100;
    const bool hasLock = m_lock.OpenAsReader(LockPath(m_directory), false);
    if (!hasLock && MayTakePart(m_directory)) {
        return OpenWithOthers(isAlone);  // which makes it
    }
    for (int attempt = 1;; ++attempt) {
        // Invariant 14: held and announced before the look, so that whoever folds a log in sees
        // this reader or is seen.
        m_lock.HoldFiles();
        m_lock.BeginChoosingSnapshot();
        if (!HasLog(m_directory)) {
            return ReadWithoutLog(hasLock);
        }
        if (MayTakePart(m_directory)) {
            m_lock.Close();
            return OpenWithOthers(isAlone);
        }
        // A user who may not write makes no index. Logs come and go meanwhile, then it is tried
        // again.
        m_lock.LetFilesGo();
        try {
            return ReadFromLog();
        } catch (const ORQBasFailure& failure) {
            // Io: log or index went away between the look and the opening. Busy: an owner is just
            // opening or closing. Both may be gone at the next attempt.
            const bool mayPass = failure.Kind() == ORQBasFailureKind::Io ||
                                 failure.Kind() == ORQBasFailureKind::Busy;
            if (!mayPass) {
                throw;
            }
            if (attempt == kAttempts) {
                throw ORQBasFailure(failure.Kind(),
                                    failure.Text() +
                                        "; this user may not write here and has to be able to "
                                        "read the log that was found, catalogue.sqlite-wal, and "
                                        "its index, catalogue.sqlite-shm");
            }
        }
        Reset();
        usleep(static_cast<useconds_t>(100 * attempt));
    }
}

void Engine::ReadFromLog() {
    // The index is mapped as it is. SQLite would else want to write to it, or to make it.
    ConnectToExisting(UriOf(CataloguePath(m_directory)) + "?readonly_shm=1",
                      SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    Start();
}

void Engine::ReadWithoutLog(bool holdsFiles) {
    if (!holdsFiles && !IsOnReadOnlyFileSystem(m_directory)) {
        throw ORQBasFailure(ORQBasFailureKind::Io,
                            LockPath(m_directory) +
                                ": is missing or cannot be read; this user may not write here, and "
                                "without it would not see that somebody else does");
    }
    // Immutable: SQLite neither locks nor looks for a log. Without this it opens no catalogue with
    // a log in a directory that it cannot write to.
    m_isWithoutLog = true;
    ConnectToExisting(UriOf(CataloguePath(m_directory)) + "?immutable=1",
                      SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    m_connection->ShowItReads();
    Start();
}

void Engine::Start() {
    OpenCatalogue();
    if (!m_writable) {
        // Invariant 6: announced before the snapshot, marked after it.
        m_lock.BeginChoosingSnapshot();
    }
    const State state = TakeFirstSnapshot();
    m_catalogue->SetFormatVersion(state.format);
    See(state);
    if (!m_writable) {
        m_lock.MarkSnapshot(m_generation);
    }
    // Last, since the state says which identity the file must have and how far it must reach.
    m_file.Open(BulkPath(m_directory), m_writable, m_identity, m_chunks->BulkEnd());
}

// Whether the main file and the log are of one time; see FoldStamp.
bool Engine::IsOneState() {
    const FoldStamp stamp = m_connection->ReadFoldStamp();
    std::uint32_t noted = 0;
    m_connection->ForEachRow("PRAGMA user_version", [&](const std::vector<Value>& row) {
        noted = static_cast<std::uint32_t>(std::get<std::int64_t>(row[0]));
    });
    return (stamp.isWhole && noted == stamp.fold) ||
           stamp.IsContinuedBy(m_connection->CommittedLog(), noted);
}

// Before rows are read: our statements run on tables that are as we made them, or not at all. Mostly
// all are of the present version, and one look at the schema is enough; else the state says which
// version they have to be of.
Engine::State Engine::ReadFirstState() {
    const bool isPresent = HasSchemaOf(*m_connection, kFormatVersion);
    if (!isPresent) {
        CheckStateTable(*m_connection);
    }
    const State state = ReadState();
    if (!isPresent || state.format != kFormatVersion) {
        CheckSchema(*m_connection, state.format);
    }
    return state;
}

// Beside a writer the log may begin anew between two looks, where the snapshot needs nothing of it;
// the next snapshot sees the new one.
Engine::State Engine::TakeFirstSnapshot() {
    // With the pauses some 25 ms in all: a writer begins its log anew once in many commits.
    constexpr int kAttempts = 10;
    for (int attempt = 1;; ++attempt) {
        const State state = TakeSnapshot(&Engine::ReadFirstState);
        if (IsOneState()) {
            return state;
        }
        EndSnapshot();
        if (attempt == kAttempts) {
            m_connection->FailDamaged(kIsMixedCopy);
        }
        usleep(static_cast<useconds_t>(500 * attempt));
    }
}

// As before Start.
void Engine::Reset() {
    m_chunks.reset();
    m_space.reset();
    m_catalogue.reset();
    m_connection.reset();
    m_file.Close();
}

Engine::~Engine() {
    std::erase(AllEngines(), this);
    if (!m_isOpen) {
        return;  // what was found may be anything; it stays as it is
    }
    // After a failure or inside a transaction, what this handle holds for the end may be wrong.
    const bool isClean = m_writable && !IsInMemory() && !m_refused && Depth() == 0;
    if (isClean && m_file.Reaches(m_chunks->BulkEnd() + 1)) {
        try {
            // While rows can still be read; CutOffBulk below goes by the outcome.
            m_chunks->CheckPlaces();
        } catch (...) {
            // Then it is not cut.
        }
    }
    // Without a log there is nothing to fold, whoever holds the files.
    m_connection->FoldLogAtClose(!m_isWithoutLog && !m_keepsLog && !m_lock.AreFilesHeld());
    DropConnection();
    if (isClean) {
        CutOffBulk();
    }
    if (m_isWithoutLog) {
        FoldLeftLog();
    }
}

// A writer that closed meanwhile has left its log, so that the held file stays as it was. Who reads
// that log and closes last folds it in.
void Engine::FoldLeftLog() noexcept {
    try {
        m_lock.Close();
        if (HasLog(m_place) && MayTakePart(m_place) &&
            LockFile::WriterOf(LockPath(m_place)).empty()) {
            Open(m_place, false);
        }
    } catch (...) {
        // Then the next one who may write does it.
    }
}

void Engine::DropConnection() {
    m_recorder.reset();
    m_catalogue.reset();
    if (sqlite3_get_autocommit(m_connection->Handle()) == 0) {
        m_connection->Try(Connection::Bound::Rollback);
    }
    m_connection.reset();
}

void Engine::PrepareNewFile(Connection& catalogue) {
    // In this order: reserved bytes and page size are fixed by the first page that is written, and
    // setting the application ID writes it. The log comes last, since with it the page size is
    // fixed too. Nothing waits for the disk: whoever makes a file puts it there as a whole.
    catalogue.Execute("PRAGMA synchronous = OFF");
    SetPageSizes(catalogue);
    catalogue.Execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
    catalogue.Execute("PRAGMA journal_mode = WAL");
}

std::map<std::string, std::int64_t> Engine::UsualRoots(int format) {
    Connection catalogue(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr,
                         ":memory:");
    SetPageSizes(catalogue);
    CreateSchema(catalogue, format);
    std::map<std::string, std::int64_t> roots;
    catalogue.ForEachRow(
        "SELECT name, rootpage FROM sqlite_schema", [&](const std::vector<Value>& row) {
            roots[std::string(std::get<std::string_view>(row[0]))] = std::get<std::int64_t>(row[1]);
        });
    return roots;
}

// Who writes now leaves the held file as it is (invariant 14), so the newer states are in the log
// alone.
std::unique_ptr<Store> Engine::OpenNewer() {
    if (!m_isWithoutLog) {
        return nullptr;
    }
    const auto refuse = [&] {
        throw ORQBasFailure(
            ORQBasFailureKind::Refused,
            m_directory + ": was moved or replaced since it was opened; open it again");
    };
    if (!m_lock.IsInPlace(LockPath(m_place))) {
        refuse();
    }
    if (!HasLog(m_place)) {
        return nullptr;
    }
    auto newer = Open(m_place, false, false);
    if (newer->m_identity != m_identity) {
        refuse();
    }
    newer->m_directory = m_directory;
    return newer;
}

}  // namespace orq::storage
