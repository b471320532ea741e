// Walks answer questions that come in the order of their keys, a little apart, as questions about
// objects do that are looked at in the order in which they were made: a statement stays on its row
// between them. To go on to the next row costs a quarter of what finding it costs.
#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "Sqlite.h"

namespace orq::storage {

// One kind of question: the rows whose first columns in some order are equal to given keys.
struct RowQuestion {
    static constexpr std::size_t kMostKeys = 7;
    using Keys = std::array<std::int64_t, kMostKeys>;  // behind those that count there are zeros

    Connection& connection;
    std::string sql;           // answers whole rows in order, from given keys on
    std::vector<int> columns;  // where the keys stand in a row
};

class RowWalk {
  public:
    using Keys = RowQuestion::Keys;

    explicit RowWalk(const RowQuestion& question) : m_question(question) {}
    ~RowWalk() { sqlite3_finalize(m_statement); }
    RowWalk(const RowWalk&) = delete;
    RowWalk& operator=(const RowWalk&) = delete;

    // Whether the keys are those of the last question or a little behind them, and it has ended.
    bool Follows(const Keys& keys) const;
    // Begins a question, which lasts up to End(). Answers false and begins nothing where few have
    // followed one another so far, or where the first row that is not before the keys turns out to
    // be far. REQUIRES: the keys follow.
    bool Begin(const Keys& keys);
    // As Cursor::Next() does.
    bool Next();
    void End();
    // Another statement answers this question; the next one may follow it. REQUIRES: the last
    // question has ended.
    void Leave(const Keys& keys);
    // The rows may be others from here on. A question that has begun goes on as it was.
    void Forget();

    bool IsAsked() const { return m_isAsked; }
    sqlite3_stmt* Statement() const { return m_statement; }

  private:
    enum class Place { Nowhere, OnRow, BehindAll };

    // Questions that have to follow one another before a walk is worth its statement.
    static constexpr int kAtFirst = 2;
    static constexpr int kAfterFailure = 16;

    // False where the row is far, or cannot be reached: a failure of another statement outdates
    // those that stand on rows, which says nothing about the rows that are wanted now.
    bool GoOn();
    void FindFirst();
    // Answers SQLite's result code; in no place after any but ROW and DONE.
    int TryStep();
    void Step();
    void Reset();
    // Of the row to the keys of the question.
    std::strong_ordering Compare() const;
    bool IsOnAnswer() const { return m_place == Place::OnRow && Compare() == 0; }

    const RowQuestion& m_question;
    sqlite3_stmt* m_statement = nullptr;  // made when it is first needed
    Keys m_keys{};                        // of the last question
    Place m_place = Place::Nowhere;
    bool m_isAtFirst = false;    // stands on the first row that is not before `m_keys`
    bool m_isAsked = false;      // the question has begun and not ended
    bool m_hasAnswered = false;  // with a row, or that there is none
    bool m_isOutdated = false;   // what comes after the question has to be found anew
    int m_nToLeave = kAtFirst;   // questions that have to follow first
};

// The walks for one kind of question: some, since what is gone through may be in turns.
class RowWalks {
  public:
    RowWalks(Connection& connection, std::string sql, std::vector<int> columns)
        : m_question{connection, std::move(sql), std::move(columns)} {}

    // The walk on which the question has begun; null where it follows none.
    RowWalk* Begin(const RowWalk::Keys& keys);
    void Forget();

  private:
    RowQuestion m_question;
    std::array<RowWalk, 3> m_walks{RowWalk(m_question), RowWalk(m_question), RowWalk(m_question)};
    std::size_t m_oldest = 0;  // of those that did not serve
};

}  // namespace orq::storage
