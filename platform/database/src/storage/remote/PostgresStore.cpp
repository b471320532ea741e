#include "PostgresStore.h"

#define XXH_INLINE_ALL
#include <unistd.h>
#include <xxhash.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <limits>

namespace orq::storage {

namespace {

// No number of an object is as large; see Schema.cpp.
constexpr std::int64_t kMostObjects = std::int64_t{1} << 60;
// Values of more than this are cut into parts.
constexpr std::size_t kPart = 4 << 20;
// How long a lost answer is asked for.
std::chrono::seconds Patience() {
    constexpr int kDefault = 30;
    const char* given = std::getenv("ORQ_STORE_PATIENCE");
    const int seconds = given != nullptr ? std::atoi(given) : 0;
    return std::chrono::seconds(seconds > 0 ? seconds : kDefault);
}

// Kept in a column of signed numbers.
std::int64_t ChecksumOf(std::span<const std::byte> bytes) {
    return static_cast<std::int64_t>(XXH3_64bits(bytes.data(), bytes.size()));
}

// Calls `put` with the number and the bytes of each part; once where there are none.
template <class Put>
void ForEachPart(std::span<const std::byte> bytes, const Put& put) {
    std::size_t at = 0;
    int number = 0;
    do {
        const std::size_t size = std::min(kPart, bytes.size() - at);
        put(number++, bytes.subspan(at, size));
        at += size;
    } while (at < bytes.size());
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
        // Those that are there already are no failure.
        if (m_link.LastState() != "42710" && m_link.LastState() != "42P06") {
            left.push_back(std::string(what) + ": " + failure.Text());
        }
    }
}

std::vector<std::string> PostgresStore::Prepare() {
    m_link.Send("BEGIN");
    m_link.Send(
        "CREATE TABLE IF NOT EXISTS orq_model(name text PRIMARY KEY, identity bytea NOT NULL "
        "UNIQUE, generation bigint NOT NULL, oldest bigint NOT NULL, lease bytea, writer text, "
        "lease_until timestamp with time zone)");
    // Stores that were made before several could write lack these.
    m_link.Send(
        "ALTER TABLE orq_model ADD COLUMN IF NOT EXISTS next_object bigint NOT NULL DEFAULT 0");
    m_link.Send(
        "ALTER TABLE orq_model ADD COLUMN IF NOT EXISTS next_set bigint NOT NULL DEFAULT 0");
    m_link.Send(
        "CREATE TABLE IF NOT EXISTS orq_commit(identity bytea, generation bigint, token bytea NOT "
        "NULL, made timestamp with time zone NOT NULL, who text NOT NULL, summary text NOT NULL, "
        "changeset_bytes bigint NOT NULL, piece_bytes bigint NOT NULL, checksum bigint NOT NULL, "
        "PRIMARY KEY(identity, generation))");
    m_link.Send(
        "CREATE TABLE IF NOT EXISTS orq_changeset(identity bytea, generation bigint, part bigint, "
        "bytes bytea NOT NULL, PRIMARY KEY(identity, generation, part))");
    m_link.Send(
        "CREATE TABLE IF NOT EXISTS orq_base(identity bytea, generation bigint, part bigint, "
        "bytes bytea NOT NULL, PRIMARY KEY(identity, generation, part))");
    m_link.Send(
        "CREATE TABLE IF NOT EXISTS orq_piece(identity bytea, place bigint, generation bigint, "
        "size bigint NOT NULL, bytes bytea NOT NULL, PRIMARY KEY(identity, place, generation))");
    m_link.Send("COMMIT");
    m_link.Finish();
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
    SendHeadQuery();
    const std::vector<Answer> answers = m_link.Finish();
    const std::optional<Head> head = HeadOf(answers[1]);
    if (!head) {
        throw ORQBasFailure(ORQBasFailureKind::Io, m_shown + ": the store has no such model");
    }
    if (answers[0].NumRows() == 0) {
        FailLeased(*head);
    }
    return *head;
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
    SendHeadQuery();
    const std::vector<Answer> answers = m_link.Finish();
    const std::optional<Head> head = HeadOf(answers[1]);
    if (!head) {
        throw ORQBasFailure(ORQBasFailureKind::Io, m_shown + ": the store has no such model");
    }
    if (answers[0].NumRows() == 0) {
        if (std::max(head->next.set, next.set) > std::numeric_limits<int>::max() - count.set) {
            ORQBasThrowUsage(m_shown +
                             ": all numbers of sets and drawers are given; pull it, and "
                             "push it under another name");
        }
        FailLeased(*head);
    }
    return {answers[0].Number(0, 0) - count.object,
            static_cast<int>(answers[0].Number(0, 1)) - count.set};
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

void PostgresStore::SendState(const Identity& identity, const NewState& state) {
    std::int64_t pieceBytes = 0;
    for (const PieceView& piece : state.pieces) {
        const auto size = static_cast<std::int64_t>(piece.bytes.size());
        m_link.Send(
            "INSERT INTO orq_piece(identity, place, generation, size, bytes) VALUES($1, $2, $3, "
            "$4, $5)",
            Bytes(identity), piece.place, state.generation, size, piece.bytes);
        pieceBytes += size;
    }
    ForEachPart(state.changeset, [&](int part, std::span<const std::byte> bytes) {
        m_link.Send(
            "INSERT INTO orq_changeset(identity, generation, part, bytes) VALUES($1, $2, $3, $4)",
            Bytes(identity), state.generation, part, bytes);
    });
    m_link.Send(
        "INSERT INTO orq_commit(identity, generation, token, made, who, summary, changeset_bytes, "
        "piece_bytes, checksum) VALUES($1, $2, $3, CURRENT_TIMESTAMP, $4, $5, $6, $7, $8)",
        Bytes(identity), state.generation, Bytes(state.token), state.who, state.summary,
        static_cast<std::int64_t>(state.changeset.size()), pieceBytes, ChecksumOf(state.changeset));
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
    m_link.Send("SELECT generation FROM orq_model WHERE identity = $1 FOR UPDATE", Bytes(identity));
    m_link.Send("SELECT token FROM orq_commit WHERE identity = $1 AND generation = $2",
                Bytes(identity), state.generation);
    m_link.Send("ROLLBACK");
    const std::vector<Answer> answers = m_link.Finish();
    return answers[3].NumRows() == 1 && std::ranges::equal(answers[3].Bytes(0, 0), state.token);
}

bool PostgresStore::AskUntilAnswered(std::int64_t generation, const std::function<bool()>& ask) {
    const auto end = std::chrono::steady_clock::now() + Patience();
    for (useconds_t pause = 1000;; pause = std::min<useconds_t>(2 * pause, 500'000)) {
        try {
            return ask();
        } catch (const ORQBasFailure& failure) {
            // To be refused is no answer either: a lock that takes long, a standby for a while.
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
    try {
        m_link.Finish();
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

// --- Bases ---------------------------------------------------------------------------------------

void PostgresStore::SendBase(const Identity& identity, std::int64_t generation,
                             std::span<const std::byte> base) {
    ForEachPart(base, [&](int part, std::span<const std::byte> bytes) {
        m_link.Send(
            "INSERT INTO orq_base(identity, generation, part, bytes) VALUES($1, $2, $3, $4)",
            Bytes(identity), generation, part, bytes);
    });
}

void PostgresStore::PutBase(const Identity& identity, std::int64_t generation,
                            std::span<const std::byte> base) {
    CheckSizeOfBase(base);
    BeginChange();
    SendBase(identity, generation, base);
    m_link.Send("COMMIT");
    try {
        m_link.Finish();
    } catch (const StoreUnreachable&) {
        throw;
    } catch (const ORQBasFailure&) {
        // All of one image or of none: two of them may have their rows in different pages.
        if (!PostgresLink::HasMet(m_link.LastState())) {
            throw;
        }
    }
}

Base PostgresStore::GetBase(const Identity& identity, std::int64_t generation) {
    const Answer answer = m_link.Ask(
        "SELECT generation, part, bytes FROM orq_base WHERE identity = $1 AND generation = (SELECT "
        "max(generation) FROM orq_base WHERE identity = $1 AND generation <= $2) ORDER BY part",
        Bytes(identity), generation);
    if (answer.NumRows() == 0) {
        FailDamaged("there is no base for state " + std::to_string(generation));
    }
    return BaseOf(answer);
}

Base PostgresStore::BaseOf(const Answer& answer) const {
    Base base{answer.Number(0, 0), {}};
    for (int row = 0; row < answer.NumRows(); ++row) {
        const std::span<const std::byte> bytes = answer.Bytes(row, 2);
        if (answer.Number(row, 1) != row ||
            static_cast<std::int64_t>(base.image.size() + bytes.size()) > kMostBase) {
            FailDamaged("the base of state " + std::to_string(base.generation) +
                        " lacks a part, or is too large");
        }
        base.image.insert(base.image.end(), bytes.begin(), bytes.end());
    }
    return base;
}

std::vector<SharedCommit> PostgresStore::GetCommits(const Identity& identity, std::int64_t after,
                                                    std::int64_t last) {
    m_link.Send(
        "SELECT generation, checksum, who, CAST(date_trunc('second', made) AS text) FROM "
        "orq_commit WHERE identity = $1 AND generation > $2 AND "
        "generation <= $3 ORDER BY generation",
        Bytes(identity), after, last);
    m_link.Send(
        "SELECT generation, part, bytes FROM orq_changeset WHERE identity = $1 AND generation > $2 "
        "AND generation <= $3 ORDER BY generation, part",
        Bytes(identity), after, last);
    const std::vector<Answer> answers = m_link.Finish();
    return CommitsOf(answers[0], answers[1], after, last);
}

std::vector<SharedCommit> PostgresStore::CommitsOf(const Answer& commits, const Answer& parts,
                                                   std::int64_t after, std::int64_t last) const {
    std::vector<SharedCommit> found;
    for (int row = 0, part = 0; row < commits.NumRows(); ++row) {
        SharedCommit& commit = found.emplace_back();
        commit.generation = commits.Number(row, 0);
        commit.who = commits.Text(row, 2);
        commit.time = commits.Text(row, 3);
        for (; part < parts.NumRows() && parts.Number(part, 0) == commit.generation; ++part) {
            const std::span<const std::byte> bytes = parts.Bytes(part, 2);
            commit.changeset.insert(commit.changeset.end(), bytes.begin(), bytes.end());
        }
        if (commit.generation != after + 1 + row ||
            static_cast<std::int64_t>(commit.changeset.size()) > kMostChangeset ||
            ChecksumOf(commit.changeset) != commits.Number(row, 1)) {
            FailDamaged("the changeset of state " + std::to_string(commit.generation) +
                        " is damaged (checksum differs)");
        }
    }
    if (static_cast<std::int64_t>(found.size()) != last - after) {
        FailDamaged("the changesets from state " + std::to_string(after + 1) + " to " +
                    std::to_string(last) + " are not all there");
    }
    return found;
}

#define ORQ_STATE_OF_MODEL "LEAST($2, m.generation)"
#define ORQ_BASE_OF_STATE                                                     \
    "(SELECT max(c.generation) FROM orq_base c WHERE c.identity = m.identity" \
    " AND c.generation <= " ORQ_STATE_OF_MODEL ")"

std::optional<Newcomer> PostgresStore::GetAll(std::optional<std::int64_t> generation) {
    const std::int64_t wanted = generation.value_or(std::numeric_limits<std::int64_t>::max());
    // One state of the store for all of these.
    m_link.Send("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    SendHeadQuery();
    m_link.Send(
        "SELECT b.generation, b.part, b.bytes FROM orq_base b, orq_model m WHERE m.name = $1 AND "
        "b.identity = m.identity AND b.generation = " ORQ_BASE_OF_STATE " ORDER BY b.part",
        m_model, wanted);
    m_link.Send(
        "SELECT k.generation, k.checksum, k.who, CAST(date_trunc('second', k.made) AS text) FROM "
        "orq_commit k, orq_model m WHERE m.name = $1 AND k.identity = m.identity AND k.generation "
        "> " ORQ_BASE_OF_STATE " AND k.generation <= " ORQ_STATE_OF_MODEL " ORDER BY k.generation",
        m_model, wanted);
    m_link.Send(
        "SELECT p.generation, p.part, p.bytes FROM orq_changeset p, orq_model m WHERE m.name = $1 "
        "AND p.identity = m.identity AND p.generation > " ORQ_BASE_OF_STATE
        " AND p.generation <= " ORQ_STATE_OF_MODEL " ORDER BY p.generation, p.part",
        m_model, wanted);
    m_link.Send("COMMIT");
    const std::vector<Answer> answers = m_link.Finish();
    const std::optional<Head> head = HeadOf(answers[1]);
    if (!head) {
        return std::nullopt;
    }
    Newcomer newcomer{*head, {}, {}};
    if (answers[2].NumRows() > 0) {
        newcomer.base = BaseOf(answers[2]);
        newcomer.commits = CommitsOf(answers[3], answers[4], newcomer.base.generation,
                                     std::min(wanted, head->generation));
    }
    return newcomer;
}

#undef ORQ_STATE_OF_MODEL
#undef ORQ_BASE_OF_STATE

// --- Pieces --------------------------------------------------------------------------------------

void PostgresStore::GetPieces(const Identity& identity, std::int64_t generation,
                              std::span<const BulkFile::Place> places, const TakePiece& take) {
    for (const BulkFile::Place& place : places) {
        // No piece is longer than the bound, which lets the key find those that begin before.
        m_link.Send(
            "SELECT place, bytes FROM orq_piece WHERE identity = $1 AND place > $2 AND place < $3 "
            "AND place + size > $4 AND generation <= $5 ORDER BY generation, place",
            Bytes(identity), place.offset - kMostPiece, place.offset + place.size, place.offset,
            generation);
    }
    m_link.FinishByRow([&](const Answer& answer) {
        for (int row = 0; row < answer.NumRows(); ++row) {
            const PieceView piece{answer.Number(row, 0), answer.Bytes(row, 1)};
            if (piece.place < kBulkPage ||
                static_cast<std::int64_t>(piece.bytes.size()) > kMostPiece) {
                FailDamaged("the piece at byte " + std::to_string(piece.place) +
                            " has a wrong size or place");
            }
            take(piece);
        }
    });
}

std::vector<RemoteStore::PieceKey> PostgresStore::ListPieces(const Identity& identity,
                                                             std::int64_t generation) {
    const Answer answer = m_link.Ask(
        "SELECT place, generation, size FROM orq_piece WHERE identity = $1 AND generation <= $2 "
        "ORDER BY place",
        Bytes(identity), generation);
    std::vector<PieceKey> keys;
    for (int row = 0; row < answer.NumRows(); ++row) {
        keys.push_back({answer.Number(row, 0), answer.Number(row, 1), answer.Number(row, 2)});
    }
    return keys;
}

// --- The log -------------------------------------------------------------------------------------

std::vector<LogEntry> PostgresStore::GetLog(const Identity& identity) {
    const Answer answer = m_link.Ask(
        "SELECT generation, CAST(date_trunc('second', made) AS text), CAST(EXTRACT(EPOCH FROM "
        "CURRENT_TIMESTAMP - made) AS bigint), who, summary, changeset_bytes, piece_bytes FROM "
        "orq_commit WHERE identity = $1 ORDER BY generation DESC",
        Bytes(identity));
    std::vector<LogEntry> log;
    for (int row = 0; row < answer.NumRows(); ++row) {
        log.push_back({answer.Number(row, 0), std::string(answer.Text(row, 1)),
                       answer.Number(row, 2), std::string(answer.Text(row, 3)),
                       std::string(answer.Text(row, 4)), answer.Number(row, 5),
                       answer.Number(row, 6)});
    }
    return log;
}

void PostgresStore::DropBefore(const Identity& identity, std::int64_t oldest,
                               std::span<const PieceKey> pieces) {
    m_link.Send("BEGIN");
    m_link.Send("UPDATE orq_model SET oldest = $2 WHERE identity = $1 AND oldest <= $2",
                Bytes(identity), oldest);
    for (const PieceKey& piece : pieces) {
        m_link.Send("DELETE FROM orq_piece WHERE identity = $1 AND place = $2 AND generation = $3",
                    Bytes(identity), piece.place, piece.generation);
    }
    m_link.Send("DELETE FROM orq_changeset WHERE identity = $1 AND generation <= $2",
                Bytes(identity), oldest);
    m_link.Send("DELETE FROM orq_base WHERE identity = $1 AND generation < $2", Bytes(identity),
                oldest);
    m_link.Send("DELETE FROM orq_commit WHERE identity = $1 AND generation < $2", Bytes(identity),
                oldest);
    m_link.Send("COMMIT");
    m_link.Finish();
}

void PostgresStore::FailDamaged(const std::string& text) const {
    throw ORQBasFailure(ORQBasFailureKind::Damaged, m_shown + ": " + text);
}

}  // namespace orq::storage
