// A thin, exact cover over the SQLite calls that the catalogue needs: every failure becomes an
// ORQBasFailure that names the file, statements are owned, and nothing is copied on the way.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "FoldStamp.h"
#include "ORQBasFailure.h"
#include "ProcessMark.h"

namespace orq::storage {

// Four bytes as SQLite stores numbers. REQUIRES: they are in the span.
std::uint32_t BigEndian(std::span<const std::byte> bytes, std::size_t at);

// Fills a span from an offset of a log; false where it ends.
using ReadLog = std::function<bool(std::int64_t offset, std::span<std::byte>)>;

// Where in a log the last committed content of each page (from 1) lies: what the main file has in
// their places does not count.
using PlacesInLog = std::map<std::int64_t, std::int64_t>;
PlacesInLog FindPagesInLog(const ReadLog& read);
// How far a log is committed.
LogExtent MeasureLog(const ReadLog& read);
// The least number of commits that are lost behind the first damaged frame of a log. Damage in the
// last commit looks like power that failed before it returned, and does not count.
int CountCommitsLostInLog(const ReadLog& read);

// A value of any type, as the columns of a row hold them; text and blobs lie with the row.
using Value = std::variant<std::nullptr_t, std::int64_t, double, std::string_view,
                           std::span<const std::byte>>;
// All columns of the row that a statement stands on, valid until its next step.
std::vector<Value> ValuesOf(sqlite3_stmt* statement);

// There is no space for the log's index, through which the users of a database agree on what is in
// the log. A single user can do without it; see Connection::UseAlone.
class NoSpaceForLogIndex : public ORQBasFailure {
  public:
    using ORQBasFailure::ORQBasFailure;
};

class Connection {
  public:
    static constexpr int kLockPatience = 10'000;  // milliseconds

    // `flags` are those of sqlite3_open_v2; `vfs` names a registered VFS, null for the default one.
    Connection(const std::string& name, int flags, const char* vfs, std::string shownPath);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // To be called before rows are read or changed (invariant 12). SQLite ends a transaction by
    // itself when memory runs out or the disk fails; each statement after that would be a
    // transaction of its own, on whatever state is the newest. Where the transaction is lost, or
    // this is a forked process, this calls the action below, which begins it again or refuses.
    void NeedTransaction() {
        if (sqlite3_get_autocommit(m_handle) != 0 || m_process.IsForked()) {
            m_onLoss();
        }
    }
    void WhenTransactionIsLost(std::function<void()> action) { m_onLoss = std::move(action); }

    // The statements that begin and end transactions are prepared beforehand, so that one can be
    // ended when memory has run out. Configuring the connection outdates them: prepare them again.
    enum class Bound { Begin, BeginToWrite, Commit, Rollback, Count };
    void PrepareBounds();
    // Returns SQLite's result code.
    int Try(Bound bound) noexcept;
    void Do(Bound bound);

    // Runs one or more statements that return no rows (rows are dropped).
    void Execute(const char* sql);
    // Runs one query; calls `onRow` with each row of the result.
    void ForEachRow(const char* sql, const std::function<void(const std::vector<Value>&)>& onRow);
    sqlite3_stmt* Prepare(const std::string& sql);
    [[noreturn]] void Fail(int code, std::string_view doing) const;
    // Throws Damaged with the file's name in front of the text.
    [[noreturn]] void FailDamaged(std::string_view text) const;
    void Check(int code, std::string_view doing) const {
        if (code != SQLITE_OK) {
            Fail(code, doing);
        }
    }
    sqlite3* Handle() const { return m_handle; }
    // SQLite opens for reading what it may not write.
    void CheckWritable() const;

    // The database's main file as it lies on the disk, without what is still in the log. It is read
    // through SQLite's descriptor: closing one of ours would end, for the whole process, the locks
    // that keep other processes from deleting the log (invariant 7).
    std::int64_t FileSize() const;
    // Returns SQLite's result code.
    int ReadFile(std::int64_t offset, std::span<std::byte> bytes) const;
    // The stamp in the main file. Throws Damaged.
    FoldStamp ReadFoldStamp() const;
    // Reads the open log. Valid while the connection is open.
    ReadLog LogReader() const;
    // How far the log is committed. By its index where there is one: a commit whose frames a writer
    // is still bringing to the disk stands in the log, but not yet for readers.
    LogExtent CommittedLog() const;

    // Folds a long log into the main file, as far as readers allow. The log begins anew instead of
    // growing only when no reader uses it, so now and then this waits a short while for readers of
    // a very long one. A failure costs nothing: the next commit tries again. REQUIRES: no
    // transaction.
    void FoldLongLog() noexcept;
    // Keeps all others out and makes no index beside the files. REQUIRES: nothing was read yet.
    void UseAlone() { Execute("PRAGMA locking_mode = EXCLUSIVE"); }
    // Of a file that is read without a log: other programs that use SQLite see that somebody reads
    // it, and fold no log in when they close. Ours go by the lock file, so a failure is passed over.
    void ShowItReads() const;
    // Whether the last close folds the log into the main file; at first it does.
    void FoldLogAtClose(bool folds) noexcept;
    // Closes; with the last connection the log is folded into the main file. Failing to fold is no
    // loss (the log stays and is read at the next opening), so nothing is thrown.
    void Close() noexcept;

  private:
    void DistrustSchema();
    // The file that SQLITE_FCNTL_FILE_POINTER or SQLITE_FCNTL_JOURNAL_POINTER means.
    sqlite3_file* File(int which) const;

    const ProcessMark m_process;
    sqlite3* m_handle = nullptr;
    std::string m_path;
    int m_nLogFrames = 0;    // as of the last commit
    int m_restartLogAt = 0;  // from so many frames on it is tried to begin the log anew
    std::array<sqlite3_stmt*, static_cast<std::size_t>(Bound::Count)> m_bounds{};
    std::function<void()> m_onLoss;
};

// Binding by type; text and blobs are not copied, so they must live until the statement is reset.
inline int BindValue(sqlite3_stmt* statement, int index, std::int64_t value) {
    return sqlite3_bind_int64(statement, index, value);
}
inline int BindValue(sqlite3_stmt* statement, int index, int value) {
    return sqlite3_bind_int64(statement, index, value);
}
int BindValue(sqlite3_stmt* statement, int index, double value);
int BindValue(sqlite3_stmt* statement, int index, std::string_view text);
int BindValue(sqlite3_stmt* statement, int index, std::span<const std::byte> blob);
int BindValue(sqlite3_stmt* statement, int index, std::nullptr_t);

int BindValue(sqlite3_stmt* statement, int index, const Value& value);

// The same for the keys of a query, whose rows are read later: text is copied.
inline int BindKey(sqlite3_stmt* statement, int index, std::int64_t value) {
    return sqlite3_bind_int64(statement, index, value);
}
inline int BindKey(sqlite3_stmt* statement, int index, std::string_view text) {
    return sqlite3_bind_text64(statement, index, text.data() != nullptr ? text.data() : "",
                               text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

}  // namespace orq::storage
