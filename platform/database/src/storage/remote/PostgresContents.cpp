// PostgresStore: what states consist of: commits with their changesets, bases and pieces; the log, and
// dropping states.

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <limits>

#include "PostgresStore.h"

namespace orq::storage {

namespace {

// Values of more than this are cut into parts.
constexpr std::size_t kPart = 4 << 20;

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

// --- Commits -------------------------------------------------------------------------------------

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
    BeginToRead();
    m_link.Send(
        "SELECT generation, part, bytes FROM orq_base WHERE identity = $1 AND generation = (SELECT "
        "max(generation) FROM orq_base WHERE identity = $1 AND generation <= $2) ORDER BY part",
        Bytes(identity), generation);
    const std::vector<Answer> answers = FinishReading(identity, generation);
    if (answers[0].NumRows() == 0) {
        FailDamaged("there is no base for state " + std::to_string(generation));
    }
    return BaseOf(answers[0]);
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
    BeginToRead();
    m_link.Send(
        "SELECT generation, checksum, who, CAST(date_trunc('second', made) AS text) FROM "
        "orq_commit WHERE identity = $1 AND generation > $2 AND "
        "generation <= $3 ORDER BY generation",
        Bytes(identity), after, last);
    m_link.Send(
        "SELECT generation, part, bytes FROM orq_changeset WHERE identity = $1 AND generation > $2 "
        "AND generation <= $3 ORDER BY generation, part",
        Bytes(identity), after, last);
    const std::vector<Answer> answers = FinishReading(identity, after);
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

// What is sent from here on sees one state of the store, and so does the head that comes with it.
void PostgresStore::BeginToRead() {
    m_link.Send("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    SendHeadQuery();
}

// The answers of what was sent since. Throws Busy where somebody has pruned the model up to behind a
// generation that is needed.
std::vector<Answer> PostgresStore::FinishReading(const Identity& identity,
                                                 std::int64_t generation) {
    m_link.Send("COMMIT");
    std::vector<Answer> answers = m_link.Finish();
    CheckHasState(HeadOf(answers[1]), identity, generation);
    answers.erase(answers.begin(), answers.begin() + 2);
    return answers;
}

void PostgresStore::CheckHas(const Identity& identity, std::int64_t generation) {
    CheckHasState(GetHead(), identity, generation);
}

void PostgresStore::CheckHasState(const std::optional<Head>& head, const Identity& identity,
                                  std::int64_t generation) const {
    if (!head || head->identity != identity) {
        throw ORQBasFailure(ORQBasFailureKind::Busy,
                            m_shown + ": the model is gone from the store; open it again");
    }
    if (head->oldest > generation) {
        throw ORQBasFailure(ORQBasFailureKind::Busy,
                            m_shown + ": state " + std::to_string(generation) +
                                " was pruned meanwhile, and the store has states " +
                                std::to_string(head->oldest) + " to " +
                                std::to_string(head->generation) + "; open the model again");
    }
}

#define ORQ_STATE_OF_MODEL "LEAST($2, m.generation)"
#define ORQ_BASE_OF_STATE                                                     \
    "(SELECT max(c.generation) FROM orq_base c WHERE c.identity = m.identity" \
    " AND c.generation <= " ORQ_STATE_OF_MODEL ")"

std::optional<Newcomer> PostgresStore::GetAll(std::optional<std::int64_t> generation) {
    const std::int64_t wanted = generation.value_or(std::numeric_limits<std::int64_t>::max());
    BeginToRead();
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
    BeginChange();
    m_link.Send("UPDATE orq_model SET oldest = $2 WHERE identity = $1 AND oldest <= $2",
                Bytes(identity), oldest);
    for (const PieceKey& piece : pieces) {
        m_link.Send("DELETE FROM orq_piece WHERE identity = $1 AND place = $2 AND generation = $3",
                    Bytes(identity), piece.place, piece.generation);
    }
    m_link.Send("DELETE FROM orq_changeset WHERE identity = $1 AND generation <= $2",
                Bytes(identity), oldest);
    // The base that was put for this is of no use any more where others pruned further meanwhile.
    m_link.Send(
        "DELETE FROM orq_base WHERE identity = $1 AND generation < (SELECT oldest FROM orq_model "
        "WHERE identity = $1)",
        Bytes(identity));
    m_link.Send("DELETE FROM orq_commit WHERE identity = $1 AND generation < $2", Bytes(identity),
                oldest);
    m_link.Send("COMMIT");
    m_link.Finish();
}

}  // namespace orq::storage
