// What a shared model needs of the store that holds it: pieces, changesets and bases to put and to
// get, and one head for each model, which is swapped.
//
// All of it is immutable but the head. The store knows nothing of rows and files; what it returns is
// checked by those who asked.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "../BulkFile.h"
#include "../CommitSink.h"
#include "ModelUrl.h"
#include "ORQBasFailure.h"

namespace orq::storage {

/// The store did not answer. What was asked of it was not done, unless the text says otherwise.
class StoreUnreachable : public ORQBasFailure {
  public:
    using ORQBasFailure::ORQBasFailure;
};

/// A random number by which a writer, or a commit, knows itself again; NewIdentity makes one.
using Token = Identity;

/// The head of a model was moved by another, or the lease was taken: nothing was committed.
class HeadMoved : public ORQBasFailure {
  public:
    using ORQBasFailure::ORQBasFailure;
};

/// The newest state of a model.
struct Head {
    Identity identity{};
    std::int64_t generation = 0;
    std::int64_t oldest = 0;  // the first generation that can still be read
    std::string writer;       // who has the lease; empty when nobody has
    Numbers next;             // nobody was given these or later ones, unless the state has
};

/// The right of one writer to commit alone.
struct Lease {
    Token token{};
    int seconds = 0;  // that it lasts from each commit on
};

/// Bytes of the bulk file at a place.
struct PieceView {
    std::int64_t place = 0;
    std::span<const std::byte> bytes;
};

/// One commit as it is put into the store, all or nothing.
struct NewState {
    std::int64_t generation = 0;
    Token token{};
    std::string who;
    std::string summary;  // what changed, in words
    std::span<const std::byte> changeset;
    std::vector<PieceView> pieces;
    Numbers next;
};

/// A commit as the log lists it.
struct LogEntry {
    std::int64_t generation = 0;
    std::string time;
    std::int64_t ageSeconds = 0;
    std::string who;
    std::string summary;
    std::int64_t changesetBytes = 0;
    std::int64_t pieceBytes = 0;
};

/// A catalogue of one generation, as a file.
struct Base {
    std::int64_t generation = 0;
    std::vector<std::byte> image;
};

/// What a machine that has nothing of a model needs for a state of it.
struct Newcomer {
    Head head;
    Base base;                          // no bytes where there is none for the state
    std::vector<SharedCommit> commits;  // behind the base, up to the state
};

class RemoteStore {
  public:
    /// Larger ones are neither put nor taken.
    static constexpr std::int64_t kMostPiece = 1 << 20;
    static constexpr std::int64_t kMostChangeset = std::int64_t{1} << 30;
    static constexpr std::int64_t kMostBase = std::int64_t{8} << 30;

    /// Connects when it is first asked. Throws Usage where this program was built without the
    /// library for it.
    static std::unique_ptr<RemoteStore> Open(const ModelUrl& url);

    RemoteStore() = default;
    RemoteStore(const RemoteStore&) = delete;
    RemoteStore& operator=(const RemoteStore&) = delete;
    virtual ~RemoteStore() = default;

    /// Makes what the store needs to hold models; what is there stays. Returns what could not be
    /// made and is not needed, in words.
    virtual std::vector<std::string> Prepare() = 0;

    /// The head of the model. Nothing when there is no model of the name. One round trip.
    virtual std::optional<Head> GetHead() = 0;

    /// The head with all that a state needs that is not there yet; the newest state where none is
    /// named. One round trip.
    virtual std::optional<Newcomer> GetAll(std::optional<std::int64_t> generation) = 0;

    /// Puts a model with its first state: a base and pieces. Throws Usage when the name is taken.
    virtual void PutModel(const Identity& identity, const NewState& state,
                          std::span<const std::byte> base) = 0;

    /// Takes the lease of a model, for `seconds` from now by the store's clock. Throws Busy with the
    /// holder when another token has it and it has not expired. One round trip.
    virtual Head TakeLease(const Token& lease, const std::string& who, int seconds) = 0;
    /// Whether it is still this token's; then it lasts `seconds` from now.
    virtual bool RenewLease(const Token& lease, int seconds) = 0;
    virtual void GiveLeaseBack(const Token& lease) = 0;

    /// Gives a writer without a lease numbers that nobody else is given: so many of objects and of
    /// sets, from behind `next` and what others were given. Returns the first ones. Throws Busy
    /// with the holder while there is a lease. One round trip.
    virtual Numbers LeaseNumbers(const Numbers& next, const Numbers& count) = 0;

    /// Moves the head from the generation before to this one, with all that belongs to the state, in
    /// one transaction of two round trips; if `lease` still holds the head, or nobody has a lease
    /// where none is given. Throws HeadMoved where it was moved, and Busy where another has the
    /// lease. Where the answer was lost, it asks until it knows; it throws StoreUnreachable before
    /// the head can have moved, and OutcomeUnknown where nobody answers. Others that move the head
    /// wait from the beginning where `holdsHead`, else only at the end.
    virtual void Commit(const Identity& identity, const std::optional<Lease>& lease,
                        const NewState& state, bool holdsHead = false) = 0;
    virtual void PutBase(const Identity& identity, std::int64_t generation,
                         std::span<const std::byte> base) = 0;

    /// Throws Busy where the store no longer has that state: where the model is gone, or pruned up to
    /// behind it. One round trip.
    virtual void CheckHas(const Identity& identity, std::int64_t generation) = 0;

    /// The newest base up to a generation. Throws Damaged where there is none, and as CheckHas.
    virtual Base GetBase(const Identity& identity, std::int64_t generation) = 0;
    /// The commits behind `after` up to `last`, in order. Throws as CheckHas.
    virtual std::vector<SharedCommit> GetCommits(const Identity& identity, std::int64_t after,
                                                 std::int64_t last) = 0;

    /// Calls take(piece) with pieces of states up to `generation` that meet any of the places; of each
    /// place the older ones first, since where two meet the later one holds. The bytes are valid
    /// during the call, and the store sends on meanwhile. One round trip.
    using TakePiece = std::function<void(const PieceView& piece)>;
    virtual void GetPieces(const Identity& identity, std::int64_t generation,
                           std::span<const BulkFile::Place> places, const TakePiece& take) = 0;

    /// Newest first.
    virtual std::vector<LogEntry> GetLog(const Identity& identity) = 0;

    /// The places of all pieces up to a generation.
    struct PieceKey {
        std::int64_t place = 0;
        std::int64_t generation = 0;
        std::int64_t size = 0;
    };
    virtual std::vector<PieceKey> ListPieces(const Identity& identity, std::int64_t generation) = 0;
    /// Drops the states before `oldest`, for which there is a base, and these pieces, in one
    /// transaction.
    virtual void DropBefore(const Identity& identity, std::int64_t oldest,
                            std::span<const PieceKey> pieces) = 0;
};

}  // namespace orq::storage
