// A connection to PostgreSQL: prepared statements sent one behind the other and answered together,
// so that what belongs together costs one round trip.
#pragma once

#include <libpq-fe.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orq::storage {

using PgConnection = std::unique_ptr<PGconn, decltype(&PQfinish)>;

/// A value of a statement, in the binary form of the wire.
class Parameter {
  public:
    Parameter(std::int64_t number);    // bigint
    Parameter(int number);             // bigint
    Parameter(std::string_view text);  // text
    Parameter(const std::string& text) : Parameter(std::string_view(text)) {}
    Parameter(std::span<const std::byte> bytes);  // bytea; both are not copied

    Oid Type() const { return m_type; }
    const char* Data() const { return m_isNumber ? m_number.data() : m_data; }
    int Size() const { return m_size; }

  private:
    Oid m_type;
    bool m_isNumber = false;
    std::array<char, 8> m_number{};
    const char* m_data = nullptr;
    int m_size = 0;
};

/// The rows that answer one statement.
class Answer {
  public:
    explicit Answer(PGresult* result) : m_result(result, PQclear) {}

    int NumRows() const { return PQntuples(m_result.get()); }
    bool IsNull(int row, int column) const { return PQgetisnull(m_result.get(), row, column) != 0; }
    /// The value of a bigint. Throws Damaged where the store gives another type.
    std::int64_t Number(int row, int column) const;
    std::string_view Text(int row, int column) const;
    std::span<const std::byte> Bytes(int row, int column) const;

  private:
    std::unique_ptr<PGresult, decltype(&PQclear)> m_result;
};

class PostgresLink {
  public:
    /// `shown` names the model in messages.
    PostgresLink(std::string conninfo, std::string shown)
        : m_conninfo(std::move(conninfo)), m_shown(std::move(shown)) {}
    /// A connection that is in order is kept for the next link of this process to the same store:
    /// making one takes some 5 ms, asking for a head 0.2.
    ~PostgresLink();
    PostgresLink(const PostgresLink&) = delete;
    PostgresLink& operator=(const PostgresLink&) = delete;

    /// Sends a statement; `sql` is a literal, prepared once in each connection. Connects first where
    /// there is no connection.
    void Send(const char* sql, std::span<const Parameter> parameters = {});
    template <class... Values>
    void Send(const char* sql, const Values&... values) {
        const Parameter parameters[] = {Parameter(values)...};
        Send(sql, std::span<const Parameter>(parameters));
    }
    /// Waits for the answers of all that was sent. Throws what the store refused: the connection is
    /// given up then, and with it a transaction that was open.
    std::vector<Answer> Finish();
    /// The same, but calls `take` with each row as it comes, while the store goes on sending: an
    /// answer of one row. What it throws gives the connection up.
    void FinishByRow(const std::function<void(const Answer& row)>& take);

    template <class... Values>
    Answer Ask(const char* sql, const Values&... values) {
        Send(sql, values...);
        return std::move(Finish().front());
    }

    /// Whether Finish threw since the store refused a row whose key is taken.
    static bool IsTaken(std::string_view state) { return state == "23505"; }
    /// Or since what it was asked met what another connection did.
    static bool HasMet(std::string_view state) {
        return IsTaken(state) || state == "40001" || state == "40P01";
    }
    /// The code of the last refusal.
    const std::string& LastState() const { return m_lastState; }
    void Disconnect() noexcept;

  private:
    void Connect();
    bool TakeKept();
    void Flush();
    [[noreturn]] void FailLost();
    [[noreturn]] void FailRefused(const PGresult* result);
    using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;
    // Calls take(answer) with those that are wanted; returns the first refusal, or null.
    template <class Take>
    Result TakeAnswers(bool byRow, const Take& take);
    template <class Take>
    void FinishWith(bool byRow, const Take& take);

    std::string m_conninfo;
    std::string m_defaults;  // of libpq when it was connected
    std::string m_shown;
    PgConnection m_connection{nullptr, PQfinish};
    std::set<const char*> m_prepared;
    std::vector<bool> m_sent;   // of each statement that was sent: whether its answer is wanted
    std::size_t m_waiting = 0;  // bytes of statements, to be sent together
    std::string m_lastState;
};

}  // namespace orq::storage
