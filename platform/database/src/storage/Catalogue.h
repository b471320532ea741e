// The catalogue: typed rows in a few tables, read and written by key. What the columns mean is
// settled by the database layer; docs/storage-format.md describes every table.
//
// Rows are reached by a prefix of their key, in key order, or through one of the named indices.
// There is no other access, so a store of rows of another make can take SQLite's place.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Change.h"
#include "RowWalk.h"
#include "Schema.h"
#include "Sqlite.h"

namespace orq::storage {

class Catalogue;

// Rows of one question, one at a time. Text and blobs are valid until the next call of Next and at
// most until the cursor ends.
class Cursor {
  public:
    Cursor(Cursor&& other) noexcept;
    Cursor& operator=(Cursor&&) = delete;
    ~Cursor();

    // Moves to the next (at first, the first) row; false when there is none.
    [[nodiscard]] bool Next();

    // These throw Damaged where the value is of another type than is asked for, or none that its
    // column may have.
    std::int64_t Int(int column) const {
        const std::int64_t value = sqlite3_column_int64(m_statement, column);
        if (sqlite3_column_type(m_statement, column) != SQLITE_INTEGER ||
            !m_columns[column].MayBe(value)) {
            Refuse();
        }
        return value;
    }
    int Int32(int column) const {
        const std::int64_t value = Int(column);
        if (value != static_cast<int>(value)) {
            Refuse();
        }
        return static_cast<int>(value);
    }
    double Double(int column) const;
    std::string_view Text(int column) const;
    std::span<const std::byte> Blob(int column) const;
    // ProblemOfRow of all its columns.
    std::string Problem() const;

  private:
    friend class Catalogue;
    Cursor(Catalogue& catalogue, std::vector<sqlite3_stmt*>& home, sqlite3_stmt* statement,
           Table table)
        : m_catalogue(catalogue),
          m_home(&home),
          m_statement(statement),
          m_table(table),
          m_columns(Shape(table).columns.begin()) {}
    Cursor(Catalogue& catalogue, RowWalk& walk, Table table)
        : m_catalogue(catalogue),
          m_walk(&walk),
          m_statement(walk.Statement()),
          m_table(table),
          m_columns(Shape(table).columns.begin()) {}
    [[noreturn]] void Refuse() const;

    Catalogue& m_catalogue;
    // Where the statement comes from: one of the two.
    std::vector<sqlite3_stmt*>* m_home = nullptr;
    RowWalk* m_walk = nullptr;
    sqlite3_stmt* m_statement;
    Table m_table;
    const Column* m_columns;
};

class Catalogue {
  public:
    explicit Catalogue(Connection& connection) : m_connection(connection) {}
    ~Catalogue();
    Catalogue(const Catalogue&) = delete;
    Catalogue& operator=(const Catalogue&) = delete;

    // One row, all columns in order. Where the key is taken, Insert throws, InsertNew changes
    // nothing and answers false, and Put replaces.
    template <class... Values>
    void Insert(Table table, const Values&... values) {
        Run(table, Write::Insert, values...);
    }
    template <class... Values>
    bool InsertNew(Table table, const Values&... values) {
        Run(table, Write::InsertNew, values...);
        return sqlite3_changes(m_connection.Handle()) > 0;
    }
    template <class... Values>
    void Put(Table table, const Values&... values) {
        Run(table, Write::Put, values...);
    }
    // InsertNew of a row whose values are all there, in order. REQUIRES: as many as NumColumns.
    bool InsertNewRow(Table table, std::span<const Value> row);
    // Removes every row whose key begins with these values; answers how many.
    template <class... Keys>
    int Erase(Table table, const Keys&... keys) {
        Run(table, EraseBy(sizeof...(Keys)), keys...);
        return sqlite3_changes(m_connection.Handle());
    }

    template <class... Keys>
    Cursor Find(Table table, const Keys&... keys) {
        return Ask(Question::Find, static_cast<int>(table), keys...);
    }
    // The last row (by key) among those whose key begins with these values.
    template <class... Keys>
    Cursor FindLast(Table table, const Keys&... keys) {
        return Ask(Question::FindLast, static_cast<int>(table), keys...);
    }
    // Rows whose key begins with these values except for the last one, and whose last given key
    // column is at least the last value, in key order.
    template <class... Keys>
    Cursor FindFrom(Table table, const Keys&... keys) {
        return Ask(Question::FindFrom, static_cast<int>(table), keys...);
    }
    // Rows of the index's table whose index columns begin with these values, in index order.
    template <class... Keys>
    Cursor FindBy(Index index, const Keys&... keys) {
        return Ask(Question::FindBy, static_cast<int>(index), keys...);
    }
    // How many rows have a key that begins with these values.
    template <class... Keys>
    std::int64_t CountRows(Table table, const Keys&... keys) {
        Cursor cursor = Ask(Question::Count, static_cast<int>(table), keys...);
        return cursor.Next() ? sqlite3_column_int64(cursor.m_statement, 0) : 0;
    }

    // How many rows were written and erased so far.
    std::int64_t NumChanges() const { return sqlite3_total_changes64(m_connection.Handle()); }

    // To be called before a transaction or a snapshot ends: leaves the rows that walks stand on.
    void LeaveRows();
    // For Change.
    int& Unfinished() { return m_connection.Unfinished(); }

    static const char* NameOf(Table table) { return Shape(table).name; }
    static const char* NameOf(Index index) { return Shape(index).name; }
    static std::size_t NumColumns(Table table) { return Shape(table).columns.size(); }

  private:
    friend class Cursor;
    // Equal statements: one is taken for a question and brought back at its end, so that
    // questions can nest.
    using Pool = std::vector<sqlite3_stmt*>;

    enum class Write : int { Insert, InsertNew, Put, EraseByNone };  // then EraseByOne, ...
    enum class Question : int { Find, FindLast, FindFrom, Count, FindBy, Kinds };
    static constexpr std::size_t kMostKeys = RowQuestion::kMostKeys;
    static constexpr std::size_t kMostWays =
        std::max(static_cast<std::size_t>(Table::Count), static_cast<std::size_t>(Index::Count));

    static Write EraseBy(std::size_t nKeys) {
        return static_cast<Write>(static_cast<std::size_t>(Write::EraseByNone) + nKeys);
    }
    static Table TableOf(Question question, int what) {
        return question == Question::FindBy ? Shape(static_cast<Index>(what)).table
                                            : static_cast<Table>(what);
    }
    sqlite3_stmt* WriteStatement(Table table, Write kind);
    void RunWrite(sqlite3_stmt* statement, Table table);
    Cursor Take(Question question, int what, std::size_t nKeys);
    RowWalks& WalksOf(Question question, int what, std::size_t nKeys);

    template <class... Values>
    void Run(Table table, Write kind, const Values&... values) {
        m_connection.NeedTransaction();
        Change change(Unfinished());
        LeaveRows();
        sqlite3_stmt* statement = WriteStatement(table, kind);
        int index = 0;
        (m_connection.Check(BindValue(statement, ++index, values), "bind a value"), ...);
        RunWrite(statement, table);
        change.Finish();
    }

    template <class... Keys>
    Cursor Ask(Question question, int what, const Keys&... keys) {
        static_assert(sizeof...(Keys) < kMostKeys);
        m_connection.NeedTransaction();
        if constexpr (sizeof...(Keys) > 0 && (std::is_integral_v<Keys> && ...)) {
            if (question == Question::Find || question == Question::FindBy) {
                if (RowWalk* walk = WalksOf(question, what, sizeof...(Keys)).Begin({keys...})) {
                    return {*this, *walk, TableOf(question, what)};
                }
            }
        }
        Cursor cursor = Take(question, what, sizeof...(Keys));
        int index = 0;
        (m_connection.Check(BindKey(cursor.m_statement, ++index, keys), "bind a key"), ...);
        return cursor;
    }

    Connection& m_connection;
    std::array<std::array<sqlite3_stmt*, 3 + kMostKeys>, static_cast<std::size_t>(Table::Count)>
        m_writes{};
    // By question, table or index, and number of keys.
    template <class T>
    using ForEachQuestion = std::array<std::array<std::array<T, kMostKeys>, kMostWays>,
                                       static_cast<std::size_t>(Question::Kinds)>;
    ForEachQuestion<Pool> m_pools;
    ForEachQuestion<RowWalks*> m_walksOf{};
    std::vector<std::unique_ptr<RowWalks>> m_walks;
};

}  // namespace orq::storage
