#include "RemoteEngine.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "../LockFile.h"
#include "../Salvage.h"
#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

int LeaseSeconds() {
    constexpr int kDefault = 60;
    const char* given = std::getenv("ORQ_LEASE_SECONDS");
    const int seconds = given != nullptr ? std::atoi(given) : 0;
    return seconds > 0 ? seconds : kDefault;
}

// Pieces of a file as they are put into the store.
std::vector<PieceView> CutIntoPieces(BulkFile& file, std::span<const BulkFile::Place> places) {
    std::vector<PieceView> pieces;
    if (places.empty()) {
        return pieces;
    }
    // One map for all of them: the next one may move it.
    const std::byte* bytes = file.Map(0, places.back().offset + places.back().size);
    for (const BulkFile::Place& place : places) {
        const std::int64_t end = place.offset + place.size;
        for (std::int64_t at = place.offset; at < end; at += RemoteStore::kMostPiece) {
            const std::int64_t size = std::min(RemoteStore::kMostPiece, end - at);
            pieces.push_back({at, {bytes + at, static_cast<std::size_t>(size)}});
        }
    }
    return pieces;
}

}  // namespace

RemoteEngine::RemoteEngine(ModelUrl url)
    : m_url(std::move(url)),
      m_path(m_url.Text()),
      m_store(RemoteStore::Open(m_url)),
      m_pieces(*m_store),
      m_cache(m_url) {}

RemoteEngine::~RemoteEngine() {
    m_slot.engine.reset();
    if (m_lease) {
        try {
            m_store->GiveLeaseBack(m_lease->token);
        } catch (...) {
            // A lease that is not given back expires.
        }
    }
    m_slot.hold = FolderHold();  // so that it may go, too
    m_cache.Trim();
}

// --- Making --------------------------------------------------------------------------------------

void RemoteEngine::PutNew(const std::string& url,
                          const std::function<void(const std::string& directory)>& make) {
    const ModelUrl parsed = ModelUrl::Parse(url);
    if (parsed.generation) {
        ORQBasThrowUsage(url + ": an earlier state can only be read");
    }
    const auto store = RemoteStore::Open(parsed);
    // The name is looked up only so that nobody fills a model that cannot be had; it is checked
    // again then.
    if (store->GetHead()) {
        ORQBasThrowUsage(url + ": exists already");
    }
    const RemoteCache cache(parsed);
    cache.Add([&](const std::string& directory) {
        make(directory);
        const auto engine = Engine::Open(directory, false);
        Publish(*store, *engine, "made");
        return engine->GetIdentity();
    });
}

void RemoteEngine::Publish(RemoteStore& store, Engine& engine, const std::string& summary) {
    const std::vector<std::byte> image = engine.CatalogueImage();
    engine.Chunks().BringAll([](std::int64_t) {});  // compares them
    const std::vector<BulkFile::Place> all = engine.ChunkPlaces();
    const std::vector<PieceView> pieces = CutIntoPieces(engine.Bulk(), Meet(all, all));
    const NewState state{
        engine.Generation(), NewIdentity(), NameOfThisProcess(), summary, {}, pieces,
        engine.NextNumbers()};
    store.PutModel(engine.GetIdentity(), state, image);
}

void RemoteEngine::Build(const std::string& url, FirstContent content, const Filling& fill) {
    PutNew(url, [&](const std::string& directory) { Engine::Build(directory, content, fill); });
}

void RemoteEngine::Push(Store& from, const std::string& url,
                        const std::function<void(double)>& progress) {
    PutNew(url, [&](const std::string& directory) { from.CopyTo(directory, progress); });
}

// --- Opening -------------------------------------------------------------------------------------

std::unique_ptr<RemoteEngine> RemoteEngine::Open(const std::string& url, bool writable) {
    std::unique_ptr<RemoteEngine> engine(new RemoteEngine(ModelUrl::Parse(url)));
    if (writable && engine->m_url.generation) {
        ORQBasThrowUsage(url + ": an earlier state can only be read");
    }
    engine->m_writable = writable;
    if (!writable) {
        engine->OpenToRead();
    } else if (engine->m_url.isOneOfManyWriters) {
        engine->OpenToWriteBesideOthers();
    } else {
        engine->OpenToWrite();
    }
    return engine;
}

// What was once seen stays seen: a store that was put back, or that lies, is not followed.
// The note is one of before the store was asked: others go on noting.
void RemoteEngine::CheckHead(const Head& head, const std::optional<RemoteCache::Note>& note) const {
    if (note && note->identity == head.identity && head.generation < note->generation) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged, m_path + ": the store's head is state " +
                                                            std::to_string(head.generation) +
                                                            ", and this machine has seen state " +
                                                            std::to_string(note->generation) +
                                                            "; the store has lost states");
    }
    if (!note || note->identity != head.identity || note->generation < head.generation) {
        m_cache.WriteNote({head.identity, head.generation});
    }
}

Head RemoteEngine::AskForHead() {
    const std::optional<RemoteCache::Note> note = m_cache.ReadNote();
    const std::optional<Head> head = m_store->GetHead();
    if (!head) {
        FailUnknown();
    }
    CheckHead(*head, note);
    return *head;
}

void RemoteEngine::FailUnknown() const {
    throw ORQBasFailure(ORQBasFailureKind::Io, m_path + ": the store has no such model");
}

// The answer brings what the state needs along with the head, where the cache has nothing to begin
// with.
std::optional<Newcomer> RemoteEngine::AskForState(const std::optional<RemoteCache::Note>& note) {
    if (note && m_cache.Has(note->identity)) {
        m_head = AskForHead();
        return std::nullopt;
    }
    std::optional<Newcomer> newcomer = m_store->GetAll(m_url.generation);
    if (!newcomer) {
        FailUnknown();
    }
    CheckHead(newcomer->head, note);
    m_head = newcomer->head;
    return newcomer;
}

void RemoteEngine::OpenToRead() {
    const std::optional<RemoteCache::Note> note = m_cache.ReadNote();
    std::optional<Newcomer> fetched;
    try {
        fetched = AskForState(note);
    } catch (const StoreUnreachable& failure) {
        if (!note) {
            throw;
        }
        // A numbered state never changes; which one is the newest, only the store knows.
        const std::int64_t generation = m_url.generation.value_or(note->generation);
        std::optional<RemoteCache::Opened> found = m_cache.Find(note->identity, {generation});
        if (found && m_url.generation) {
            m_head = {note->identity, note->generation, 1, "", {}};
            return Use(std::move(*found));
        }
        throw StoreUnreachable(
            failure.Kind(),
            failure.Text() + "; this machine has " + (found ? "" : "not ") + "state " +
                std::to_string(generation) +
                (found ? " of it, which MODEL@" + std::to_string(generation) + " reads"
                       : " of it"));
    }
    const std::int64_t generation = m_url.generation.value_or(m_head.generation);
    if (generation > m_head.generation || generation < m_head.oldest) {
        ORQBasThrowUsage(m_path + ": the store has states " + std::to_string(m_head.oldest) +
                         " to " + std::to_string(m_head.generation) + " of this model");
    }
    Use(m_cache.OpenForReading(*m_store, m_head, {generation, !m_url.generation},
                               fetched ? &*fetched : nullptr));
}

void RemoteEngine::OpenToWrite() {
    const std::optional<RemoteCache::Note> note = m_cache.ReadNote();
    const Lease lease{NewIdentity(), LeaseSeconds()};
    m_head = m_store->TakeLease(lease.token, NameOfThisProcess(), lease.seconds);
    m_lease = lease;
    m_renewed = std::chrono::steady_clock::now();
    CheckHead(m_head, note);
    Use(m_cache.OpenForWriting(*m_store, m_head));
    Slot().ReserveNumbers(m_head.next);  // others may have been given some that no row has yet
}

void RemoteEngine::OpenToWriteBesideOthers() {
    m_head = AskForHead();
    if (!m_head.writer.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Busy,
                            m_path + ": is open for writing by " + m_head.writer + ", alone");
    }
    Use(m_cache.OpenForWriting(*m_store, m_head));
    Slot().TakeNumbersFrom(this);
}

void RemoteEngine::Use(RemoteCache::Opened opened) {
    // The order matters: where one of them fails, pieces still go to the slot that is shown.
    opened.engine->ServeAsCache(&m_pieces, m_writable ? this : nullptr);
    m_pieces.Serve(*opened.engine, opened.directory.string());
    std::swap(m_slot.engine, opened.engine);
    std::swap(m_slot.hold, opened.hold);
    m_slot.directory = opened.directory;
    opened.engine.reset();  // before its hold ends
}

bool RemoteEngine::Refresh() {
    if (m_url.generation) {
        // A state that was named stays, also where others bring its copy forward.
        Slot().CheckUsable();
        return false;
    }
    if (m_writable) {
        return !m_url.isOneOfManyWriters || Depth() > 0 ? Slot().Refresh() : FollowHead();
    }
    const Head head = AskForHead();
    if (head.identity != m_head.identity) {
        throw ORQBasFailure(ORQBasFailureKind::Refused,
                            m_path + ": is another model of the same name now; open it again");
    }
    m_head = head;
    const std::int64_t before = Generation();
    if (head.generation > before) {
        Use(m_cache.OpenForReading(*m_store, head, {head.generation, true}));
    }
    return Generation() != before;
}

// --- Reading -------------------------------------------------------------------------------------

void RemoteEngine::CopyTo(const std::string& directory,
                          const std::function<void(double)>& progress) {
    const std::int64_t all = std::max<std::int64_t>(1, GetSizes().bulkBytes);
    std::int64_t brought = 0;
    Slot().Chunks().BringAll([&](std::int64_t bytes) {
        brought += bytes;
        progress(0.5 * static_cast<double>(brought) / static_cast<double>(all));
    });
    Slot().CopyTo(directory, [&](double done) { progress(0.5 + 0.5 * done); });
}

void RemoteEngine::VerifyChunks(std::vector<std::string>& problems,
                                const std::function<void(double)>& progress) {
    const std::size_t nBefore = problems.size();
    if (Depth() == 0) {  // else the store has not all of it yet
        m_pieces.Verify(problems, m_path, [&](double done) { progress(0.5 * done); });
    }
    if (problems.size() == nBefore) {
        Slot().Chunks().BringAll([](std::int64_t) {});
        Slot().VerifyChunks(problems, [&](double done) { progress(0.5 + 0.5 * done); });
    }
}

std::unique_ptr<Salvage> RemoteEngine::SalvageFrom(const std::string& directory,
                                                   const std::function<void()>& goOn) {
    return Slot().SalvageFrom(directory, goOn);
}

// --- Writing -------------------------------------------------------------------------------------

void RemoteEngine::Begin() {
    if (!m_lost.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Refused, m_lost);
    }
    if (!m_writable) {
        ORQBasThrowUsage(m_path + ": is open for reading only, nothing can be changed");
    }
    const auto now = std::chrono::steady_clock::now();
    if (m_lease && Depth() == 0 && now - m_renewed > std::chrono::seconds(m_lease->seconds) / 3) {
        if (!m_store->RenewLease(m_lease->token, m_lease->seconds)) {
            m_lost = m_path +
                     ": the lease to write expired and was taken by another; open the model again";
            throw ORQBasFailure(ORQBasFailureKind::Refused, m_lost);
        }
        m_renewed = now;
    }
    Slot().Begin();
}

std::vector<SharedCommit> RemoteEngine::Take(const CommittedChange& change) {
    const std::vector<PieceView> pieces = CutIntoPieces(change.file, change.written);
    const NewState state{
        change.generation, NewIdentity(), NameOfThisProcess(), SummaryOf(change.changeset),
        change.changeset,  pieces,        change.next};
    try {
        if (std::vector<SharedCommit> others = Offer(state); !others.empty()) {
            return others;
        }
    } catch (const HeadMoved& failure) {
        // One of several has lost nothing but this transaction.
        if (m_lease) {
            m_lost = failure.Text();
        }
        throw;
    } catch (const OutcomeUnknown& failure) {
        m_lost = failure.Text();
        throw;
    }
    m_wasMoved = false;
    m_renewed = std::chrono::steady_clock::now();
    m_head.generation = change.generation;
    m_changesetBytes += static_cast<std::int64_t>(change.changeset.size());
    return {};
}

// Returns the commits that one of several writers has to go on top of; none when it was committed.
// Throws HeadMoved where it cannot be.
std::vector<SharedCommit> RemoteEngine::Offer(const NewState& state) {
    // Few bytes are sent while others wait; many only when they are sent again.
    // Who holds the head and who does not can wait for each other, which the store ends.
    constexpr std::int64_t kFew = 1 << 20;
    constexpr int kAttempts = 10;
    std::int64_t bytes = 0;
    for (const PieceView& piece : state.pieces) {
        bytes += std::ssize(piece.bytes);
    }
    for (int attempt = 1;; ++attempt) {
        try {
            m_store->Commit(m_head.identity, m_lease, state,
                            !m_lease && (m_wasMoved || bytes <= kFew));
            return {};
        } catch (const HeadMoved&) {
            if (m_lease || attempt == kAttempts) {
                throw;
            }
            m_wasMoved = true;
            if (auto others = CommitsOfOthers(state.generation - 1); !others.empty()) {
                return others;
            }
        }
    }
}

std::vector<SharedCommit> RemoteEngine::CommitsOfOthers(std::int64_t after) {
    const Head head = AskForHead();
    if (head.identity != m_head.identity || head.oldest > after || head.generation < after) {
        m_lost = m_path + ": the store no longer has what follows state " + std::to_string(after) +
                 "; open the model again";
        throw ORQBasFailure(ORQBasFailureKind::Refused, m_lost);
    }
    m_head = head;
    return head.generation == after ? std::vector<SharedCommit>()
                                    : m_store->GetCommits(head.identity, after, head.generation);
}

// Returns whether there was anything new. REQUIRES: one of several writers, outside of a transaction.
bool RemoteEngine::FollowHead() {
    Slot().CheckUsable();
    const std::vector<SharedCommit> commits = CommitsOfOthers(Generation());
    for (const SharedCommit& commit : commits) {
        Slot().Apply(commit.changeset);
    }
    return !commits.empty();
}

// Generous, and more each time: what is not used is room only. Sets have fewer numbers than objects.
NumberSource::Range RemoteEngine::LeaseNumbers(Of what, const Numbers& next) {
    constexpr std::int64_t kObjects = 1 << 16;
    constexpr int kSets = 1 << 10;
    constexpr int kMostDoublings = 6;
    Numbers count;
    if (what == Of::Objects) {
        count.object = kObjects << std::min<std::int64_t>(m_numRanges.object++, kMostDoublings);
    } else {
        count.set = kSets << std::min(m_numRanges.set++, kMostDoublings);
    }
    const Numbers begin = m_store->LeaseNumbers(next, count);
    return {begin, {begin.object + count.object, begin.set + count.set}};
}

void RemoteEngine::Commit() {
    try {
        Slot().Commit();
    } catch (const ChangesMeet&) {
        try {
            FollowHead();
        } catch (const ORQBasFailure&) {
            // The next commit or Refresh does it then.
        }
        throw;
    }
    if (Depth() == 0) {
        NoteCommit();
    }
}

// A newcomer applies no more changesets than a base has bytes, and not very many.
void RemoteEngine::NoteCommit() noexcept {
    constexpr std::int64_t kLeastBytes = 4 << 20;
    constexpr std::int64_t kMostCommits = 256;
    try {
        m_cache.WriteNote({m_head.identity, Generation()});
        const std::int64_t bytes = std::max(kLeastBytes, GetSizes().catalogueBytes);
        if (m_changesetBytes > bytes ||
            (m_changesetBytes > 0 && Generation() % kMostCommits == 0)) {
            m_store->PutBase(m_head.identity, Generation(), Slot().CatalogueImage());
            m_changesetBytes = 0;
        }
    } catch (...) {
        // The commit is done; the next one tries again.
    }
}

}  // namespace orq::storage
