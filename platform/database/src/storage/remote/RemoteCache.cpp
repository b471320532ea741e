#include "RemoteCache.h"

#define XXH_INLINE_ALL
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "ORQBasStaged.h"

namespace orq::storage {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kDefaultLimit = std::int64_t{20} << 30;
constexpr const char* kSlot = "slot-";
constexpr const char* kDead = "dead-";

fs::path CacheRoot() {
    if (const char* given = std::getenv("XDG_CACHE_HOME"); given != nullptr && given[0] == '/') {
        return fs::path(given) / "orq-models";
    }
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/') {
        ORQBasThrowUsage(
            "there is no place for the cache of shared models: neither XDG_CACHE_HOME nor HOME is "
            "set");
    }
    return fs::path(home) / ".cache" / "orq-models";
}

std::int64_t CacheLimit() {
    const char* given = std::getenv("ORQ_CACHE_BYTES");
    char* end = nullptr;
    const long long bytes = given != nullptr ? std::strtoll(given, &end, 10) : 0;
    return given != nullptr && end != given && *end == '\0' && bytes >= 0 ? bytes : kDefaultLimit;
}

void MakeFolder(const fs::path& folder) {
    std::error_code failure;
    fs::create_directories(folder, failure);
    if (failure) {
        throw ORQBasFailure(
            ORQBasFailureKind::Io,
            folder.string() + ": cannot create the directory: " + failure.message());
    }
}

std::optional<Identity> IdentityOf(const std::string& hex) {
    Identity identity{};
    if (hex.size() != 2 * identity.size() ||
        hex.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < identity.size(); ++i) {
        identity[i] = static_cast<std::byte>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
    }
    return identity;
}

// What the files of a folder take on the disk.
std::int64_t BytesOnDisk(const fs::path& folder) {
    std::int64_t bytes = 0;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        struct stat status {};
        if (stat(entry.path().c_str(), &status) == 0) {
            bytes += std::int64_t{status.st_blocks} * 512;
        }
    }
    return bytes;
}

// Out of sight first, in one step: nobody finds half a slot.
void RemoveSlot(const fs::path& slot) {
    const std::optional<FolderHold> hold = FolderHold::Alone(slot, false);
    if (!hold) {
        return;
    }
    std::error_code ignored;
    const fs::path dead =
        slot.parent_path() / (kDead + slot.filename().string() + "-" + HexOf(NewIdentity()));
    fs::rename(slot, dead, ignored);
    if (!ignored) {
        fs::remove_all(dead, ignored);
    }
}

// Notes all bytes of a database that was made here: its bulk file has them.
void NoteAsWritten(const fs::path& directory) {
    WrittenPages(WrittenPath(directory.string()))
        .Add(0, static_cast<std::int64_t>(fs::file_size(BulkPath(directory.string()))));
}

// Removes slots that are out of sight, also those of processes that were killed meanwhile: nobody
// opens them any more.
void RemoveDead(const fs::path& model) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(model, ignored)) {
        if (entry.path().filename().string().starts_with(kDead)) {
            fs::remove_all(entry.path(), ignored);
        }
    }
}

}  // namespace

// --- FolderHold ----------------------------------------------------------------------------------

FolderHold::~FolderHold() {
    if (m_folder >= 0) {
        close(m_folder);  // and with it the lock
    }
}

FolderHold& FolderHold::operator=(FolderHold&& other) noexcept {
    std::swap(m_folder, other.m_folder);
    return *this;
}

std::optional<FolderHold> FolderHold::Take(const fs::path& folder, int how) {
    FolderHold hold;
    hold.m_folder = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat held {};
    struct stat named {};
    // The name may lead elsewhere once the lock is had.
    if (hold.m_folder < 0 || flock(hold.m_folder, how) != 0 || fstat(hold.m_folder, &held) != 0 ||
        stat(folder.c_str(), &named) != 0 || held.st_ino != named.st_ino ||
        held.st_dev != named.st_dev) {
        return std::nullopt;
    }
    return hold;
}

std::optional<FolderHold> FolderHold::Share(const fs::path& folder) {
    return Take(folder, LOCK_SH);
}

std::optional<FolderHold> FolderHold::Alone(const fs::path& folder, bool waits) {
    return Take(folder, LOCK_EX | (waits ? 0 : LOCK_NB));
}

void FolderHold::Touch() const noexcept {
    futimens(m_folder, nullptr);
}

// --- RemoteCache ---------------------------------------------------------------------------------

RemoteCache::RemoteCache(const ModelUrl& url) : m_root(CacheRoot()) {
    ModelUrl head = url;
    head.generation.reset();
    head.isOneOfManyWriters = false;
    const std::string text = head.Text();
    std::array<char, 17> hash{};
    std::snprintf(hash.data(), hash.size(), "%016llx",
                  static_cast<unsigned long long>(XXH3_64bits(text.data(), text.size())));
    m_note = m_root / "names" / hash.data();
}

std::optional<RemoteCache::Note> RemoteCache::ReadNote() const {
    std::ifstream file(m_note);
    std::string hex;
    Note note;
    if (!(file >> hex >> note.generation)) {
        return std::nullopt;
    }
    const std::optional<Identity> identity = IdentityOf(hex);
    if (!identity) {
        return std::nullopt;
    }
    note.identity = *identity;
    return note;
}

void RemoteCache::WriteNote(const Note& note) const {
    MakeFolder(m_note.parent_path());
    const std::optional<FolderHold> alone = FolderHold::Alone(m_note.parent_path(), true);
    const std::optional<Note> there = ReadNote();
    if (there && there->identity == note.identity && there->generation >= note.generation) {
        return;
    }
    const fs::path made = m_note.string() + "." + HexOf(NewIdentity());
    std::ofstream file(made);
    file << HexOf(note.identity) << ' ' << note.generation << '\n';
    file.close();
    std::error_code failure;
    fs::rename(made, m_note, failure);
    if (failure) {
        fs::remove(made, failure);  // without a note, nothing but the check of later heads is lost
    }
}

fs::path RemoteCache::FolderOf(const Identity& identity) const {
    return m_root / HexOf(identity);
}

RemoteCache::Paths RemoteCache::SlotsOf(const fs::path& folder) {
    Paths slots;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(folder, ignored)) {
        if (entry.path().filename().string().starts_with(kSlot)) {
            slots.push_back(entry.path());
        }
    }
    std::ranges::sort(slots);
    return slots;
}

// A slot that is damaged is of no use to anybody.
std::optional<RemoteCache::Opened> RemoteCache::OpenSlot(const fs::path& slot, bool writable) {
    std::optional<FolderHold> hold = FolderHold::Share(slot);
    if (!hold) {
        return std::nullopt;
    }
    try {
        hold->Touch();
        Opened opened{std::move(*hold), slot, Engine::Open(slot.string(), writable)};
        return opened;
    } catch (const ORQBasFailure& failure) {
        hold.reset();
        if (failure.Kind() == ORQBasFailureKind::Damaged ||
            failure.Kind() == ORQBasFailureKind::Foreign) {
            RemoveSlot(slot);
        } else if (failure.Kind() != ORQBasFailureKind::Busy) {
            throw;
        }
        return std::nullopt;
    }
}

std::optional<RemoteCache::Opened> RemoteCache::Find(const Identity& identity,
                                                     const Wish& wish) const {
    for (const fs::path& slot : SlotsOf(FolderOf(identity))) {
        std::optional<Opened> opened = OpenSlot(slot, false);
        if (opened && wish.Has(opened->engine->Generation())) {
            return opened;
        }
    }
    return std::nullopt;
}

// False where they do not fit: the slot is of another history, as of a store that was put back and
// went on.
bool RemoteCache::ApplyAll(Engine& engine, std::span<const SharedCommit> commits) {
    try {
        for (const SharedCommit& commit : commits) {
            engine.Apply(commit.changeset);
        }
        return true;
    } catch (const ORQBasFailure& failure) {
        if (failure.Kind() != ORQBasFailureKind::Damaged) {
            throw;
        }
        return false;
    }
}

// Brings an engine that nobody else writes with to a generation of its model. False as above.
bool RemoteCache::BringForward(Engine& engine, RemoteStore& store, std::int64_t generation) {
    if (engine.Generation() == generation) {
        return true;
    }
    engine.ServeAsCache(nullptr, nullptr);
    // Some at a time: a copy may be far behind, and its changesets large.
    constexpr std::int64_t kTogether = 64;
    while (engine.Generation() < generation) {
        const std::int64_t last = std::min(engine.Generation() + kTogether, generation);
        if (!ApplyAll(engine, store.GetCommits(engine.GetIdentity(), engine.Generation(), last))) {
            return false;
        }
    }
    return true;
}

// Brings a slot to a generation. Others may be doing so just now; this waits for them, where it may
// try more than once.
void RemoteCache::Advance(const fs::path& slot, RemoteStore& store, const Head& head,
                          std::int64_t generation, int attempts) {
    for (int attempt = 1;; ++attempt) {
        if (std::optional<Opened> opened = OpenSlot(slot, true)) {
            if (CanReach(*opened->engine, head, generation) &&
                !BringForward(*opened->engine, store, generation)) {
                opened.reset();  // before it can go
                RemoveSlot(slot);
            }
            return;
        }
        if (attempt == attempts || !fs::exists(slot)) {
            return;
        }
        usleep(10'000);
        // One that cannot even be read is made or brought forward this very moment.
        const std::optional<Opened> reading = OpenSlot(slot, false);
        if (reading && reading->engine->Generation() >= generation) {
            return;
        }
    }
}

// Changesets up to the oldest state that is kept are gone, so slots before it cannot go on.
bool RemoteCache::CanReach(const Engine& engine, const Head& head, std::int64_t generation) {
    return engine.Generation() >= head.oldest && engine.Generation() <= generation;
}

std::optional<RemoteCache::Opened> RemoteCache::FindOrAdvance(RemoteStore& store, const Head& head,
                                                              const Wish& wish,
                                                              int attempts) const {
    if (std::optional<Opened> found = Find(head.identity, wish)) {
        return found;
    }
    for (const fs::path& slot : SlotsOf(FolderOf(head.identity))) {
        std::optional<Opened> opened = OpenSlot(slot, false);
        // Somebody may have brought it there, or further, since all of them were looked at.
        if (opened && wish.Has(opened->engine->Generation())) {
            return opened;
        }
        if (!opened || CanReach(*opened->engine, head, wish.generation)) {
            opened.reset();  // so that it can go where it does not fit
            Advance(slot, store, head, wish.generation, attempts);
            if (std::optional<Opened> found = Find(head.identity, wish)) {
                return found;
            }
        }
    }
    return std::nullopt;
}

RemoteCache::Opened RemoteCache::OpenForReading(RemoteStore& store, const Head& head,
                                                const Wish& wish, const Newcomer* fetched) const {
    if (std::optional<Opened> found = FindOrAdvance(store, head, wish, 1)) {
        return std::move(*found);
    }
    const fs::path folder = FolderOf(head.identity);
    MakeFolder(folder);
    // One of those who come at once fetches, and the others find.
    const std::optional<FolderHold> alone = FolderHold::Alone(folder, true);
    // A slot that is held may be one that goes forward just now, or that of a writer, who may do
    // nothing for long; so all of them are tried before any is waited for.
    constexpr int kPatient = 50;  // with the pauses half a second and more
    for (const int attempts : {1, kPatient}) {
        if (std::optional<Opened> found = FindOrAdvance(store, head, wish, attempts)) {
            return std::move(*found);
        }
    }
    std::optional<Opened> opened =
        OpenSlot(Build(store, head.identity, wish.generation, fetched), false);
    if (opened && !wish.Has(opened->engine->Generation())) {
        opened.reset();  // somebody brought it forward at once
    }
    return Expect(std::move(opened), folder);
}

RemoteCache::Opened RemoteCache::OpenForWriting(RemoteStore& store, const Head& head) const {
    const fs::path folder = FolderOf(head.identity);
    for (const fs::path& slot : SlotsOf(folder)) {
        std::optional<Opened> opened = OpenSlot(slot, true);
        if (!opened || !CanReach(*opened->engine, head, head.generation)) {
            continue;
        }
        if (BringForward(*opened->engine, store, head.generation)) {
            return std::move(*opened);
        }
        opened.reset();  // before it can go
        RemoveSlot(slot);
    }
    MakeFolder(folder);
    const std::optional<FolderHold> alone = FolderHold::Alone(folder, true);
    return Expect(OpenSlot(Build(store, head.identity, head.generation, nullptr), true), folder);
}

RemoteCache::Opened RemoteCache::Expect(std::optional<Opened> opened, const fs::path& folder) {
    if (!opened) {
        throw ORQBasFailure(ORQBasFailureKind::Busy,
                            folder.string() + ": somebody else took the copy that was just made");
    }
    return std::move(*opened);
}

// REQUIRES: the folder is held alone.
fs::path RemoteCache::Build(RemoteStore& store, const Identity& identity, std::int64_t generation,
                            const Newcomer* fetched) const {
    const fs::path folder = FolderOf(identity);
    const bool isFetched = fetched != nullptr && !fetched->base.image.empty();
    const Base asked = isFetched ? Base() : store.GetBase(identity, generation);
    const Base& base = isFetched ? fetched->base : asked;
    ORQBasStaged staged(folder / "made", "slot");
    MakeFolder(staged.Path());
    Engine::BuildFromImage(staged.Path().string(), base.image, identity);
    {
        const auto engine = Engine::Open(staged.Path().string(), true);
        if (engine->Generation() != base.generation) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                "the base of state " + std::to_string(base.generation) +
                                    " is one of state " + std::to_string(engine->Generation()));
        }
        engine->ServeAsCache(nullptr, nullptr);
        if ((isFetched && !ApplyAll(*engine, fetched->commits)) ||
            !BringForward(*engine, store, generation)) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged, "the changesets behind state " +
                                                                std::to_string(base.generation) +
                                                                " do not fit it");
        }
    }
    return PutAsSlot(staged.Path(), folder);
}

void RemoteCache::Add(const std::function<Identity(const std::string& directory)>& make) const {
    MakeFolder(m_root);
    ORQBasStaged staged(m_root / "made", "model");
    const Identity identity = make(staged.Path().string());
    try {
        const fs::path folder = FolderOf(identity);
        MakeFolder(folder);
        const std::optional<FolderHold> alone = FolderHold::Alone(folder, true);
        NoteAsWritten(staged.Path());
        PutAsSlot(staged.Path(), folder);
    } catch (const std::exception&) {
        // The model is made; what is lost is a copy of it, which is fetched when it is needed.
    }
}

fs::path RemoteCache::PutAsSlot(const fs::path& made, const fs::path& folder) {
    for (int number = 0;; ++number) {
        const fs::path slot = folder / (kSlot + std::to_string(number));
        if (!fs::exists(slot)) {
            fs::rename(made, slot);
            return slot;
        }
    }
}

void RemoteCache::Trim() const noexcept {
    struct Slot {
        fs::path path;
        std::int64_t bytes;
        fs::file_time_type used;
    };
    try {
        std::vector<Slot> slots;
        std::int64_t total = 0;
        for (const auto& model : fs::directory_iterator(m_root)) {
            RemoveDead(model.path());
            for (const fs::path& path : SlotsOf(model.path())) {
                slots.push_back({path, BytesOnDisk(path), fs::last_write_time(path)});
                total += slots.back().bytes;
            }
        }
        std::ranges::sort(slots, {}, &Slot::used);
        const std::int64_t limit = CacheLimit();
        for (const Slot& slot : slots) {
            if (total <= limit) {
                break;
            }
            RemoveSlot(slot.path);
            total -= fs::exists(slot.path) ? 0 : slot.bytes;
        }
    } catch (...) {
        // Others may be removing the same; what stays is looked at again the next time.
    }
}

}  // namespace orq::storage
