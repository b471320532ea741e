// The engine whose databases lie in a store that many machines share: a slot of the cache that
// follows the model, with its rows and chunks, and the store that its commits go to first.
//
// docs/many-machines.md numbers the invariants that it keeps.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../CommitSink.h"
#include "PieceFetcher.h"
#include "RemoteCache.h"
#include "RemoteStore.h"

namespace orq::storage {

class RemoteEngine final : public Store, private CommitSink, private NumberSource {
  public:
    static void Build(const std::string& url, FirstContent content, const Filling& fill);
    static std::unique_ptr<RemoteEngine> Open(const std::string& url, bool writable);
    /// Makes a model of the state that a handle sees.
    static void Push(Store& from, const std::string& url,
                     const std::function<void(double)>& progress);
    ~RemoteEngine() override;

    void CheckProcess() const override { Slot().CheckProcess(); }
    bool IsOfOtherProcess() const override { return Slot().IsOfOtherProcess(); }
    const std::string& Path() const override { return m_path; }
    bool IsWritable() const override { return m_writable; }
    int FormatVersion() const override { return Slot().FormatVersion(); }
    void Describe(std::span<const NumberMeaning> meanings) override { Slot().Describe(meanings); }
    RowStore& Rows() override { return Slot().Rows(); }
    ChunkStore& Chunks() override { return Slot().Chunks(); }
    std::int64_t NewObject() override { return Slot().NewObject(); }
    int NewSet(int above) override { return Slot().NewSet(above); }
    Numbers NextNumbers() const override { return Slot().NextNumbers(); }
    bool MayHaveGiven(std::int64_t object, int set) const override {
        return Slot().MayHaveGiven(object, set);
    }

    int Depth() const override { return Slot().Depth(); }
    /// Throws Refused where the head was moved or the lease was lost.
    void Begin() override;
    void Commit() override;
    void Rollback() noexcept override { Slot().Rollback(); }
    void CheckUsable() override { Slot().CheckUsable(); }
    std::int64_t Generation() const override { return Slot().Generation(); }
    bool Refresh() override;
    std::unique_ptr<Store> OpenNewer() override { return nullptr; }
    /// The writer as of the last time that the store was asked.
    std::string Writer() const override { return m_head.writer; }
    void CopyTo(const std::string& directory, const std::function<void(double)>& progress) override;
    Sizes GetSizes() override { return Slot().GetSizes(); }
    [[nodiscard]] bool VerifyRows(std::vector<std::string>& problems) override {
        return Slot().VerifyRows(problems);
    }
    /// Compares the pieces in the store, whatever the cache has.
    void VerifyChunks(std::vector<std::string>& problems,
                      const std::function<void(double)>& progress) override;
    std::unique_ptr<Salvage> SalvageFrom(const std::string& directory,
                                         const std::function<void()>& goOn) override;

  private:
    explicit RemoteEngine(ModelUrl url);
    static void Publish(RemoteStore& store, Engine& engine, const std::string& summary);
    static void PutNew(const std::string& url,
                       const std::function<void(const std::string& directory)>& make);
    void OpenToRead();
    void OpenToWrite();
    void OpenToWriteBesideOthers();
    void Use(RemoteCache::Opened opened);
    Head AskForHead();
    std::optional<Newcomer> AskForState(const std::optional<RemoteCache::Note>& note);
    [[noreturn]] void FailUnknown() const;
    void CheckHead(const Head& head, const std::optional<RemoteCache::Note>& note) const;
    std::vector<SharedCommit> Take(const CommittedChange& change) override;
    std::vector<SharedCommit> Offer(const NewState& state);
    std::vector<SharedCommit> CommitsOfOthers(std::int64_t after);
    Range LeaseNumbers(Of what, const Numbers& next) override;
    bool FollowHead();
    void NoteCommit() noexcept;
    Engine& Slot() const { return *m_slot.engine; }

    ModelUrl m_url;
    std::string m_path;
    bool m_writable = false;
    std::unique_ptr<RemoteStore> m_store;
    PieceFetcher m_pieces;
    RemoteCache m_cache;
    RemoteCache::Opened m_slot;
    Head m_head;
    std::optional<Lease> m_lease;  // of one who writes alone
    Numbers m_numRanges;           // that were leased so far
    bool m_wasMoved = false;       // while this handle was committing
    std::string m_lost;            // why no more can be committed; empty while it can
    std::chrono::steady_clock::time_point m_renewed;
    std::int64_t m_changesetBytes = 0;  // since the last base that this handle put
};

}  // namespace orq::storage
