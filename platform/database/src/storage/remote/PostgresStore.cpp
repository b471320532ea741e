#include "PostgresStore.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>

#include "PostgresTables.h"

namespace orq::storage {

namespace {

// No number of an object is as large; see Schema.cpp.
constexpr std::int64_t kMostObjects = std::int64_t{1} << 60;
// How long a lost answer is asked for.
std::chrono::seconds Patience() {
    constexpr int kDefault = 30;
    const char* given = std::getenv("ORQ_STORE_PATIENCE");
    const int seconds = given != nullptr ? std::atoi(given) : 0;
    return std::chrono::seconds(seconds > 0 ? seconds : kDefault);
}

}  // namespace

// --- Making room ---------------------------------------------------------------------------------

void PostgresStore::TryToPrepare(const char* sql, const char* what,
                                 std::vector<std::string>& left) {
    try {
        m_link.Ask(sql);
    } catch (const StoreUnreachable&) {
        throw;
    } catch (const ORQBasFailure& failure) {
        // Roles that are there already are no failure.
        if (m_link.LastState() != "42710" && m_link.LastState() != "42P06") {
            left.push_back(std::string(what) + ": " + failure.Text());
        }
    }
}

std::vector<std::string> PostgresStore::Prepare() {
    m_link.Send("BEGIN");
    SendToMakeTables(m_link);
    SendTableQueries(m_link);
    // Before it is committed: tables of somebody else stay as they are.
    CheckOrGiveUp(m_link.Finish());
    m_link.Ask("COMMIT");
    std::vector<std::string> left;
    // Arrays of numbers hardly shrink, and trying takes most of the time of a commit.
    TryToPrepare("ALTER TABLE orq_piece ALTER COLUMN bytes SET STORAGE EXTERNAL",
                 "pieces are stored compressed", left);
    TryToPrepare("CREATE ROLE orq_reader NOLOGIN", "the role orq_reader was not made", left);
    TryToPrepare("CREATE ROLE orq_writer NOLOGIN", "the role orq_writer was not made", left);
    TryToPrepare(
        "GRANT SELECT ON orq_model, orq_commit, orq_changeset, orq_base, orq_piece TO "
        "orq_reader, orq_writer",
        "the right to read was not given", left);
    TryToPrepare(
        "GRANT INSERT, DELETE ON orq_model, orq_commit, orq_changeset, orq_base, "
        "orq_piece TO orq_writer",
        "the right to write was not given", left);
    TryToPrepare("GRANT UPDATE ON orq_model TO orq_writer", "the right to move heads was not given",
                 left);
    return left;
}

// What was sent is undone where the tables are not as they should be.
void PostgresStore::CheckOrGiveUp(const std::vector<Answer>& answers) {
    try {
        CheckTables(answers, m_shown);
    } catch (...) {
        m_link.Disconnect();
        throw;
    }
}

// --- Heads and leases ----------------------------------------------------------------------------

void PostgresStore::SendHeadQuery() {
    m_link.Send(
        "SELECT identity, generation, oldest, CASE WHEN lease IS NULL OR lease_until < "
        "CURRENT_TIMESTAMP THEN '' ELSE writer END, next_object, next_set FROM orq_model WHERE "
        "name = $1",
        m_model);
}

std::optional<Head> PostgresStore::HeadOf(const Answer& answer) const {
    if (answer.NumRows() == 0) {
        return std::nullopt;
    }
    Head head;
    const std::span<const std::byte> identity = answer.Bytes(0, 0);
    head.generation = answer.Number(0, 1);
    head.oldest = answer.Number(0, 2);
    head.writer = answer.Text(0, 3);
    head.next = {answer.Number(0, 4), static_cast<int>(answer.Number(0, 5))};
    if (identity.size() != head.identity.size() || head.oldest < 1 ||
        head.generation < head.oldest || answer.Number(0, 5) != head.next.set ||
        head.next.set < 0 || head.next.object < 0 || head.next.object > kMostObjects) {
        FailDamaged("its head makes no sense");
    }
    std::ranges::copy(identity, head.identity.begin());
    return head;
}

std::optional<Head> PostgresStore::GetHead() {
    SendHeadQuery();
    return HeadOf(m_link.Finish().front());
}

Head PostgresStore::TakeLease(const Token& lease, const std::string& who, int seconds) {
    m_link.Send(
        "UPDATE orq_model SET lease = $2, writer = $3, lease_until = CURRENT_TIMESTAMP + $4 * "
        "interval '1 second' WHERE name = $1 AND (lease IS NULL OR lease = $2 OR lease_until < "
        "CURRENT_TIMESTAMP) RETURNING generation",
        m_model, Bytes(lease), who, seconds);
    const Leasing leasing = FinishLeasing();
    if (leasing.answer.NumRows() == 0) {
        FailLeased(leasing.head);
    }
    return leasing.head;
}

// The answer of a statement that takes something from the head's row, if it may, and what that row
// then says.
PostgresStore::Leasing PostgresStore::FinishLeasing() {
    SendHeadQuery();
    std::vector<Answer> answers = m_link.Finish();
    const std::optional<Head> head = HeadOf(answers[1]);
    if (!head) {
        throw ORQBasFailure(ORQBasFailureKind::Io, m_shown + ": the store has no such model");
    }
    return {std::move(answers[0]), *head};
}

void PostgresStore::FailLeased(const Head& head) const {
    throw ORQBasFailure(ORQBasFailureKind::Busy,
                        m_shown + ": is open for writing by " +
                            (head.writer.empty() ? "somebody else" : head.writer));
}

Numbers PostgresStore::LeaseNumbers(const Numbers& next, const Numbers& count) {
    // A lease that expired ends here: its holder may have given the same numbers.
    m_link.Send(
        "UPDATE orq_model SET next_object = GREATEST(next_object, $2) + $4, next_set = "
        "GREATEST(next_set, $3) + $5, lease = NULL WHERE name = $1 AND (lease IS NULL OR "
        "lease_until < CURRENT_TIMESTAMP) AND GREATEST(next_set, $3) + $5 <= 2147483647 RETURNING "
        "next_object, next_set",
        m_model, next.object, next.set, count.object, count.set);
    const auto& [answer, head] = FinishLeasing();
    if (answer.NumRows() == 0) {
        if (std::max(head.next.set, next.set) > std::numeric_limits<int>::max() - count.set) {
            ORQBasThrowUsage(m_shown +
                             ": all numbers of sets and drawers are given; pull it, and "
                             "push it under another name");
        }
        FailLeased(head);
    }
    return {answer.Number(0, 0) - count.object, static_cast<int>(answer.Number(0, 1)) - count.set};
}

bool PostgresStore::RenewLease(const Token& lease, int seconds) {
    return m_link
               .Ask(
                   "UPDATE orq_model SET lease_until = CURRENT_TIMESTAMP + $3 * interval '1 "
                   "second' WHERE name = $1 AND lease = $2 RETURNING generation",
                   m_model, Bytes(lease), seconds)
               .NumRows() > 0;
}

void PostgresStore::GiveLeaseBack(const Token& lease) {
    m_link.Ask("UPDATE orq_model SET lease = NULL WHERE name = $1 AND lease = $2", m_model,
               Bytes(lease));
}

// --- Commits -------------------------------------------------------------------------------------

// Before anything is sent: what is refused here leaves no transaction open.
void PostgresStore::CheckSize(const NewState& state) const {
    if (static_cast<std::int64_t>(state.changeset.size()) > kMostChangeset) {
        ORQBasThrowUsage(m_shown + ": a commit changes rows of " +
                         std::to_string(state.changeset.size()) + " bytes, and may change " +
                         std::to_string(kMostChangeset) + "; split it");
    }
}

void PostgresStore::CheckSizeOfBase(std::span<const std::byte> base) const {
    if (static_cast<std::int64_t>(base.size()) > kMostBase) {
        ORQBasThrowUsage(m_shown + ": its catalogue has " + std::to_string(base.size()) +
                         " bytes, and may have " + std::to_string(kMostBase));
    }
}

// The store ends a session that was lost, and the locks that it holds, before others lose patience.
void PostgresStore::BeginChange() {
    // The defaults of a role must not change what is seen after a wait.
    m_link.Send("BEGIN ISOLATION LEVEL READ COMMITTED");
    m_link.Send("SET LOCAL idle_in_transaction_session_timeout = 20000");
}

void PostgresStore::SendSwap(const Identity& identity, const std::optional<Lease>& lease,
                             const NewState& state) {
    if (lease) {
        m_link.Send(
            "UPDATE orq_model SET generation = $4, next_object = GREATEST(next_object, $6), "
            "next_set = GREATEST(next_set, $7), lease_until = clock_timestamp() + $5 * interval '1 "
            "second' WHERE identity = $1 AND lease = $2 AND generation = $3 RETURNING generation",
            Bytes(identity), Bytes(lease->token), state.generation - 1, state.generation,
            lease->seconds, state.next.object, state.next.set);
    } else {
        m_link.Send(
            "UPDATE orq_model SET generation = $3, next_object = GREATEST(next_object, $4), "
            "next_set = GREATEST(next_set, $5), lease = NULL WHERE identity = $1 AND generation = "
            "$2 AND (lease IS NULL OR lease_until < clock_timestamp()) RETURNING generation",
            Bytes(identity), state.generation - 1, state.generation, state.next.object,
            state.next.set);
    }
}

void PostgresStore::Commit(const Identity& identity, const std::optional<Lease>& lease,
                           const NewState& state, bool holdsHead) {
    CheckSize(state);
    BeginChange();
    if (holdsHead) {
        m_link.Send("SELECT generation FROM orq_model WHERE identity = $1 FOR UPDATE",
                    Bytes(identity));
    }
    SendState(identity, state);
    // Last, since it holds the row until the end: nobody waits while pieces are sent.
    SendSwap(identity, lease, state);
    bool isMoved = false;
    try {
        isMoved = m_link.Finish().back().NumRows() == 0;
    } catch (const StoreUnreachable&) {
        throw;  // COMMIT was not sent, so the store undoes it
    } catch (const ORQBasFailure&) {
        const std::string& why = m_link.LastState();
        if (!(lease ? PostgresLink::IsTaken(why) : PostgresLink::HasMet(why))) {
            throw;
        }
        isMoved = true;
    }
    if (isMoved) {
        m_link.Disconnect();  // which undoes it
        FailMoved(identity, lease, state);
    }
    try {
        m_link.Ask("COMMIT");
    } catch (const StoreUnreachable&) {
        if (!AskUntilAnswered(state.generation, [&] { return WasCommitted(identity, state); })) {
            throw;
        }
    }
}

void PostgresStore::FailMoved(const Identity& identity, const std::optional<Lease>& lease,
                              const NewState& state) {
    SendHeadQuery();
    m_link.Send(
        "SELECT who, CAST(date_trunc('second', made) AS text), summary FROM orq_commit WHERE "
        "identity = $1 AND generation = $2",
        Bytes(identity), state.generation);
    const std::vector<Answer> answers = m_link.Finish();
    const std::optional<Head> head = HeadOf(answers[0]);
    const std::string text =
        m_shown + ": state " + std::to_string(state.generation) + " was not committed: ";
    const auto fail = [&](const std::string& why) {
        throw HeadMoved(ORQBasFailureKind::Busy, text + why + "; open the model again");
    };
    if (!head || head->identity != identity) {
        fail("the model is gone from the store");
    }
    if (head->generation >= state.generation && answers[1].NumRows() > 0) {
        fail(std::string(answers[1].Text(0, 0)) + " has committed it at " +
             std::string(answers[1].Text(0, 1)) + " (" + std::string(answers[1].Text(0, 2)) + ")");
    }
    if (head->generation >= state.generation) {
        fail("somebody else has committed state " + std::to_string(head->generation));
    }
    const std::string writer = head->writer.empty() ? "somebody else" : head->writer;
    if (lease) {
        fail("the lease to write expired and was taken by " + writer);
    }
    if (head->writer.empty()) {
        fail("another commit, which was undone, was in its way");
    }
    throw ORQBasFailure(ORQBasFailureKind::Busy, text + "the model is open for writing by " +
                                                     writer + ", alone; try it again");
}

// Waiting for the row's lock, the question is answered only when the connection that was lost, and
// which may still be committing, has come to its end.
bool PostgresStore::WasCommitted(const Identity& identity, const NewState& state) {
    // The defaults of a role must not change what is seen after the wait, nor how long it takes.
    m_link.Send("BEGIN ISOLATION LEVEL READ COMMITTED");
    m_link.Send("SET LOCAL lock_timeout = 2000");
    m_link.Send("SELECT oldest FROM orq_model WHERE identity = $1 FOR UPDATE", Bytes(identity));
    m_link.Send("SELECT token FROM orq_commit WHERE identity = $1 AND generation = $2",
                Bytes(identity), state.generation);
    m_link.Send("ROLLBACK");
    const std::vector<Answer> answers = m_link.Finish();
    if (answers[3].NumRows() > 0) {
        return std::ranges::equal(answers[3].Bytes(0, 0), state.token);
    }
    if (answers[2].NumRows() == 0 || answers[2].Number(0, 0) > state.generation) {
        throw OutcomeUnknown(ORQBasFailureKind::Refused,
                             m_shown + ": whether state " + std::to_string(state.generation) +
                                 " was committed cannot be told: the store's answer was lost, and "
                                 "its record was pruned; open the model again, and look");
    }
    return false;
}

bool PostgresStore::AskUntilAnswered(std::int64_t generation, const std::function<bool()>& ask) {
    const auto end = std::chrono::steady_clock::now() + Patience();
    for (useconds_t pause = 1000;; pause = std::min<useconds_t>(2 * pause, 500'000)) {
        try {
            return ask();
        } catch (const OutcomeUnknown&) {
            throw;  // nor will it be known later
        } catch (const ORQBasFailure& failure) {
            // A refusal is no answer either: a lock may take long, a standby may be one for a
            // while.
            if (std::chrono::steady_clock::now() > end) {
                throw OutcomeUnknown(ORQBasFailureKind::Refused,
                                     failure.Text() + "; whether state " +
                                         std::to_string(generation) +
                                         " was committed shows when the model is opened again");
            }
        }
        usleep(pause);
    }
}

void PostgresStore::PutModel(const Identity& identity, const NewState& state,
                             std::span<const std::byte> base) {
    CheckSize(state);
    CheckSizeOfBase(base);
    BeginChange();
    SendState(identity, state);
    SendBase(identity, state.generation, base);
    m_link.Send(
        "INSERT INTO orq_model(name, identity, generation, oldest, next_object, next_set) "
        "VALUES($1, $2, $3, $3, $4, $5)",
        m_model, Bytes(identity), state.generation, state.next.object, state.next.set);
    // Keys are compared, too: with wrong ones, two could commit the same state later.
    SendTableQueries(m_link);
    try {
        CheckOrGiveUp(m_link.Finish());
    } catch (const StoreUnreachable&) {
        throw;
    } catch (const ORQBasFailure&) {
        if (PostgresLink::IsTaken(m_link.LastState())) {
            ORQBasThrowUsage(m_shown + ": exists already");
        }
        throw;
    }
    try {
        m_link.Ask("COMMIT");
    } catch (const StoreUnreachable&) {
        if (!AskUntilAnswered(state.generation, [&] { return WasMade(identity); })) {
            throw;
        }
    }
}

// A row of the same identity waits for the lost connection to come to its end, and is refused if
// that has committed.
bool PostgresStore::WasMade(const Identity& identity) {
    m_link.Send("BEGIN");
    m_link.Send(
        "INSERT INTO orq_model(name, identity, generation, oldest) VALUES($1, $2, $3, $3) ON "
        "CONFLICT DO NOTHING",
        m_model, Bytes(identity), 1);
    m_link.Send("ROLLBACK");
    m_link.Finish();
    const std::optional<Head> head = GetHead();
    return head && head->identity == identity;
}

void PostgresStore::FailDamaged(const std::string& text) const {
    throw ORQBasFailure(ORQBasFailureKind::Damaged, m_shown + ": " + text);
}

}  // namespace orq::storage
