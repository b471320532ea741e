// SQLite as a user would hold the same rows in it.
#pragma once

#include <sqlite3.h>

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Harness.h"

namespace storage_benchmark {

class Sqlite {
  public:
    Sqlite(const std::filesystem::path& path, int flags) {
        Check(sqlite3_open_v2(path.c_str(), &m_handle, flags, nullptr));
    }
    ~Sqlite() { sqlite3_close(m_handle); }
    Sqlite(const Sqlite&) = delete;
    Sqlite& operator=(const Sqlite&) = delete;

    void Execute(const std::string& sql) {
        Check(sqlite3_exec(m_handle, sql.c_str(), nullptr, nullptr, nullptr));
    }
    sqlite3* Handle() { return m_handle; }
    void Check(int code) {
        Require(code == SQLITE_OK || code == SQLITE_DONE || code == SQLITE_ROW,
                std::string("SQLite: ") + sqlite3_errmsg(m_handle));
    }

  private:
    sqlite3* m_handle = nullptr;
};

class Statement {
  public:
    Statement(Sqlite& sqlite, const char* sql) : m_sqlite(sqlite) {
        sqlite.Check(sqlite3_prepare_v3(sqlite.Handle(), sql, -1, SQLITE_PREPARE_PERSISTENT,
                                        &m_statement, nullptr));
    }
    ~Statement() { sqlite3_finalize(m_statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Binds, steps once and calls f() for the row, if there is one.
    template <class F, class... Values>
    void Ask(F&& f, const Values&... values) {
        int index = 0;
        (Bind(++index, values), ...);
        const int code = sqlite3_step(m_statement);
        m_sqlite.Check(code);
        if (code == SQLITE_ROW) {
            f();
        }
        sqlite3_reset(m_statement);
    }
    template <class... Values>
    void Run(const Values&... values) {
        Ask([] {}, values...);
    }
    std::int64_t Int(int column) const { return sqlite3_column_int64(m_statement, column); }
    double Double(int column) const { return sqlite3_column_double(m_statement, column); }
    std::string Text(int column) const {
        const auto* text = sqlite3_column_text(m_statement, column);
        return text == nullptr ? "" : reinterpret_cast<const char*>(text);
    }
    // Until the next step.
    std::span<const std::byte> Bytes(int column) const {
        const auto* blob = static_cast<const std::byte*>(sqlite3_column_blob(m_statement, column));
        return {blob, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
    }
    bool Step() {
        const int code = sqlite3_step(m_statement);
        m_sqlite.Check(code);
        return code == SQLITE_ROW;
    }

  private:
    void Bind(int index, std::integral auto value) {
        sqlite3_bind_int64(m_statement, index, value);
    }
    void Bind(int index, std::string_view text) {
        sqlite3_bind_text64(m_statement, index, text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8);
    }
    void Bind(int index, double value) { sqlite3_bind_double(m_statement, index, value); }
    void Bind(int index, std::span<const std::byte> blob) {
        sqlite3_bind_blob64(m_statement, index, blob.data(), blob.size(), SQLITE_STATIC);
    }

    Sqlite& m_sqlite;
    sqlite3_stmt* m_statement = nullptr;
};

// An empty SQLite database with the tables, indices and settings of a catalogue of ours.
std::unique_ptr<Sqlite> LikeCatalogue(const Settings& settings);

}  // namespace storage_benchmark
