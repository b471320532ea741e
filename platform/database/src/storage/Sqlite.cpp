#include "Sqlite.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include "ORQBasFailure.h"
#include "PageChecksumVfs.h"

namespace orq::storage {

namespace {

ORQBasFailureKind KindOf(int code) {
    switch (code & 0xff) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_FORMAT:
            return ORQBasFailureKind::Damaged;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return ORQBasFailureKind::Busy;
        case SQLITE_MISUSE:
        // The only constraints of the schema are its keys: a row was inserted twice.
        case SQLITE_CONSTRAINT:
            return ORQBasFailureKind::Usage;
        default:
            // IOERR_DATA is what the checksum shim returns for a page that differs. A short read is
            // a page behind the end of the file, which was cut.
            return code == SQLITE_IOERR_DATA || code == SQLITE_IOERR_SHORT_READ
                       ? ORQBasFailureKind::Damaged
                       : ORQBasFailureKind::Io;
    }
}

// What the system said of the call that failed; empty where SQLite does not keep it. A write for
// which there is no space has a code of its own instead.
std::string SystemText(sqlite3* handle, int code) {
    if ((code & 0xff) == SQLITE_FULL) {
        return std::string(" (") + std::strerror(ENOSPC) + ")";
    }
    const int system = handle != nullptr ? sqlite3_system_errno(handle) : 0;
    return system != 0 && KindOf(code) == ORQBasFailureKind::Io
               ? std::string(" (") + std::strerror(system) + ")"
               : "";
}

bool IsOfSharedMemory(int code) {
    return code == SQLITE_IOERR_SHMOPEN || code == SQLITE_IOERR_SHMSIZE ||
           code == SQLITE_IOERR_SHMMAP || code == SQLITE_IOERR_SHMLOCK;
}

std::string ErrorText(sqlite3* handle, int code) {
    const std::string system = SystemText(handle, code);
    if (IsOfSharedMemory(code)) {
        const int error = handle != nullptr ? sqlite3_system_errno(handle) : 0;
        // What can be otherwise in a moment, unlike a file system that has no shared memory at all.
        const bool isForNow = error == ENOSPC || error == EDQUOT || error == EIO ||
                              error == EMFILE || error == ENFILE || error == ENOMEM;
        return isForNow
                   ? "the shared memory that a database in use needs cannot be made beside it" +
                         system
                   : "the file system does not give the shared memory that a database in use "
                     "needs; it has to be copied to a local disk" +
                         system;
    }
    return (handle != nullptr ? sqlite3_errmsg(handle) : sqlite3_errstr(code)) + system;
}

constexpr const char* kBounds[] = {"BEGIN", "BEGIN IMMEDIATE", "COMMIT", "ROLLBACK"};

int ReadAt(sqlite3_file* file, std::int64_t offset, std::span<std::byte> bytes) {
    return file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()), offset);
}

// SQLite's running checksum over a log.
class LogChecksum {
  public:
    explicit LogChecksum(bool isBigEndian) : m_isBigEndian(isBigEndian) {}

    // REQUIRES: a multiple of 8 bytes.
    void Add(std::span<const std::byte> bytes) {
        for (std::size_t at = 0; at < bytes.size(); at += 8) {
            m_first += Word(bytes, at) + m_second;
            m_second += Word(bytes, at + 4) + m_first;
        }
    }
    bool Equals(std::uint32_t first, std::uint32_t second) const {
        return m_first == first && m_second == second;
    }
    void Set(std::uint32_t first, std::uint32_t second) {
        m_first = first;
        m_second = second;
    }

  private:
    std::uint32_t Word(std::span<const std::byte> bytes, std::size_t at) const {
        const std::uint32_t word = BigEndian(bytes, at);
        return m_isBigEndian ? word : __builtin_bswap32(word);
    }

    bool m_isBigEndian;
    std::uint32_t m_first = 0;
    std::uint32_t m_second = 0;
};

}  // namespace

std::uint32_t BigEndian(std::span<const std::byte> bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (const std::byte digit : bytes.subspan(at, 4)) {
        value = value << 8 | std::to_integer<std::uint32_t>(digit);
    }
    return value;
}

namespace {

// The log is a header of 32 bytes and frames: 24 bytes and a page. A frame counts when its salts
// are the header's, its checksum, which goes on from the frame before it, is right, and the
// transaction that it belongs to was committed. See "WAL-mode File Format" of SQLite.
class LogFrames {
  public:
    explicit LogFrames(const ReadLog& read) : m_read(read) {
        constexpr std::uint32_t kMagic = 0x377f0682;  // plus 1 for checksums by big-endian words
        m_isLog = m_read(0, m_header) && (BigEndian(m_header, 0) | 1) == (kMagic | 1);
        m_sum = LogChecksum(BigEndian(m_header, 0) != kMagic);
        m_sum.Add(std::span(m_header).first(24));
    }

    // Moves to the next (at first, the first) frame; false where the log ends.
    bool Next() {
        m_at += std::exchange(m_step, static_cast<std::int64_t>(m_frame.size()));
        if (!m_isLog || !m_read(m_at, m_frame)) {
            return false;
        }
        m_sum.Add(std::span(m_frame).first(8));
        m_sum.Add(std::span(m_frame).subspan(kFrameHeader));
        return true;
    }
    bool HasSalts() const {
        return std::ranges::equal(std::span(m_frame).subspan(8, 8),
                                  std::span(m_header).subspan(16, 8));
    }
    bool IsValid() const {
        return HasSalts() && m_sum.Equals(BigEndian(m_frame, 16), BigEndian(m_frame, 20));
    }
    LogSalts Salts() const {
        LogSalts salts{};
        std::copy_n(m_header.begin() + 16, salts.size(), salts.begin());
        return salts;
    }
    bool IsCommit() const { return BigEndian(m_frame, 4) != 0; }
    std::int64_t Page() const { return BigEndian(m_frame, 0); }
    std::int64_t PagePlace() const { return m_at + static_cast<std::int64_t>(kFrameHeader); }
    // What follows is compared as if this frame were right.
    void Trust() { m_sum.Set(BigEndian(m_frame, 16), BigEndian(m_frame, 20)); }

  private:
    static constexpr std::size_t kHeader = 32;
    static constexpr std::size_t kFrameHeader = 24;

    const ReadLog& m_read;
    bool m_isLog = false;
    std::array<std::byte, kHeader> m_header{};
    std::array<std::byte, kFrameHeader + kCataloguePageSize> m_frame{};
    LogChecksum m_sum{false};
    std::int64_t m_at = 0;
    std::int64_t m_step = kHeader;
};

}  // namespace

PlacesInLog FindPagesInLog(const ReadLog& read) {
    PlacesInLog places;
    PlacesInLog ofTransaction;
    for (LogFrames frames(read); frames.Next() && frames.IsValid();) {
        ofTransaction[frames.Page()] = frames.PagePlace();
        if (frames.IsCommit()) {
            ofTransaction.merge(places);
            places = std::exchange(ofTransaction, {});
        }
    }
    return places;
}

LogExtent MeasureLog(const ReadLog& read) {
    LogExtent log;
    LogFrames frames(read);
    for (std::uint32_t n = 1; frames.Next() && frames.IsValid(); ++n) {
        log.nFrames = frames.IsCommit() ? n : log.nFrames;
    }
    log.salts = frames.Salts();
    return log;
}

// Behind a frame that is not right the log may go on, each frame with the right checksum from the
// one before. Power that fails in a commit leaves the rest of that one; a second one was begun when
// the first had returned.
int CountCommitsLostInLog(const ReadLog& read) {
    LogFrames frames(read);
    bool isFrame = false;
    while ((isFrame = frames.Next()) && frames.IsValid()) {
    }
    int nCommits = 0;
    if (isFrame && frames.HasSalts()) {
        do {
            nCommits += frames.IsCommit() ? 1 : 0;
            frames.Trust();
        } while (frames.Next() && frames.IsValid());
    }
    return std::max(0, nCommits - 1);
}

Connection::Connection(const std::string& name, int flags, const char* vfs, std::string shownPath)
    : m_path(std::move(shownPath)) {
    const int code = sqlite3_open_v2(name.c_str(), &m_handle, flags | SQLITE_OPEN_NOMUTEX, vfs);
    if (code != SQLITE_OK) {
        const std::string why = ErrorText(m_handle, code);
        Close();
        throw ORQBasFailure(KindOf(code), m_path + ": cannot open the catalogue: " + why);
    }
    // KindOf and Fail tell failures apart by the extended codes.
    sqlite3_extended_result_codes(m_handle, 1);
    DistrustSchema();
    // Whoever opens or closes last locks all others out for a moment.
    sqlite3_busy_timeout(m_handle, kLockPatience);
    const auto noteLength = [](void* self, sqlite3*, const char*, int nFrames) {
        static_cast<Connection*>(self)->m_nLogFrames = nFrames;
        return SQLITE_OK;
    };
    // Takes the place of SQLite's own hook, which folds the log within the call that commits.
    // FoldLongLog does so afterwards, and waits for readers now and then.
    sqlite3_wal_hook(m_handle, noteLength, this);
    try {
        PrepareBounds();
    } catch (...) {
        Close();
        throw;
    }
}

// What a file's schema says is run with our statements; what it may do is kept small, also while
// it is not yet known to be ours.
void Connection::DistrustSchema() {
    constexpr std::pair<int, int> kSwitches[] = {{SQLITE_DBCONFIG_DEFENSIVE, 1},
                                                 {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
                                                 {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0},
                                                 {SQLITE_DBCONFIG_ENABLE_VIEW, 0}};
    for (const auto& [what, state] : kSwitches) {
        Check(sqlite3_db_config(m_handle, what, state, nullptr), "keep the schema from acting");
    }
    // Above what our own statements need.
    constexpr std::pair<int, int> kLimits[] = {
        {SQLITE_LIMIT_SQL_LENGTH, 20'000},      {SQLITE_LIMIT_COLUMN, 50},
        {SQLITE_LIMIT_EXPR_DEPTH, 20},          {SQLITE_LIMIT_COMPOUND_SELECT, 2},
        {SQLITE_LIMIT_FUNCTION_ARG, 8},         {SQLITE_LIMIT_ATTACHED, 0},
        {SQLITE_LIMIT_TRIGGER_DEPTH, 1},        {SQLITE_LIMIT_WORKER_THREADS, 0},
        {SQLITE_LIMIT_LIKE_PATTERN_LENGTH, 100}};
    for (const auto& [what, most] : kLimits) {
        sqlite3_limit(m_handle, what, most);
    }
}

Connection::~Connection() {
    Close();
}

void Connection::FoldLongLog() noexcept {
    // SQLite's own default.
    constexpr int kLong = 1000;  // frames, of some 2 KB
    constexpr int kVeryLong = 4 * kLong;
    constexpr int kPatience = 100;  // milliseconds
    if (m_nLogFrames < kLong) {
        m_restartLogAt = kVeryLong;
        return;
    }
    // A passive fold never waits. One that lets the log begin anew waits for its readers, so it is
    // tried only when the log is very long, and then each time it has grown by kLong.
    const bool restarts = m_nLogFrames >= m_restartLogAt;
    sqlite3_busy_timeout(m_handle, kPatience);
    sqlite3_wal_checkpoint_v2(m_handle, nullptr,
                              restarts ? SQLITE_CHECKPOINT_RESTART : SQLITE_CHECKPOINT_PASSIVE,
                              nullptr, nullptr);
    sqlite3_busy_timeout(m_handle, kLockPatience);
    if (restarts) {
        m_restartLogAt = m_nLogFrames + kLong;
    }
}

void Connection::FoldLogAtClose(bool folds) noexcept {
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, folds ? 0 : 1, nullptr);
}

void Connection::Close() noexcept {
    // Before closing: SQLite keeps a connection open that has statements.
    for (sqlite3_stmt*& statement : m_bounds) {
        sqlite3_finalize(std::exchange(statement, nullptr));
    }
    sqlite3_close_v2(m_handle);
    m_handle = nullptr;
}

void Connection::PrepareBounds() {
    for (std::size_t i = 0; i < m_bounds.size(); ++i) {
        sqlite3_finalize(std::exchange(m_bounds[i], nullptr));
        m_bounds[i] = Prepare(kBounds[i]);
    }
}

int Connection::Try(Bound bound) noexcept {
    sqlite3_stmt* statement = m_bounds[static_cast<std::size_t>(bound)];
    const int code = sqlite3_step(statement);
    sqlite3_reset(statement);
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

void Connection::Do(Bound bound) {
    Check(Try(bound), kBounds[static_cast<std::size_t>(bound)]);
}

void Connection::Execute(const char* sql) {
    Check(sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr), sql);
}

void Connection::ShowItReads() const {
    sqlite3_file* file = File(SQLITE_FCNTL_FILE_POINTER);
    file->pMethods->xLock(file, SQLITE_LOCK_SHARED);
}

void Connection::CheckWritable() const {
    if (sqlite3_db_readonly(m_handle, "main") != 0) {
        throw ORQBasFailure(ORQBasFailureKind::Io,
                            m_path + ": cannot open for writing: " + std::strerror(EACCES));
    }
}

sqlite3_stmt* Connection::Prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    // With the zero byte counted, SQLite compiles the text where it lies instead of copying it.
    Check(sqlite3_prepare_v3(m_handle, sql.c_str(), static_cast<int>(sql.size()) + 1,
                             SQLITE_PREPARE_PERSISTENT, &statement, nullptr),
          sql);
    return statement;
}

void Connection::ForEachRow(const char* sql,
                            const std::function<void(const std::vector<Value>&)>& onRow) {
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> query(Prepare(sql),
                                                                      sqlite3_finalize);
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(query.get())) == SQLITE_ROW) {
        onRow(ValuesOf(query.get()));
    }
    if (code != SQLITE_DONE) {
        Fail(code, sql);
    }
}

sqlite3_file* Connection::File(int which) const {
    sqlite3_file* file = nullptr;
    Check(sqlite3_file_control(m_handle, "main", which, &file), "find the catalogue's file");
    return file;
}

std::int64_t Connection::FileSize() const {
    sqlite3_file* file = File(SQLITE_FCNTL_FILE_POINTER);
    sqlite3_int64 size = 0;
    Check(file->pMethods->xFileSize(file, &size), "ask for the catalogue's size");
    return size;
}

int Connection::ReadFile(std::int64_t offset, std::span<std::byte> bytes) const {
    return ReadAt(File(SQLITE_FCNTL_FILE_POINTER), offset, bytes);
}

FoldStamp Connection::ReadFoldStamp() const {
    FoldStamp::Bytes bytes{};
    if (ReadFile(FoldStamp::kOffset, bytes) != SQLITE_OK) {
        ORQBasThrowSystemFailure(m_path, "read");
    }
    const auto stamp = FoldStamp::Decode(bytes);
    if (!stamp) {
        FailDamaged("page 1 of the catalogue is damaged (checksum of its stamp differs)");
    }
    return *stamp;
}

ReadLog Connection::LogReader() const {
    return [log = File(SQLITE_FCNTL_JOURNAL_POINTER)](std::int64_t offset,
                                                      std::span<std::byte> bytes) {
        return log->pMethods != nullptr && ReadAt(log, offset, bytes) == SQLITE_OK;
    };
}

LogExtent Connection::CommittedLog() const {
    const auto inIndex = LogExtentInIndex(File(SQLITE_FCNTL_FILE_POINTER));
    return inIndex ? *inIndex : MeasureLog(LogReader());
}

void Connection::Fail(int code, std::string_view doing) const {
    std::string text = m_path + ": ";
    if (code == SQLITE_IOERR_DATA) {
        const PageDamage damage = LastPageDamage();
        text += damage.isNewerThanStamp ? kIsMixedCopy
                                        : "page " + std::to_string(damage.page) +
                                              " of the catalogue is damaged (checksum differs)";
    } else if ((code & 0xff) == SQLITE_NOMEM) {
        text += "memory has run out";  // SQLite would take some to say so
    } else {
        text += ErrorText(m_handle, code);
        text += ", in: ";
        text += doing.substr(0, 80);
    }
    const int error = sqlite3_system_errno(m_handle);
    if ((IsOfSharedMemory(code) || (code & 0xff) == SQLITE_CANTOPEN) &&
        (error == ENOSPC || error == EDQUOT)) {
        throw NoSpaceForLogIndex(ORQBasFailureKind::Io, std::move(text));
    }
    throw ORQBasFailure(KindOf(code), std::move(text));
}

void Connection::FailDamaged(std::string_view text) const {
    throw ORQBasFailure(ORQBasFailureKind::Damaged, m_path + ": " + std::string(text));
}

std::vector<Value> ValuesOf(sqlite3_stmt* statement) {
    const int nColumns = sqlite3_data_count(statement);
    std::vector<Value> values;
    values.reserve(static_cast<std::size_t>(nColumns));
    for (int i = 0; i < nColumns; ++i) {
        switch (sqlite3_column_type(statement, i)) {
            case SQLITE_INTEGER:
                values.emplace_back(std::int64_t{sqlite3_column_int64(statement, i)});
                break;
            case SQLITE_FLOAT:
                values.emplace_back(sqlite3_column_double(statement, i));
                break;
            case SQLITE_TEXT:
                // Not column_text, which copies the text to end it with a zero byte, and returns
                // null where there is no memory for that.
                values.emplace_back(
                    std::string_view(static_cast<const char*>(sqlite3_column_blob(statement, i)),
                                     static_cast<std::size_t>(sqlite3_column_bytes(statement, i))));
                break;
            case SQLITE_BLOB:
                values.emplace_back(
                    std::span(static_cast<const std::byte*>(sqlite3_column_blob(statement, i)),
                              static_cast<std::size_t>(sqlite3_column_bytes(statement, i))));
                break;
            default:
                values.emplace_back(nullptr);
        }
    }
    return values;
}

int BindValue(sqlite3_stmt* statement, int index, double value) {
    return sqlite3_bind_double(statement, index, value);
}

int BindValue(sqlite3_stmt* statement, int index, std::string_view text) {
    // A null pointer would bind NULL; an empty name is a name.
    return sqlite3_bind_text64(statement, index, text.data() != nullptr ? text.data() : "",
                               text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

int BindValue(sqlite3_stmt* statement, int index, std::span<const std::byte> blob) {
    if (blob.empty()) {
        return sqlite3_bind_zeroblob(statement, index, 0);
    }
    return sqlite3_bind_blob64(statement, index, blob.data(), blob.size(), SQLITE_STATIC);
}

int BindValue(sqlite3_stmt* statement, int index, std::nullptr_t) {
    return sqlite3_bind_null(statement, index);
}

int BindValue(sqlite3_stmt* statement, int index, const Value& value) {
    return std::visit([&](const auto& held) { return BindValue(statement, index, held); }, value);
}

}  // namespace orq::storage
