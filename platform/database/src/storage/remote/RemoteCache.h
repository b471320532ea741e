// The local half of shared models: directories that follow them, kept in a folder of this user.
//
//   CACHE/IDENTITY/slot-N    a model database, at some generation of the model, whose bulk file has
//                            what was read so far, and a note of that beside it (WrittenPages.h)
//   CACHE/names/HASH         which model a URL named last, and its newest generation then
//
// A slot is held (a shared lock of its folder) by who has it open; it goes on to later generations
// under its own writer's lock, beside readers, as any database. What is there can be lost at any
// time: rows are whole by SQLite's log, bulk data by the checksums of its blocks.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "../Engine.h"
#include "RemoteStore.h"

namespace orq::storage {

/// Keeps a folder from being removed by others.
class FolderHold {
  public:
    FolderHold() = default;
    ~FolderHold();
    FolderHold(FolderHold&& other) noexcept : m_folder(std::exchange(other.m_folder, -1)) {}
    FolderHold& operator=(FolderHold&& other) noexcept;

    /// Nothing where it went away meanwhile.
    static std::optional<FolderHold> Share(const std::filesystem::path& folder);
    /// Waits until nobody else holds it where `waits`, else nothing if somebody does.
    static std::optional<FolderHold> Alone(const std::filesystem::path& folder, bool waits);
    /// Notes that it was used now.
    void Touch() const noexcept;

  private:
    static std::optional<FolderHold> Take(const std::filesystem::path& folder, int how);

    int m_folder = -1;
};

class RemoteCache {
  public:
    struct Opened {
        FolderHold hold;  // ends after the engine
        std::filesystem::path directory;
        std::unique_ptr<Engine> engine;
    };
    /// What is known of a model from former times.
    struct Note {
        Identity identity{};
        std::int64_t generation = 0;
    };

    explicit RemoteCache(const ModelUrl& url);

    std::optional<Note> ReadNote() const;
    /// Unless a later generation of the same model is noted already.
    void WriteNote(const Note& note) const;

    /// The state that is wanted.
    struct Wish {
        std::int64_t generation = 0;
        bool isNewest = false;  // then a later one, which others fetched meanwhile, is better
        bool Has(std::int64_t found) const {
            return found == generation || (isNewest && found > generation);
        }
    };
    /// A slot at such a state, if there is one; asks nobody.
    std::optional<Opened> Find(const Identity& identity, const Wish& wish) const;
    /// Whether there is any slot of a model.
    bool Has(const Identity& identity) const { return !SlotsOf(FolderOf(identity)).empty(); }
    /// A slot at such a state, made or brought forward from the store where there is none; of what
    /// was fetched already, where that is given.
    Opened OpenForReading(RemoteStore& store, const Head& head, const Wish& wish,
                          const Newcomer* fetched = nullptr) const;
    /// A slot at the head that nobody else writes to.
    Opened OpenForWriting(RemoteStore& store, const Head& head) const;

    /// A folder beside the slots, where `make` makes a database; it becomes a slot of its identity
    /// when `make` returns it.
    void Add(const std::function<Identity(const std::string& directory)>& make) const;

    /// Removes slots that were not used for longest until all take no more than the limit. Those in
    /// use stay.
    void Trim() const noexcept;

  private:
    using Paths = std::vector<std::filesystem::path>;

    std::filesystem::path FolderOf(const Identity& identity) const;
    static Paths SlotsOf(const std::filesystem::path& folder);
    static std::optional<Opened> OpenSlot(const std::filesystem::path& slot, bool writable);
    static Opened Expect(std::optional<Opened> opened, const std::filesystem::path& folder);
    [[nodiscard]] static bool ApplyAll(Engine& engine, std::span<const SharedCommit> commits);
    [[nodiscard]] static bool BringForward(Engine& engine, RemoteStore& store,
                                           std::int64_t generation);
    static void Advance(const std::filesystem::path& slot, RemoteStore& store, const Head& head,
                        std::int64_t generation, int attempts);
    static bool CanReach(const Engine& engine, const Head& head, std::int64_t generation);
    std::optional<Opened> FindOrAdvance(RemoteStore& store, const Head& head, const Wish& wish,
                                        int attempts) const;
    std::filesystem::path Build(RemoteStore& store, const Identity& identity,
                                std::int64_t generation, const Newcomer* fetched) const;
    static std::filesystem::path PutAsSlot(const std::filesystem::path& made,
                                           const std::filesystem::path& folder);

    std::filesystem::path m_root;
    std::filesystem::path m_note;
};

}  // namespace orq::storage
