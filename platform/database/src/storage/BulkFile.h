// The bulk file: raw bytes at offsets, written with pwrite and read through a memory map.
//
// Layout: a header (magic, format version, the database's identity, checksum), then, from the second
// page on, page-aligned extents; which bytes mean what is known to the catalogue alone. Bytes beyond
// the extents that the catalogue names have no meaning. A file that never had one is its header.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "WrittenPages.h"

namespace orq::storage {

inline constexpr std::int64_t kBulkPage = 4096;  // stored layout, do not change

using Identity = std::array<std::byte, 16>;

class BulkFile {
  public:
    BulkFile() = default;
    ~BulkFile();
    BulkFile(const BulkFile&) = delete;
    BulkFile& operator=(const BulkFile&) = delete;

    // Does not wait for the disk.
    void Create(const std::string& path, const Identity& identity);
    void CreateInMemory();
    // Opens whatever is there.
    void OpenUnchecked(const std::string& path, bool writable);
    // The identity in the header; throws when that is damaged, or of a newer format.
    Identity ReadIdentity() const;
    // Checks the header against `identity` and that the file reaches to `committedEnd`.
    void Open(const std::string& path, bool writable, const Identity& identity,
              std::int64_t committedEnd);
    void Close();

    // Puts bytes at `offset`, and zeros behind them up to the end of the page where they are the
    // last of their extent. Neighbouring pieces go to the file together, at the latest with Flush;
    // a failure to write any of them can come as late. Map shows what was written at once.
    void Write(std::int64_t offset, std::span<const std::byte> bytes, bool fillsPage);
    // Writes what waits.
    void Flush();
    // Makes the file as long as extents that end at `end` need it (sparse where nothing was written)
    // and puts everything that was written on the disk. A failure leaves the handle in doubt; see
    // Engine.
    void Sync(std::int64_t end);
    // The first half of Sync: writes what waits and makes the file so long.
    void Extend(std::int64_t end);
    // Gives bytes from `end` on back to the file system, if it can: they have no meaning.
    void CutOff(std::int64_t end) noexcept;
    // Whether the file has this many bytes; false where that is unknown.
    bool Reaches(std::int64_t size) const noexcept;

    // Puts bytes that were committed elsewhere into a file that lacks them, at once.
    void Fill(std::int64_t offset, std::span<const std::byte> bytes);
    // Bytes from `begin` to `end`, where nothing was written yet, are going to be filled in many small
    // pieces. The system then keeps them in large pages all the same. A hint only.
    void PrepareToFill(std::int64_t begin, std::int64_t end) const;
    // From here on, notes at `path` which pages were written, also by other handles of the file.
    void KeepWrittenPages(const std::string& path) { m_writtenPages.emplace(path); }
    // Whether all of these pages were written, and whether one of them was. REQUIRES: it is noted.
    bool IsWritten(std::int64_t begin, std::int64_t end) {
        return m_writtenPages->HasAll(begin, end);
    }
    bool HasWritten(std::int64_t begin, std::int64_t end) {
        return m_writtenPages->HasAny(begin, end);
    }

    struct Place {
        std::int64_t offset;
        std::int64_t size;
    };
    // From here on, notes where is written.
    void NoteWrites(bool notes) { m_notes = notes; }
    // What was noted since the last call of this, in the order of writing.
    std::vector<Place> TakeNotedWrites() { return std::exchange(m_noted, {}); }

    // For messages.
    const std::string& Path() const { return m_path; }
    std::int64_t Size() const;
    // How long a file is at least whose extents end at `end`. Those begin behind the header's page,
    // which need not be whole where there is none.
    static std::int64_t SizeNeeded(std::int64_t end);
    // Throws Damaged when the file is shorter than that.
    void CheckReaches(std::int64_t end) const;
    // The mapped bytes from `offset`; the map reaches at least to offset + size. Valid until the
    // next call of Map for a range beyond the present map, or Close.
    const std::byte* Map(std::int64_t offset, std::int64_t size);
    // Tells the system that these bytes of the map are read now, all of them, so that it prepares
    // large ranges in one go instead of page by page. A hint only.
    void Prefault(std::int64_t offset, std::int64_t size) const;
    // The bytes of places one behind the other, in a map of their own that lives on without the file.
    // Null where they do not meet at ends of the system's pages, and for no bytes.
    std::shared_ptr<const std::byte> MapApart(std::span<const Place> places) const;

  private:
    void WriteStep(std::span<const std::byte> bytes, std::span<const std::byte> fill);
    void ReserveRoom(std::int64_t end);
    void GiveRoomBack() noexcept;
    void BeginWriteBack(std::int64_t begin, std::int64_t end);
    void Unmap();
    std::int64_t WaitingEnd() const {
        return m_waitingBegin + static_cast<std::int64_t>(m_waiting.size());
    }

    int m_file = -1;
    bool m_inMemory = false;
    std::string m_path;
    const std::byte* m_map = nullptr;
    std::int64_t m_mapped = 0;
    // What waits to be written together, from this offset of the file on.
    std::vector<std::byte> m_waiting;
    std::int64_t m_waitingBegin = 0;
    bool m_isFirst = true;        // nothing was written since the last Extend
    std::int64_t m_nWritten = 0;  // since then
    std::int64_t m_roomEnd = 0;   // the disk has room up to here; 0 where none is reserved
    Place m_unbegun{};            // written, but the disk was not told to begin
    bool m_notes = false;
    std::vector<Place> m_noted;
    std::optional<WrittenPages> m_writtenPages;
};

}  // namespace orq::storage
