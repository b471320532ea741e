// Brings pieces of a model's bulk data from the store into the bulk file of a slot, and compares those
// of the store with the checksums in the catalogue.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "../ChunkSource.h"
#include "../Engine.h"
#include "RemoteStore.h"

namespace orq::storage {

class PieceFetcher final : public ChunkSource {
  public:
    /// The store has to live as long as this.
    explicit PieceFetcher(RemoteStore& store) : m_store(store) {}

    /// Fills the bulk file of this slot, in `directory`, from here on. The slot has to live as long as
    /// pieces are asked for.
    void Serve(Engine& slot, const std::string& directory);
    void Bring(std::span<const BulkFile::Place> places) override;
    /// Throws Busy where the store no longer has the state of the slot.
    void CheckStillThere() override;
    /// Adds what is wrong with the pieces in the store, whatever the slot has.
    void Verify(std::vector<std::string>& problems, const std::string& model,
                const std::function<void(double)>& progress);

  private:
    void BringWithSmall(std::span<const BulkFile::Place> places);
    void Fetch(std::span<const BulkFile::Place> asked, std::span<const BulkFile::Place> places,
               const BulkFile::Place& ahead);
    void Put(const PieceView& piece);
    void VerifyAll(std::span<const Extent> extents, std::vector<std::string>& problems,
                   const std::string& model);

    RemoteStore& m_store;
    Engine* m_slot = nullptr;
    std::unique_ptr<BulkFile> m_file;  // of the slot, for what is brought
    std::int64_t m_aheadSize = 0;      // of what was brought last
    std::int64_t m_lastEnd = 0;        // of that
    bool m_hasSmall = false;           // small chunks were brought together
};

}  // namespace orq::storage
