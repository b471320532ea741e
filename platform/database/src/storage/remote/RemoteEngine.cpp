#include "RemoteEngine.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "../Salvage.h"
#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

// Who writes, in words.
std::string NameOfThisProcess() {
    std::array<char, 256> host{};
    gethostname(host.data(), host.size() - 1);
    return "process " + std::to_string(getpid()) + " on " + host.data();
}

int LeaseSeconds() {
    constexpr int kDefault = 60;
    const char* given = std::getenv("ORQ_LEASE_SECONDS");
    const int seconds = given != nullptr ? std::atoi(given) : 0;
    return seconds > 0 ? seconds : kDefault;
}

std::int64_t EndOf(const BulkFile::Place& place) {
    return place.offset + place.size;
}

// Copies the part of a piece that lies in a place to the bytes of that place.
void CopyPart(const PieceView& piece, const BulkFile::Place& place, std::span<std::byte> to) {
    const std::int64_t begin = std::max(piece.place, place.offset);
    const std::int64_t end =
        std::min(piece.place + static_cast<std::int64_t>(piece.bytes.size()), EndOf(place));
    if (begin < end) {
        std::ranges::copy(piece.bytes.subspan(static_cast<std::size_t>(begin - piece.place),
                                              static_cast<std::size_t>(end - begin)),
                          to.begin() + (begin - place.offset));
    }
}

// Puts it into a file.
void PutPart(int file, const PieceView& piece, const BulkFile::Place& place) {
    const auto size = static_cast<std::int64_t>(piece.bytes.size());
    const std::int64_t begin = std::max(piece.place, place.offset);
    const std::int64_t end = std::min(piece.place + size, EndOf(place));
    for (std::int64_t at = begin; at < end;) {
        const ssize_t n = pwrite(file, piece.bytes.data() + (at - piece.place),
                                 static_cast<std::size_t>(end - at), at);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            ORQBasThrowSystemFailure("the cache", "write " + std::to_string(end - at) + " bytes");
        }
        at += n;
    }
}

// Pieces of a file as they are put into the store.
std::vector<PieceView> CutIntoPieces(BulkFile& file, std::span<const BulkFile::Place> places) {
    std::vector<PieceView> pieces;
    if (places.empty()) {
        return pieces;
    }
    // One map for all of them: the next one may move it.
    const std::byte* bytes = file.Map(0, EndOf(places.back()));
    for (const BulkFile::Place& place : places) {
        for (std::int64_t at = place.offset; at < EndOf(place); at += RemoteStore::kMostPiece) {
            const std::int64_t size = std::min(RemoteStore::kMostPiece, EndOf(place) - at);
            pieces.push_back({at, {bytes + at, static_cast<std::size_t>(size)}});
        }
    }
    return pieces;
}

}  // namespace

Token NewToken() {
    return NewIdentity();
}

RemoteEngine::RemoteEngine(ModelUrl url)
    : m_url(std::move(url)),
      m_path(m_url.Text()),
      m_store(RemoteStore::Open(m_url)),
      m_cache(m_url) {}

RemoteEngine::~RemoteEngine() {
    m_slot.engine.reset();
    if (m_bulk >= 0) {
        close(m_bulk);
    }
    if (m_hasLease) {
        try {
            m_store->GiveLeaseBack(m_lease);
        } catch (...) {
            // Then it expires.
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
    // Only so that nobody fills a model that cannot be had; it is checked again then.
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
    NewState state{engine.Generation(), NewToken(), NameOfThisProcess(), summary, {}, pieces};
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
    writable ? engine->OpenToWrite() : engine->OpenToRead();
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
        throw ORQBasFailure(ORQBasFailureKind::Io, m_path + ": the store has no such model");
    }
    CheckHead(*head, note);
    return *head;
}

void RemoteEngine::OpenToRead() {
    const std::optional<RemoteCache::Note> note = m_cache.ReadNote();
    try {
        m_head = AskForHead();
    } catch (const StoreUnreachable& failure) {
        if (!note) {
            throw;
        }
        // A numbered state never changes; which one is the newest, only the store knows.
        const std::int64_t generation = m_url.generation.value_or(note->generation);
        std::optional<RemoteCache::Opened> found = m_cache.Find(note->identity, {generation});
        if (found && m_url.generation) {
            m_head = {note->identity, note->generation, 1, ""};
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
    Use(m_cache.OpenForReading(*m_store, m_head, {generation, !m_url.generation}));
}

void RemoteEngine::OpenToWrite() {
    const std::optional<RemoteCache::Note> note = m_cache.ReadNote();
    m_lease = NewToken();
    m_head = m_store->TakeLease(m_lease, NameOfThisProcess(), LeaseSeconds());
    m_hasLease = true;
    m_renewed = std::chrono::steady_clock::now();
    CheckHead(m_head, note);
    Use(m_cache.OpenForWriting(*m_store, m_head));
}

void RemoteEngine::Use(RemoteCache::Opened opened) {
    const std::string bulk = BulkPath(opened.directory.string());
    const int file = open(bulk.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        ORQBasThrowSystemFailure(bulk, "open for writing");
    }
    if (m_bulk >= 0) {
        close(m_bulk);
    }
    m_bulk = file;
    opened.engine->ServeAsCache(this, m_writable ? this : nullptr);
    std::swap(m_slot.engine, opened.engine);
    std::swap(m_slot.hold, opened.hold);
    m_slot.directory = opened.directory;
    opened.engine.reset();  // before its hold ends
    m_ahead = {0, 0};
    m_fetched = {};
}

bool RemoteEngine::Refresh() {
    if (m_url.generation) {
        // A state that was named stays, also where others bring its copy forward.
        Slot().CheckUsable();
        return false;
    }
    if (m_writable) {
        return Slot().Refresh();
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

void RemoteEngine::Bring(std::span<const BulkFile::Place> places) {
    const BulkFile::Place span{places.front().offset, EndOf(places.back()) - places.front().offset};
    const auto put = [&] {
        for (const PieceView& piece : m_fetched.views) {
            for (const BulkFile::Place& place : places) {
                PutPart(m_bulk, piece, place);
            }
        }
    };
    const bool begins = span.offset >= m_ahead.offset && span.offset < EndOf(m_ahead);
    if (begins) {
        put();
    }
    if (!begins || EndOf(span) > EndOf(m_ahead)) {
        Fetch(places, begins ? EndOf(m_ahead) : span.offset, EndOf(span));
        put();
    }
    m_lastEnd = EndOf(span);
}

// Who comes to the end of what was brought last reads on, and gets the more the longer it goes on.
void RemoteEngine::Fetch(std::span<const BulkFile::Place> places, std::int64_t begin,
                         std::int64_t end) {
    constexpr std::int64_t kLeast = 2 << 20;
    constexpr std::int64_t kMost = 16 << 20;
    const bool readsOn = begin >= m_lastEnd && begin <= m_lastEnd + kLeast;
    m_aheadSize = readsOn ? std::clamp(2 * m_aheadSize, kLeast, kMost) : 0;
    m_ahead = readsOn ? BulkFile::Place{begin, end - begin + m_aheadSize} : BulkFile::Place{0, 0};
    m_fetched = {};  // before the next ones come
    m_fetched =
        m_store->GetPieces(m_head.identity, Generation(),
                           readsOn ? std::span<const BulkFile::Place>(&m_ahead, 1) : places);
}

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
        VerifyPieces(problems);
    }
    if (problems.size() == nBefore) {
        Slot().Chunks().BringAll([](std::int64_t) {});
        Slot().VerifyChunks(problems, progress);
    }
}

void RemoteEngine::VerifyPieces(std::vector<std::string>& problems) {
    for (const ExtentRow& row : Slot().Rows().Find<ExtentRow>()) {
        const Extent extent = MakeExtent(row);
        if (!extent.IsInFile()) {
            continue;  // it came with its row
        }
        const BulkFile::Place place{extent.offset, extent.length};
        std::vector<std::byte> bytes(static_cast<std::size_t>(extent.length));
        const Pieces pieces = m_store->GetPieces(m_head.identity, Generation(), {&place, 1});
        for (const PieceView& piece : pieces.views) {
            CopyPart(piece, place, bytes);
        }
        for (const std::int64_t damaged : FindDamage(bytes.data(), extent)) {
            problems.push_back(m_path + ": the pieces at byte " + std::to_string(damaged) +
                               " of the bulk data are damaged or missing (checksum differs)");
        }
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
    if (m_hasLease && Depth() == 0 && now - m_renewed > std::chrono::seconds(LeaseSeconds()) / 3) {
        if (!m_store->RenewLease(m_lease, LeaseSeconds())) {
            m_lost = m_path +
                     ": the lease to write expired and was taken by another; open the model again";
            throw ORQBasFailure(ORQBasFailureKind::Refused, m_lost);
        }
        m_renewed = now;
    }
    Slot().Begin();
}

void RemoteEngine::Take(const CommittedChange& change) {
    const std::vector<PieceView> pieces = CutIntoPieces(change.file, change.written);
    NewState state{change.generation,           NewToken(),       NameOfThisProcess(),
                   SummaryOf(change.changeset), change.changeset, pieces};
    try {
        m_store->Commit(m_head.identity, m_lease, LeaseSeconds(), state);
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() == ORQBasFailureKind::Busy ||
            dynamic_cast<const OutcomeUnknown*>(&failure) != nullptr) {
            m_lost = failure.Text();
        }
        throw;
    }
    m_renewed = std::chrono::steady_clock::now();
    m_head.generation = change.generation;
    m_changesetBytes += static_cast<std::int64_t>(change.changeset.size());
}

void RemoteEngine::Commit() {
    Slot().Commit();
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
