#include "PostgresLink.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <numeric>

#include "../ProcessMark.h"
#include "ORQBasFailure.h"
#include "RemoteStore.h"

namespace orq::storage {

namespace {

// Types of the wire protocol.
constexpr Oid kBytea = 17;
constexpr Oid kBigint = 20;
constexpr Oid kText = 25;

std::string NameOfStatement(const char* sql) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "orq_%p", static_cast<const void*>(sql));
    return name.data();
}

// libpq's texts end in a line break, and may have several lines.
std::string OneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const bool isBlank = c == '\n' || c == '\t' || c == ' ';
        if (!isBlank) {
            line += c;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    while (!line.empty() && line.back() == ' ') {
        line.pop_back();
    }
    return line;
}

bool IsRefusal(ExecStatusType status) {
    return status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK && status != PGRES_SINGLE_TUPLE;
}

// The one of the last link that ended. Never destroyed, as the list of databases.
struct KeptConnection {
    std::string conninfo;
    std::string defaults;
    timespec since{};
    ProcessMark process;
    PgConnection connection{nullptr, PQfinish};
    std::set<const char*> prepared;
};

KeptConnection& Kept() {
    static auto& kept = *new KeptConnection;
    return kept;
}

// A process that forked has the other one's: to end it here would end it there.
void LeaveWhatIsOfOtherProcess(KeptConnection& kept) {
    if (kept.process.IsOther()) {
        [[maybe_unused]] PGconn* const left = kept.connection.release();
    }
}

// What libpq takes where a URL does not say it, as from PGHOST and PGUSER: a program may change it.
std::string Defaults() {
    std::string text;
    PQconninfoOption* const options = PQconndefaults();
    for (const PQconninfoOption* option = options; option != nullptr && option->keyword != nullptr;
         ++option) {
        text += option->val == nullptr ? "" : std::string(option->keyword) + "=" + option->val;
        text += '\n';
    }
    PQconninfoFree(options);
    return text;
}

// Counts while the machine sleeps, too.
timespec Now() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now;
}

// Nothing comes unasked but the end: of a server that stopped, or of a line that keepalives gave up.
bool IsQuiet(PGconn* connection) {
    pollfd wait{PQsocket(connection), POLLIN, 0};
    return poll(&wait, 1, 0) == 0;
}

}  // namespace

Parameter::Parameter(std::int64_t number) : m_type(kBigint), m_isNumber(true), m_size(8) {
    for (std::size_t i = 0; i < m_number.size(); ++i) {
        m_number[i] = static_cast<char>(static_cast<std::uint64_t>(number) >> (56 - 8 * i));
    }
}

Parameter::Parameter(int number) : Parameter(std::int64_t{number}) {}

Parameter::Parameter(std::string_view text)
    : m_type(kText),
      m_data(text.data() != nullptr ? text.data() : ""),
      m_size(static_cast<int>(text.size())) {}

Parameter::Parameter(std::span<const std::byte> bytes)
    : m_type(kBytea),
      m_data(bytes.empty() ? "" : reinterpret_cast<const char*>(bytes.data())),
      m_size(static_cast<int>(bytes.size())) {}

std::int64_t Answer::Number(int row, int column) const {
    if (PQftype(m_result.get(), column) != kBigint ||
        PQgetlength(m_result.get(), row, column) != 8) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            "the store gave no number where one is due");
    }
    const char* data = PQgetvalue(m_result.get(), row, column);
    std::uint64_t number = 0;
    for (int i = 0; i < 8; ++i) {
        number = number << 8 | static_cast<unsigned char>(data[i]);
    }
    return static_cast<std::int64_t>(number);
}

std::string_view Answer::Text(int row, int column) const {
    return {PQgetvalue(m_result.get(), row, column),
            static_cast<std::size_t>(PQgetlength(m_result.get(), row, column))};
}

std::span<const std::byte> Answer::Bytes(int row, int column) const {
    const std::string_view text = Text(row, column);
    return std::as_bytes(std::span(text.data(), text.size()));
}

PostgresLink::~PostgresLink() {
    KeptConnection& kept = Kept();
    LeaveWhatIsOfOtherProcess(kept);
    if (m_connection != nullptr && PQstatus(m_connection.get()) == CONNECTION_OK &&
        m_sent.empty() && PQtransactionStatus(m_connection.get()) == PQTRANS_IDLE) {
        kept = {std::move(m_conninfo), std::move(m_defaults),   Now(),
                ProcessMark(),         std::move(m_connection), std::move(m_prepared)};
    }
}

bool PostgresLink::TakeKept() {
    // After longer the line may be gone without a word, which would be waited for.
    constexpr time_t kMostSeconds = 10;
    KeptConnection& kept = Kept();
    LeaveWhatIsOfOtherProcess(kept);
    if (kept.connection == nullptr || kept.conninfo != m_conninfo || kept.defaults != m_defaults ||
        Now().tv_sec - kept.since.tv_sec > kMostSeconds || !IsQuiet(kept.connection.get())) {
        return false;
    }
    m_connection = std::move(kept.connection);
    m_prepared = std::move(kept.prepared);
    return true;
}

void PostgresLink::Connect() {
    m_defaults = Defaults();
    if (TakeKept()) {
        return;
    }
    // The URL comes last, so that what it says counts. A store that does not answer is one that
    // cannot be reached, within a time that somebody would wait.
    // Keepalives show that a host has gone which was only waited for.
    const std::array<const char*, 9> names = {
        "connect_timeout",     "tcp_user_timeout", "keepalives_idle",
        "keepalives_interval", "keepalives_count", "fallback_application_name",
        "client_encoding",     "dbname",           nullptr};
    const std::array<const char*, 9> values = {
        "10", "30000", "10", "5", "4", "orqmodel", "UTF8", m_conninfo.c_str(), nullptr};
    m_connection.reset(PQconnectdbParams(names.data(), values.data(), 1));
    if (PQstatus(m_connection.get()) != CONNECTION_OK) {
        FailLost();
    }
    PQsetNoticeProcessor(
        m_connection.get(), [](void*, const char*) {}, nullptr);
    // Sending never waits for the store to read, which may itself wait for its answers to be read.
    if (PQsetnonblocking(m_connection.get(), 1) != 0 ||
        PQenterPipelineMode(m_connection.get()) != 1) {
        FailLost();
    }
}

void PostgresLink::Disconnect() noexcept {
    m_connection.reset();
    m_prepared.clear();
    m_sent.clear();
    m_waiting = 0;
}

void PostgresLink::FailLost() {
    const std::string why = OneLine(PQerrorMessage(m_connection.get()));
    Disconnect();
    throw StoreUnreachable(ORQBasFailureKind::Io,
                           m_shown + ": the store cannot be reached: " + why);
}

void PostgresLink::FailRefused(const PGresult* result) {
    const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
    m_lastState = state != nullptr ? state : "";
    const char* primary = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
    const std::string why = OneLine(primary != nullptr ? primary : PQresultErrorMessage(result));
    const bool isOver = PQstatus(m_connection.get()) != CONNECTION_OK || m_lastState.empty() ||
                        m_lastState.starts_with("57P") || m_lastState.starts_with("08") ||
                        m_lastState == "40003";  // whether it was done is not known
    Disconnect();
    if (isOver) {
        throw StoreUnreachable(ORQBasFailureKind::Io,
                               m_shown + ": the store ended the connection: " + why);
    }
    if (m_lastState == "42P01" || m_lastState == "42703") {
        ORQBasThrowUsage(
            m_shown +
            ": the store lacks tables or columns for models (orqmodel init-store makes "
            "them): " +
            why);
    }
    throw ORQBasFailure(ORQBasFailureKind::Io, m_shown + ": the store refused: " + why);
}

// Sends what waits to be sent, and takes in what comes meanwhile.
void PostgresLink::Flush() {
    int left = 0;
    while ((left = PQflush(m_connection.get())) == 1) {
        pollfd wait{PQsocket(m_connection.get()), POLLIN | POLLOUT, 0};
        if (poll(&wait, 1, -1) < 0 && errno != EINTR) {
            FailLost();
        }
        if ((wait.revents & POLLIN) != 0 && PQconsumeInput(m_connection.get()) == 0) {
            FailLost();
        }
    }
    if (left < 0) {
        FailLost();
    }
    m_waiting = 0;
}

void PostgresLink::Send(const char* sql, std::span<const Parameter> parameters) {
    if (m_connection == nullptr) {
        Connect();
    }
    std::vector<Oid> types;
    std::vector<const char*> values;
    std::vector<int> sizes;
    for (const Parameter& parameter : parameters) {
        types.push_back(parameter.Type());
        values.push_back(parameter.Data());
        sizes.push_back(parameter.Size());
    }
    const std::vector<int> formats(parameters.size(), 1);  // binary
    const int n = static_cast<int>(parameters.size());
    const std::string name = NameOfStatement(sql);
    if (m_prepared.insert(sql).second) {
        if (PQsendPrepare(m_connection.get(), name.c_str(), sql, n, types.data()) == 0) {
            FailLost();
        }
        m_sent.push_back(false);
    }
    if (PQsendQueryPrepared(m_connection.get(), name.c_str(), n, values.data(), sizes.data(),
                            formats.data(), 1) == 0) {
        FailLost();
    }
    m_sent.push_back(true);
    // Small ones go together: each would be a packet of its own, and the store would answer the first
    // before it has the last.
    constexpr std::size_t kTogether = 64 << 10;
    m_waiting +=
        std::strlen(sql) + static_cast<std::size_t>(std::reduce(sizes.begin(), sizes.end()));
    if (m_waiting >= kTogether) {
        Flush();
    }
}

// Each statement is answered by one result, or by one for each row and one more, and by a null one.
template <class Take>
PostgresLink::Result PostgresLink::TakeAnswers(bool byRow, const Take& take) {
    Result refused(nullptr, PQclear);
    for (const bool isWanted : m_sent) {
        if (isWanted && byRow) {
            PQsetSingleRowMode(m_connection.get());  // else all rows come as one answer
        }
        Result result(PQgetResult(m_connection.get()), PQclear);
        if (result == nullptr) {
            FailLost();
        }
        while (result != nullptr) {
            const ExecStatusType status = PQresultStatus(result.get());
            if (!IsRefusal(status)) {
                if (isWanted) {
                    take(Answer(result.release()));
                }
            } else if (refused == nullptr && status != PGRES_PIPELINE_ABORTED) {
                // Statements behind the one that was refused are not even tried.
                refused = std::move(result);
            }
            result.reset(PQgetResult(m_connection.get()));
        }
        if (PQstatus(m_connection.get()) != CONNECTION_OK) {
            break;
        }
    }
    return refused;
}

template <class Take>
void PostgresLink::FinishWith(bool byRow, const Take& take) {
    if (PQpipelineSync(m_connection.get()) == 0) {
        FailLost();
    }
    Flush();
    if (const Result refused = TakeAnswers(byRow, take); refused != nullptr) {
        FailRefused(refused.get());
    }
    const Result end(PQgetResult(m_connection.get()), PQclear);
    if (end == nullptr || PQresultStatus(end.get()) != PGRES_PIPELINE_SYNC) {
        FailLost();
    }
    m_sent.clear();
}

std::vector<Answer> PostgresLink::Finish() {
    std::vector<Answer> answers;
    FinishWith(false, [&](Answer answer) { answers.push_back(std::move(answer)); });
    return answers;
}

void PostgresLink::FinishByRow(const std::function<void(const Answer& row)>& take) {
    try {
        FinishWith(true, [&](const Answer& answer) {
            if (answer.NumRows() > 0) {
                take(answer);
            }
        });
    } catch (...) {
        Disconnect();  // with the rows that were not taken
        throw;
    }
}

}  // namespace orq::storage
