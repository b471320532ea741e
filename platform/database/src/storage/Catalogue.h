// The catalogue: the rows of a database as SQLite keeps them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "PendingNames.h"
#include "PendingObjects.h"
#include "PendingRows.h"
#include "RowWalk.h"
#include "Schema.h"
#include "Sqlite.h"
#include "Store.h"

namespace orq::storage {

class Catalogue final : public RowStore {
  public:
    explicit Catalogue(Connection& connection) : m_connection(connection) {}
    ~Catalogue() override;

    // The version of the format that the tables have. To be said when only the state has been read,
    // whose table is the same in all.
    void SetFormatVersion(int format);
    int FormatVersion() const { return m_format; }

    // InsertNew of a row whose values are all there, in order. REQUIRES: as many as columns.
    bool InsertNewRow(Table table, std::span<const Value> row);
    std::int64_t NumChanges() const override {
        return sqlite3_total_changes64(m_connection.Handle()) + m_nKeptBack;
    }
    // Rows of some tables are kept back and given to SQLite many together: to be called before a
    // level begins and before the outermost one is committed. Where writing them fails, all that
    // would write or need them from then on throws the same failure, until the level is undone.
    void WritePending();
    // To be called when a level is undone: what is kept back is of that level.
    void DropPending() noexcept;
    // Adds what is wrong with values of a table's rows, until there are so many problems.
    void VerifyValues(Table table, std::size_t most, std::vector<std::string>& problems);

    // To be called before a transaction or a snapshot ends: leaves the rows that walks stand on.
    void LeaveRows();

  private:
    enum class Query : int { Find, FindLast, FindBy, Count, Kinds };
    static constexpr std::size_t kMostKeys = RowKey::kMostNumbers + 1;
    static constexpr std::size_t kMostPaths =
        std::max(static_cast<std::size_t>(Table::Count), static_cast<std::size_t>(Index::Count));

    // A statement that serves one kind of query. Equal ones are kept for it: one is taken for a
    // query and brought back at its end, so that queries can nest.
    class StatementRows final : public RowSource {
      public:
        using Pool = std::vector<StatementRows*>;
        // `nKnown` columns, the first of a row, are numbers of the key and not selected.
        StatementRows(Connection& connection, Pool& home, const std::string& sql, Table table,
                      std::size_t nKnown);
        ~StatementRows() { sqlite3_finalize(m_statement); }

        void Bind(const RowKey& key);
        bool Step();
        sqlite3_stmt* Statement() const { return m_statement; }
        bool Next(void* row) override;
        void Close() noexcept override;

      private:
        Connection& m_connection;
        Pool& m_home;
        const RowCodec& m_codec;
        sqlite3_stmt* m_statement;
        std::size_t m_nKnown;
        decltype(RowKey::numbers) m_keys{};
    };

    // A row that is kept back.
    class PendingRow final : public RowSource {
      public:
        explicit PendingRow(std::vector<PendingRow*>& home) : m_home(home) {}
        void Show(const ObjectRow& row) {
            m_row = row;
            m_isRead = false;
        }
        bool Next(void* row) override;
        void Close() noexcept override { m_home.push_back(this); }

      private:
        std::vector<PendingRow*>& m_home;
        ObjectRow m_row;
        bool m_isRead = false;
    };

    // Of a table that the version lacks.
    class NoRows final : public RowSource {
      public:
        bool Next(void*) override { return false; }
        void Close() noexcept override {}
    };

    RowSource& FindRows(Table table, const RowKey& key) override;
    RowSource& FindLastRow(Table table, const RowKey& key) override {
        if (!HasTable(table)) {
            return m_noRows;
        }
        WritePendingOf(table);
        return Take(Query::FindLast, static_cast<int>(table), key);
    }
    RowSource& FindRowsBy(Index index, const RowKey& key) override {
        WritePendingOf(Shape(index).table);
        return Open(Query::FindBy, static_cast<int>(index), key);
    }
    std::int64_t CountRows(Table table, const RowKey& key) override;
    bool WriteRow(Table table, Write how, const void* row) override;
    int EraseRows(Table table, const RowKey& key) override;

    bool HasTable(Table table) const { return Shape(table).IsIn(m_format); }
    static Table TableOf(Query query, int what) {
        return query == Query::FindBy ? Shape(static_cast<Index>(what)).table
                                      : static_cast<Table>(what);
    }
    RowSource& Open(Query query, int what, const RowKey& key);
    StatementRows& Take(Query query, int what, const RowKey& key);
    StatementRows& Make(StatementRows::Pool& home, Query query, int what, std::size_t nKeys);
    RowWalks& WalksOf(Query query, int what, std::size_t nKeys) {
        RowWalks*& walks =
            m_walksOf[static_cast<std::size_t>(query)][static_cast<std::size_t>(what)][nKeys];
        return walks != nullptr ? *walks : *(walks = &MakeWalks(query, what, nKeys));
    }
    RowWalks& MakeWalks(Query query, int what, std::size_t nKeys);
    // Writes one row, or so many.
    static constexpr std::size_t kTogether = 64;
    sqlite3_stmt* WriteStatement(Table table, Write how, std::size_t nRows);
    int NumColumns(Table table) const;
    sqlite3_stmt* EraseStatement(Table table, std::size_t nKeys);
    void Run(sqlite3_stmt* statement, Table table);
    RowSource& TakePending(const ObjectRow& row);
    template <class Row>
    class RowBatch;
    void KeepBack(const ObjectRow& row, bool isNew);
    bool AddName(const MapEntryRow& row);
    // Calls f(pending rows) for a table of which such rows are kept back.
    template <class F>
    void WithPendingRows(Table table, F&& f);
    bool KeepBack(Table table, const void* row);
    void WriteObjects();
    void WriteNames();
    template <class Row>
    void WriteRows(PendingRows<Row>& rows);
    // Writes what is kept back, all of it or so that the next one throws the same failure.
    template <class F>
    void GiveToSqlite(F&& write);
    void WritePendingOf(Table table);
    void WriteNow(Table table, Write how, const void* row);
    // In databases of early versions: what is packed there now.
    void WriteEarlyFields(const ObjectRow& row);
    void WriteEarlyDimensions(const DrawerRow& row);

    template <class T>
    using ForEachTable = std::array<T, static_cast<std::size_t>(Table::Count)>;
    // By query, table or index, and number of keys.
    template <class T>
    using ForEachQuery = std::array<std::array<std::array<T, kMostKeys + 1>, kMostPaths>,
                                    static_cast<std::size_t>(Query::Kinds)>;

    Connection& m_connection;
    int m_format = kFormatVersion;
    // For one row and for many, by what to do where the key is taken.
    ForEachTable<std::array<std::array<sqlite3_stmt*, 3>, 2>> m_writes{};
    ForEachTable<std::array<sqlite3_stmt*, kMostKeys + 1>> m_erasures{};
    ForEachQuery<StatementRows::Pool> m_pools;
    std::vector<std::unique_ptr<StatementRows>> m_statements;
    ForEachQuery<RowWalks*> m_walksOf{};
    std::vector<std::unique_ptr<RowWalks>> m_walks;
    PendingObjects m_pending;
    PendingNames m_names;
    std::tuple<PendingRows<DistributionRow>, PendingRows<DrawerRow>, PendingRows<SmallChunkRow>>
        m_rows;
    NoRows m_noRows;
    std::exception_ptr m_failure;  // of writing what was kept back
    std::int64_t m_nKeptBack = 0;
    std::vector<PendingRow*> m_pendingPool;
    std::vector<std::unique_ptr<PendingRow>> m_pendingRows;
};

}  // namespace orq::storage
