// A walk steps one statement forward for queries in ascending key order: it stays on its row
// between them. Going on to the next row costs a quarter of what finding it costs, and loops over
// objects often go in the order in which these were made.
#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "RowCodec.h"
#include "Sqlite.h"
#include "Store.h"

namespace orq::storage {

// One kind of query: the rows whose first columns in some order are equal to given keys.
struct RowQuery {
    using Keys = decltype(RowKey::numbers);

    Connection& connection;
    std::string sql;           // selects whole rows in order, from given keys on
    std::vector<int> columns;  // where the keys stand in a row
    bool areFirst;             // as its first columns
    const RowCodec& codec;
};

class RowWalk final : public RowSource {
  public:
    using Keys = RowQuery::Keys;

    explicit RowWalk(const RowQuery& query)
        : m_query(query), m_nKeys(static_cast<std::ptrdiff_t>(query.columns.size())) {}
    ~RowWalk() { sqlite3_finalize(m_statement); }

    // Whether the keys are those of the last query or a little behind them, and it has ended.
    bool Follows(const Keys& keys) const;
    // Begins a query, which lasts up to Close(). Returns false and begins nothing where few have
    // followed one another so far, or where the first row that is not before the keys turns out to
    // be far. REQUIRES: the keys follow.
    bool Begin(const Keys& keys);
    bool Next(void* row) override;
    void Close() noexcept override;
    // Another statement serves this query; the next one may follow it. REQUIRES: the last query has
    // ended.
    void Leave(const Keys& keys);
    // The rows may be others from here on. A query that has begun goes on as it was.
    void Forget();

    bool IsOpen() const { return m_isOpen; }

  private:
    enum class Place { Nowhere, OnRow, BehindAll };

    // Queries that have to follow one another before a walk is worth its statement; more of them
    // after a walk had to step far in vain.
    static constexpr int kAtFirst = 2;
    static constexpr int kAfterFailure = 16;

    // False where the row is far, or cannot be reached: a failure of another statement outdates
    // those that stand on rows, which says nothing about the rows that are wanted now.
    bool GoOn();
    void FindFirst();
    // Returns SQLite's result code; in no place after any but ROW and DONE.
    int TryStep();
    void Step();
    void Reset();
    // Of the row to the keys of the query.
    std::strong_ordering Compare() const {
        return std::lexicographical_compare_three_way(m_rowKeys.begin(),
                                                      m_rowKeys.begin() + m_nKeys, m_keys.begin(),
                                                      m_keys.begin() + m_nKeys);
    }
    bool IsOnAnswer() const { return m_place == Place::OnRow && Compare() == 0; }

    const RowQuery& m_query;
    std::ptrdiff_t m_nKeys;
    sqlite3_stmt* m_statement = nullptr;  // made when it is first needed
    Keys m_rowKeys{};                     // of the row on which it stands
    bool m_areNumbers = false;            // these keys; in a damaged row they may be anything
    Keys m_keys{};                        // of the last query
    Place m_place = Place::Nowhere;
    bool m_isAtFirst = false;    // stands on the first row that is not before `m_keys`
    bool m_isOpen = false;       // the query has begun and not ended
    bool m_hasAnswered = false;  // with a row, or that there is none
    bool m_isOutdated = false;   // rows have changed: the next query has to be found anew
    int m_nToLeave = kAtFirst;   // queries that have to follow first
};

// The walks for one kind of query: some, since a loop may go through several parts in turns.
class RowWalks {
  public:
    explicit RowWalks(RowQuery query) : m_query(std::move(query)) {}

    // The walk on which the query has begun; null where it follows none.
    RowWalk* Begin(const RowWalk::Keys& keys);
    void Forget();

  private:
    RowQuery m_query;
    std::array<RowWalk, 3> m_walks{RowWalk(m_query), RowWalk(m_query), RowWalk(m_query)};
    std::size_t m_oldest = 0;  // of those that did not serve
};

}  // namespace orq::storage
