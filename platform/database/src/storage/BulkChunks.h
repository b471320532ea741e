// Chunks of bulk data: large ones lie in the bulk file, each in one page-aligned extent of it;
// small ones stand in their row of the catalogue, whose pages have checksums of their own, and move
// to the file when they grow.
//
// Committed bytes never change where they lie. An append writes behind the committed length of the
// chunk's extent; any other change writes the whole chunk to a new extent and frees the old one.
// Every block of 64 KiB of a chunk has a checksum over its bytes up to the chunk's length; a block
// is compared with it before its bytes are first handed out, and again after it has grown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

#include "BulkFile.h"
#include "Catalogue.h"
#include "ChunkSource.h"
#include "FreeSpace.h"
#include "Store.h"

namespace orq::storage {

inline constexpr std::int64_t kChecksumBlock = 64 << 10;  // stored layout, do not change

// What is written to a chunk of up to so many bytes stands in the catalogue; see the benchmark
// "small-drawers". Readers go by what a row says.
inline constexpr std::int64_t kMostSmallBytes = 2048;

// One chunk as the catalogue's row names it.
struct Extent : ChunkStore::Chunk {
    std::int64_t offset = 0;  // 0: the chunk has no bytes in the file
    std::int64_t capacity = 0;
    std::int64_t length = 0;
    std::vector<std::uint64_t> checksums;  // one per block
    std::vector<std::byte> small;          // the bytes, where they stand in the row
    bool isAlone = false;                  // in a row of table small_chunk

    // What this handle knows: which blocks it has compared, and from where on the bytes were
    // written by transaction level `level` and may be written again while it is the newest.
    std::vector<bool> verified;
    std::size_t nUnverified = 0;
    std::int64_t level = 0;
    std::int64_t writableFrom = 0;

    bool IsInFile() const { return offset != 0; }
};

// Throws Damaged when the row contradicts itself.
Extent MakeExtent(const ExtentRow& row);
Extent MakeExtent(const SmallChunkRow& row);

// Compares every block of an extent; returns the first byte of each that differs. REQUIRES: the
// file reaches to its end.
std::vector<std::int64_t> FindDamage(BulkFile& file, const Extent& extent);
// The same for its bytes wherever they lie.
std::vector<std::int64_t> FindDamage(const std::byte* bytes, const Extent& extent);

class BulkChunks final : public ChunkStore {
  public:
    BulkChunks(Catalogue& catalogue, BulkFile& file, FreeSpace& space)
        : m_catalogue(catalogue), m_file(file), m_space(space) {}

    std::int64_t Length(std::int64_t store, int part, std::int64_t chunk) override;
    Reader Open(std::int64_t store, int part, std::int64_t chunk) override;
    std::shared_ptr<const std::byte> Map(std::int64_t store,
                                         std::span<const Piece> pieces) override;
    void Write(std::int64_t store, int part, std::int64_t chunk, std::int64_t begin,
               std::span<const std::byte> bytes, std::int64_t reserve) override;
    void Erase(std::int64_t store) override;

    // Gives free space at the end back, see FreeSpace::TrimEnd.
    void TrimEnd();
    // Throws Damaged where two rows own the same bytes of the bulk file, or one owns bytes behind
    // its end: whoever trusted them would write over data of others, or cut it off. So they are
    // compared once, before this handle first writes, frees or cuts; costs a look at each row.
    void CheckPlaces();
    bool ArePlacesChecked() const { return m_arePlacesChecked; }

    // From here on, what was written so far may not be written again where it lies.
    void BeginLevel() { ++m_level; }
    // The catalogue's rows may have changed: reads them again when they are needed. Blocks that
    // were compared stay so where place and checksum are still the same.
    void Forget() noexcept;
    // Where the last extent ends; kept in the catalogue by the engine.
    std::int64_t& BulkEnd() { return m_bulkEnd; }
    // From here on, chunks below this place do not grow beyond it: what they would grow into may be
    // another's when the transaction is committed.
    void KeepPlacesBelow(std::int64_t end) { m_movableFrom = end; }
    // From here on, blocks that differ from their checksum are brought from there. It has to live as
    // long as this.
    void BringFrom(ChunkSource* source) { m_source = source; }
    // Brings what the file has not of all chunks. Progress is in bytes. Throws Damaged.
    void BringAll(const std::function<void(std::int64_t)>& progress);
    // Whether bytes were written since the last call of this.
    bool TakeWroteBytes();

  private:
    using Extents = std::map<std::int64_t, Extent>;  // by chunk number; memory follows the rows
    using Key = std::pair<std::int64_t, int>;

    // Whether no row can have a chunk of the store: its number is above all that have one. Stores
    // are mostly written once, right after they got their number, so none of it is looked up or
    // kept here.
    bool IsNew(std::int64_t store);
    Extents& Load(std::int64_t store, int part);
    Extents ReadRows(const Key& key);
    void NoteVerified(const Key& key, Extents& extents) const;
    Extent& Find(std::int64_t store, int part, std::int64_t chunk);
    const std::byte* BytesOf(const Extent& extent) {
        return extent.IsInFile() ? m_file.Map(extent.offset, extent.length) : extent.small.data();
    }
    bool IsMissing(const Extent& extent, std::size_t block) const;
    void Prefault(const Extent& extent, std::int64_t begin, std::int64_t end) const;
    void Verify(Extent& extent, std::int64_t begin, std::int64_t end);
    void CompareAgain(Extent& extent, std::size_t block);
    void Bring(Extent& extent, std::size_t first);
    static Range CheckedAround(const Extent& extent, Range range);
    Range Check(Chunk& chunk, Range range) override;
    Range CopyChecked(Chunk& chunk, Range range, std::byte* to) override;
    void WriteInPlace(Extent& extent, std::int64_t begin, std::span<const std::byte> bytes);
    void Replace(Extent& extent, std::int64_t begin, std::span<const std::byte> bytes,
                 std::int64_t reserve);
    bool FitsInPlace(Extent& extent, std::int64_t begin, std::int64_t end);
    // Whether data of few bytes that have no other chunk beside them have a table of their own.
    bool HasSmallTable() const;
    bool HasNothing(std::int64_t store);
    void PutRow(const Key& key, std::int64_t chunk, Extent& extent);
    // REQUIRES: called before a store gets another chunk: a small one is no longer the only one.
    void JoinOthers(std::int64_t store);
    bool StaysSmall(const Extent& extent, std::int64_t end) const;
    void WriteToFile(Extent& extent, std::int64_t begin, std::span<const std::byte> bytes,
                     std::int64_t reserve);

    Catalogue& m_catalogue;
    BulkFile& m_file;
    FreeSpace& m_space;
    ChunkSource* m_source = nullptr;
    std::int64_t m_bulkEnd = kBulkPage;
    std::int64_t m_movableFrom = 0;
    std::int64_t m_level = 1;
    bool m_wroteBytes = false;
    bool m_arePlacesChecked = false;
    std::int64_t m_highestStore = -1;  // that has a row, or more; below 0 while that is not known
    std::map<Key, Extents> m_parts;    // all rows of a part, or nothing of it
    std::map<Key, Extents> m_before;   // as of the last Forget
};

}  // namespace orq::storage
