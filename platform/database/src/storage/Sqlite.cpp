#include "Sqlite.h"

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
        case SQLITE_CONSTRAINT:
            return ORQBasFailureKind::Usage;
        default:
            return code == SQLITE_IOERR_DATA || code == SQLITE_IOERR_SHORT_READ
                       ? ORQBasFailureKind::Damaged
                       : ORQBasFailureKind::Io;
    }
}

}  // namespace

Connection::Connection(const std::string& name, int flags, const char* vfs, std::string shownPath)
    : m_path(std::move(shownPath)) {
    const int code = sqlite3_open_v2(name.c_str(), &m_handle, flags | SQLITE_OPEN_NOMUTEX, vfs);
    if (code != SQLITE_OK) {
        std::string why = m_handle != nullptr ? sqlite3_errmsg(m_handle) : sqlite3_errstr(code);
        Close();
        throw ORQBasFailure(KindOf(code), m_path + ": cannot open the catalogue: " + why);
    }
    sqlite3_extended_result_codes(m_handle, 1);
}

Connection::~Connection() {
    Close();
}

void Connection::Close() noexcept {
    sqlite3_close_v2(m_handle);
    m_handle = nullptr;
}

void Connection::Execute(const char* sql) {
    Check(sqlite3_exec(m_handle, sql, nullptr, nullptr, nullptr), sql);
}

sqlite3_stmt* Connection::Prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v3(m_handle, sql.c_str(), static_cast<int>(sql.size()) + 1,
                             SQLITE_PREPARE_PERSISTENT, &statement, nullptr),
          sql);
    return statement;
}

sqlite3_file* Connection::File() const {
    sqlite3_file* file = nullptr;
    Check(sqlite3_file_control(m_handle, "main", SQLITE_FCNTL_FILE_POINTER, &file),
          "find the catalogue's file");
    return file;
}

std::int64_t Connection::FileSize() const {
    sqlite3_file* file = File();
    sqlite3_int64 size = 0;
    Check(file->pMethods->xFileSize(file, &size), "ask for the catalogue's size");
    return size;
}

int Connection::ReadFile(std::int64_t offset, std::span<std::byte> bytes) const {
    sqlite3_file* file = File();
    return file->pMethods->xRead(file, bytes.data(), static_cast<int>(bytes.size()), offset);
}

void Connection::Fail(int code, std::string_view doing) const {
    std::string text = m_path + ": ";
    if (code == SQLITE_IOERR_DATA) {
        text += "page " + std::to_string(LastDamagedPage()) +
                " of the catalogue is damaged (checksum differs)";
    } else {
        text += sqlite3_errmsg(m_handle);
        if (const int system = sqlite3_system_errno(m_handle);
            system != 0 && KindOf(code) == ORQBasFailureKind::Io) {
            text += " (system error " + std::to_string(system) + ")";
        }
        text += ", in: ";
        text += doing.substr(0, 80);
    }
    throw ORQBasFailure(KindOf(code), std::move(text));
}

int BindValue(sqlite3_stmt* statement, int index, std::int64_t value) {
    return sqlite3_bind_int64(statement, index, value);
}

int BindValue(sqlite3_stmt* statement, int index, int value) {
    return sqlite3_bind_int64(statement, index, value);
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

}  // namespace orq::storage
