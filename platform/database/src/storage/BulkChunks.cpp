#include "BulkChunks.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "BlockHash.h"
#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

std::int64_t RoundUp(std::int64_t value, std::int64_t step) {
    return (value + step - 1) / step * step;
}

std::size_t NumBlocks(std::int64_t length) {
    return static_cast<std::size_t>((length + kChecksumBlock - 1) / kChecksumBlock);
}

std::int64_t BlockBegin(std::size_t block) {
    return static_cast<std::int64_t>(block) * kChecksumBlock;
}

std::int64_t BlockEnd(std::size_t block, std::int64_t length) {
    return std::min(BlockBegin(block + 1), length);
}

// The file reaches to the end that the catalogue says, and perhaps no further.
void CheckLiesBelow(const BulkFile& file, std::int64_t bulkEnd, const ExtentRow& row) {
    if (row.offset + row.capacity > bulkEnd) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            file.Path() + ": ends at byte " + std::to_string(bulkEnd) +
                                ", the catalogue's row of chunk " + std::to_string(row.chunk) +
                                " of store " + std::to_string(row.store) + " ends at byte " +
                                std::to_string(row.offset + row.capacity));
    }
}

// Blocks that were compared stay so where place and checksum are still the same.
void TakeVerified(const Extent& then, Extent& now) {
    const std::size_t nBlocks =
        now.offset == then.offset ? std::min(now.checksums.size(), then.checksums.size()) : 0;
    for (std::size_t block = 0; block < nBlocks; ++block) {
        if (then.verified[block] && then.checksums[block] == now.checksums[block]) {
            now.verified[block] = true;
            --now.nUnverified;
        }
    }
}

bool IsConsistent(const ExtentRow& row) {
    if (row.offset == 0) {
        return row.capacity == 0 && row.checksums.empty() && row.length > 0 &&
               std::ssize(row.small) == row.length;
    }
    return row.offset >= kBulkPage && row.offset % kBulkPage == 0 &&
           row.capacity % kBulkPage == 0 && row.length > 0 && row.length <= row.capacity &&
           row.checksums.size() == NumBlocks(row.length) * sizeof(std::uint64_t) &&
           row.small.empty();
}

}  // namespace

Extent MakeExtent(const ExtentRow& row) {
    if (!IsConsistent(row)) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            "the catalogue's row of chunk " + std::to_string(row.chunk) +
                                " of store " + std::to_string(row.store) + " is inconsistent");
    }
    Extent extent;
    extent.offset = row.offset;
    extent.capacity = row.capacity;
    extent.length = row.length;
    extent.small.assign(row.small.begin(), row.small.end());
    const std::size_t nBlocks = row.checksums.size() / sizeof(std::uint64_t);
    extent.checksums.resize(nBlocks);
    std::ranges::copy(row.checksums, std::as_writable_bytes(std::span(extent.checksums)).begin());
    extent.verified.assign(nBlocks, false);
    extent.nUnverified = nBlocks;
    return extent;
}

bool BulkChunks::IsNew(std::int64_t store) {
    if (m_highestStore < 0) {
        auto last = m_catalogue.FindLast<ExtentRow>();
        auto lastSmall = m_catalogue.FindLast<SmallChunkRow>();
        m_highestStore = std::max<std::int64_t>(last.Next() ? last->store : 0,
                                                lastSmall.Next() ? lastSmall->store : 0);
    }
    return store > m_highestStore;
}

Extent MakeExtent(const SmallChunkRow& row) {
    if (row.bytes.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            "the catalogue's row of the small chunk of store " +
                                std::to_string(row.store) + " is inconsistent");
    }
    Extent extent;
    extent.length = std::ssize(row.bytes);
    extent.small.assign(row.bytes.begin(), row.bytes.end());
    extent.isAlone = true;
    return extent;
}

BulkChunks::Extents& BulkChunks::Load(std::int64_t store, int part) {
    const Key key(store, part);
    if (const auto known = m_parts.find(key); known != m_parts.end()) {
        return known->second;
    }
    // A chunk without a row reads as zeros, so rows count only when all of them have been read
    // (invariant 11).
    Extents extents = ReadRows(key);
    NoteVerified(key, extents);
    Extents& kept = m_parts.try_emplace(key, std::move(extents)).first->second;
    m_before.erase(key);
    return kept;
}

BulkChunks::Extents BulkChunks::ReadRows(const Key& key) {
    Extents extents;
    if (key.second == 0) {
        auto row = m_catalogue.Find<SmallChunkRow>(key.first);
        if (row.Next()) {
            extents.emplace(0, MakeExtent(*row));
            return extents;
        }
    }
    for (const ExtentRow& row : m_catalogue.Find<ExtentRow>(key.first, key.second)) {
        Extent extent = MakeExtent(row);
        CheckLiesBelow(m_file, m_bulkEnd, row);
        extents.emplace_hint(extents.end(), row.chunk, std::move(extent));
    }
    return extents;
}

// Marks what was compared before the last Forget and is the same.
void BulkChunks::NoteVerified(const Key& key, Extents& extents) const {
    const auto before = m_before.find(key);
    if (before == m_before.end()) {
        return;
    }
    for (auto& [number, now] : extents) {
        if (const auto then = before->second.find(number); then != before->second.end()) {
            TakeVerified(then->second, now);
        }
    }
}

namespace {

std::shared_ptr<const std::byte> CopyOf(const std::byte* bytes, std::int64_t size) {
    const auto count = static_cast<std::size_t>(size);
    const std::shared_ptr<std::byte[]> copy(new std::byte[count]);
    std::copy_n(bytes, count, copy.get());
    return {copy, copy.get()};
}

}  // namespace

Extent& BulkChunks::Find(std::int64_t store, int part, std::int64_t chunk) {
    return Load(store, part)[chunk];
}

std::int64_t BulkChunks::Length(std::int64_t store, int part, std::int64_t chunk) {
    if (IsNew(store)) {
        return 0;
    }
    const Extents& extents = Load(store, part);
    const auto found = extents.find(chunk);
    return found != extents.end() ? found->second.length : 0;
}

ChunkStore::Reader BulkChunks::Open(std::int64_t store, int part, std::int64_t chunk) {
    Extents& extents = Load(store, part);
    const auto found = extents.find(chunk);
    if (found == extents.end() || found->second.length == 0) {
        return {};
    }
    Extent& extent = found->second;
    return {*this, extent, BytesOf(extent), extent.length,
            extent.nUnverified == 0 ? Range{0, extent.length} : Range()};
}

std::shared_ptr<const std::byte> BulkChunks::Map(std::int64_t store,
                                                 std::span<const Piece> pieces) {
    std::vector<BulkFile::Place> places;
    for (const Piece& piece : pieces) {
        Reader reader = Open(store, 0, piece.chunk);
        if (reader.Length() < piece.range.end) {
            return nullptr;
        }
        const std::byte* bytes = reader.Bytes(piece.range.begin, piece.range.end);
        const std::int64_t size = piece.range.end - piece.range.begin;
        const Extent& extent = Find(store, 0, piece.chunk);
        if (!extent.IsInFile()) {
            return pieces.size() == 1 ? CopyOf(bytes, size) : nullptr;
        }
        places.push_back({extent.offset + piece.range.begin, size});
    }
    return m_file.MapApart(places);
}

ChunkStore::Range BulkChunks::CheckedAround(const Extent& extent, Range range) {
    if (extent.nUnverified == 0) {
        return {0, extent.length};
    }
    return {range.begin / kChecksumBlock * kChecksumBlock,
            std::min(RoundUp(range.end, kChecksumBlock), extent.length)};
}

ChunkStore::Range BulkChunks::Check(Chunk& chunk, Range range) {
    Extent& extent = static_cast<Extent&>(chunk);
    Verify(extent, range.begin, range.end);
    return CheckedAround(extent, range);
}

// Holes of the file are left alone where bytes may still have to be brought: the system would keep
// memory for them, in small pages, into which what is brought would then go.
void BulkChunks::Prefault(const Extent& extent, std::int64_t begin, std::int64_t end) const {
    if (m_source == nullptr || m_file.IsWritten(extent.offset + begin, extent.offset + end)) {
        m_file.Prefault(extent.offset + begin, end - begin);
    }
}

// Whether a block certainly has to be brought; holes are left alone, as above.
bool BulkChunks::IsMissing(const Extent& extent, std::size_t block) const {
    return m_source != nullptr &&
           !m_file.HasWritten(extent.offset + BlockBegin(block),
                              extent.offset + BlockEnd(block, extent.length));
}

void BulkChunks::Verify(Extent& extent, std::int64_t begin, std::int64_t end) {
    if (extent.nUnverified == 0) {
        return;
    }
    const std::byte* bytes = BytesOf(extent);
    Prefault(extent, begin, end);
    const std::size_t last = NumBlocks(end);
    for (auto block = static_cast<std::size_t>(begin / kChecksumBlock); block < last; ++block) {
        if (extent.verified[block]) {
            continue;
        }
        const std::int64_t from = BlockBegin(block);
        if (IsMissing(extent, block) ||
            BlockHash(bytes + from, BlockEnd(block, extent.length) - from) !=
                extent.checksums[block]) {
            CompareAgain(extent, block);
        }
        extent.verified[block] = true;
        --extent.nUnverified;
    }
}

// A block that differed: right now, or an error.
void BulkChunks::CompareAgain(Extent& extent, std::size_t block) {
    if (m_source != nullptr) {
        Bring(extent, block);
    }
    const std::int64_t from = BlockBegin(block);
    const std::int64_t size = BlockEnd(block, extent.length) - from;
    if (BlockHash(BytesOf(extent) + from, size) != extent.checksums[block]) {
        if (m_source != nullptr) {
            m_source->CheckStillThere();
        }
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_file.Path() + ": the block at byte " +
                                std::to_string(extent.offset + from) + " (" + std::to_string(size) +
                                " bytes) is damaged (checksum differs)");
    }
}

ChunkStore::Range BulkChunks::CopyChecked(Chunk& chunk, Range range, std::byte* to) {
    Extent& extent = static_cast<Extent&>(chunk);
    const std::byte* bytes = BytesOf(extent);
    if (extent.nUnverified > 0) {
        Prefault(extent, range.begin, range.end);
    }
    for (std::int64_t from = range.begin; from < range.end;) {
        const auto block = static_cast<std::size_t>(from / kChecksumBlock);
        const std::int64_t end = std::min(range.end, BlockEnd(block, extent.length));
        const std::int64_t size = end - from;
        const bool isWhole = from == BlockBegin(block) && end == BlockEnd(block, extent.length);
        if (extent.nUnverified > 0 && !extent.verified[block] && isWhole) {
            if (IsMissing(extent, block) ||
                CopyAndHash(to, bytes + from, size) != extent.checksums[block]) {
                // What is damaged is not handed out, nor left behind.
                std::fill_n(to, size, std::byte{0});
                CompareAgain(extent, block);
                std::copy_n(bytes + from, size, to);
            }
            extent.verified[block] = true;
            --extent.nUnverified;
        } else {
            Verify(extent, from, end);
            std::copy_n(bytes + from, size, to);
        }
        to += size;
        from = end;
    }
    return CheckedAround(extent, range);
}

// Brings the blocks from this one on that are not right: who reads one block of a chunk mostly
// reads more, and bringing costs a round trip.
void BulkChunks::Bring(Extent& extent, std::size_t first) {
    constexpr std::size_t kMost = (8 << 20) / kChecksumBlock;
    const std::byte* bytes = BytesOf(extent);
    std::vector<BulkFile::Place> places;
    const std::size_t last = std::min(first + kMost, extent.checksums.size());
    for (std::size_t block = first; block < last; ++block) {
        const std::int64_t from = BlockBegin(block);
        const std::int64_t to = BlockEnd(block, extent.length);
        if (extent.verified[block] ||
            (block > first && !IsMissing(extent, block) &&
             BlockHash(bytes + from, to - from) == extent.checksums[block])) {
            continue;
        }
        if (!places.empty() && places.back().offset + places.back().size == extent.offset + from) {
            places.back().size += to - from;
        } else {
            places.push_back({extent.offset + from, to - from});
        }
    }
    m_source->Bring(places);
}

void BulkChunks::BringAll(const std::function<void(std::int64_t)>& progress) {
    for (const ExtentRow& row : m_catalogue.Find<ExtentRow>()) {
        Extent extent = MakeExtent(row);
        CheckLiesBelow(m_file, m_bulkEnd, row);
        Verify(extent, 0, extent.length);
        progress(extent.length);
    }
}

void BulkChunks::Write(std::int64_t store, int part, std::int64_t chunk, std::int64_t begin,
                       std::span<const std::byte> bytes, std::int64_t reserve) {
    if (bytes.empty()) {
        return;
    }
    const std::int64_t end = begin + static_cast<std::int64_t>(bytes.size());
    const bool isNew = IsNew(store);
    m_highestStore = std::max(m_highestStore, store);
    const bool isFirst = part == 0 && chunk == 0;
    const bool isAlone =
        isFirst && StaysSmall({}, end) && HasSmallTable() && (isNew || HasNothing(store));
    if (isAlone && isNew && begin == 0) {
        m_parts.erase({store, part});  // what was found of it was nothing
        m_catalogue.Put(SmallChunkRow{store, bytes});
        return;
    }
    if (!isNew && !isFirst) {
        JoinOthers(store);
    }
    Extent& extent = Find(store, part, chunk);
    const bool staysSmall = StaysSmall(extent, end);
    if (!staysSmall) {
        // Before the change: a refusal leaves the transaction as it was.
        CheckPlaces();
    }
    Change change(m_catalogue);
    if (staysSmall) {
        extent.isAlone = extent.isAlone || isAlone;
        extent.small.resize(static_cast<std::size_t>(std::max(extent.length, end)));
        extent.length = std::ssize(extent.small);  // only now, as the line above may throw
        std::ranges::copy(bytes, extent.small.begin() + begin);
    } else {
        if (extent.isAlone) {
            m_catalogue.Erase(Table::SmallChunk, store);
            extent.isAlone = false;
        }
        WriteToFile(extent, begin, bytes, reserve);
    }
    PutRow({store, part}, chunk, extent);
    change.Finish();
}

bool BulkChunks::HasSmallTable() const {
    return m_catalogue.FormatVersion() >= kSmallDrawersSince;
}

bool BulkChunks::HasNothing(std::int64_t store) {
    return Load(store, 0).empty() && !m_catalogue.Has<ExtentRow>(store);
}

void BulkChunks::PutRow(const Key& key, std::int64_t chunk, Extent& extent) {
    if (extent.isAlone) {
        m_catalogue.Put(SmallChunkRow{key.first, extent.small});
        return;
    }
    m_catalogue.Put(ExtentRow{key.first, key.second, chunk, extent.offset, extent.capacity,
                              extent.length, std::as_bytes(std::span(extent.checksums)),
                              extent.small});
}

void BulkChunks::JoinOthers(std::int64_t store) {
    Extents& extents = Load(store, 0);
    const auto first = extents.find(0);
    if (first != extents.end() && first->second.isAlone) {
        Change change(m_catalogue);
        m_catalogue.Erase(Table::SmallChunk, store);
        first->second.isAlone = false;
        PutRow({store, 0}, 0, first->second);
        change.Finish();
    }
}

bool BulkChunks::StaysSmall(const Extent& extent, std::int64_t end) const {
    return !extent.IsInFile() && end <= kMostSmallBytes &&
           m_catalogue.FormatVersion() >= kSmallChunksSince;
}

void BulkChunks::WriteToFile(Extent& extent, std::int64_t begin, std::span<const std::byte> bytes,
                             std::int64_t reserve) {
    if (extent.level != m_level) {
        // Invariant 1: what was there when the level began is what undoing it goes back to.
        extent.level = m_level;
        extent.writableFrom = extent.length;
    }
    const std::int64_t end = begin + static_cast<std::int64_t>(bytes.size());
    std::vector<std::byte> withGap;
    if (begin > extent.length) {
        // A gap reads as zeros. They have to be written: space that is used again has old bytes in
        // it.
        withGap.resize(static_cast<std::size_t>(end - extent.length));
        std::ranges::copy(bytes, withGap.begin() + (begin - extent.length));
        bytes = withGap;
        begin = extent.length;
    }
    if (FitsInPlace(extent, begin, end)) {
        WriteInPlace(extent, begin, bytes);
    } else {
        Replace(extent, begin, bytes, reserve);
    }
    m_wroteBytes = true;
}

bool BulkChunks::FitsInPlace(Extent& extent, std::int64_t begin, std::int64_t end) {
    if (!extent.IsInFile() || begin < extent.writableFrom) {
        return false;
    }
    if (end > extent.capacity && extent.offset + extent.capacity == m_bulkEnd &&
        extent.offset >= m_movableFrom) {
        // The last extent of the file grows where it lies, since nothing is behind it.
        m_bulkEnd = extent.offset + RoundUp(end, kBulkPage);
        extent.capacity = m_bulkEnd - extent.offset;
    }
    return end <= extent.capacity;
}

void BulkChunks::WriteInPlace(Extent& extent, std::int64_t begin,
                              std::span<const std::byte> bytes) {
    const std::int64_t end = begin + static_cast<std::int64_t>(bytes.size());
    const auto first = static_cast<std::size_t>(begin / kChecksumBlock);
    // Old bytes that share a block with new ones must not get a checksum unseen.
    if (begin > BlockBegin(first)) {
        Verify(extent, BlockBegin(first), begin);
    }
    if (end < extent.length) {
        Verify(extent, end, end + 1);
    }
    extent.length = std::max(extent.length, end);
    const std::size_t nBefore = extent.checksums.size();
    const std::size_t nBlocks = NumBlocks(extent.length);
    extent.checksums.resize(nBlocks);
    extent.verified.resize(nBlocks, false);
    extent.nUnverified += nBlocks - nBefore;

    // Blocks of new bytes alone get the checksum of the bytes as they were given, and are compared
    // when they are first read: so a fault on the way into the file is found.
    const auto isWhole = [&](std::size_t block) {
        return BlockBegin(block) >= begin && BlockEnd(block, extent.length) <= end;
    };
    const std::size_t last = NumBlocks(end);
    for (std::size_t block = first; block < last; ++block) {
        if (isWhole(block)) {
            const std::int64_t from = BlockBegin(block);
            extent.checksums[block] =
                BlockHash(bytes.data() + (from - begin), BlockEnd(block, extent.length) - from);
            if (extent.verified[block]) {
                extent.verified[block] = false;
                ++extent.nUnverified;
            }
        }
    }
    m_file.Write(extent.offset + begin, bytes, end == extent.length);
    // Blocks with old bytes in them get theirs from the file. The old bytes were compared above, so
    // nothing is compared again.
    for (const std::size_t block : {first, last - 1}) {
        if (!isWhole(block)) {
            const std::int64_t from = BlockBegin(block);
            extent.checksums[block] =
                BlockHash(BytesOf(extent) + from, BlockEnd(block, extent.length) - from);
            if (!extent.verified[block]) {
                extent.verified[block] = true;
                --extent.nUnverified;
            }
        }
    }
}

void BulkChunks::Replace(Extent& extent, std::int64_t begin, std::span<const std::byte> bytes,
                         std::int64_t reserve) {
    const std::int64_t end = begin + static_cast<std::int64_t>(bytes.size());
    const std::int64_t length = std::max(extent.length, end);
    std::vector<std::byte> whole;
    if (begin > 0 || end < extent.length) {
        Verify(extent, 0, extent.length);
        const std::byte* old = BytesOf(extent);
        whole.assign(old, old + extent.length);
        whole.resize(static_cast<std::size_t>(length));
        std::ranges::copy(bytes, whole.begin() + begin);
        bytes = whole;
    }
    if (extent.IsInFile()) {
        // The old place is not taken again below: it waits for the readers of the committed state
        // (invariant 5).
        m_space.Free(extent.offset, extent.capacity);
    }
    Extent fresh;
    fresh.capacity = RoundUp(std::max(length, reserve), kBulkPage);
    fresh.offset = m_space.Allocate(fresh.capacity, m_bulkEnd);
    fresh.level = m_level;
    extent = std::move(fresh);
    WriteInPlace(extent, 0, bytes);
}

void BulkChunks::Erase(std::int64_t store) {
    CheckPlaces();
    Change change(m_catalogue);
    for (const ExtentRow& row : m_catalogue.Find<ExtentRow>(store)) {
        if (row.offset != 0) {
            m_space.Free(row.offset, row.capacity);
        }
    }
    m_catalogue.Erase(Table::Extent, store);
    m_catalogue.Erase(Table::SmallChunk, store);
    m_parts.erase(m_parts.lower_bound({store, 0}), m_parts.lower_bound({store + 1, 0}));
    change.Finish();
}

void BulkChunks::TrimEnd() {
    if (m_space.ReachesEnd(m_bulkEnd)) {
        CheckPlaces();
        m_space.TrimEnd(m_bulkEnd);
    }
}

void BulkChunks::CheckPlaces() {
    if (m_arePlacesChecked) {
        return;
    }
    std::vector<std::pair<std::int64_t, std::int64_t>> places;  // [begin, end)
    for (const ExtentRow& row : m_catalogue.Find<ExtentRow>()) {
        if (row.offset != 0) {
            places.emplace_back(row.offset, row.offset + row.capacity);
        }
    }
    for (const FreeExtentRow& row : m_catalogue.Find<FreeExtentRow>()) {
        places.emplace_back(row.offset, row.offset + row.length);
    }
    std::ranges::sort(places);
    std::int64_t end = kBulkPage;
    for (const auto& [begin, placeEnd] : places) {
        if (begin < end || placeEnd > m_bulkEnd) {
            throw ORQBasFailure(
                ORQBasFailureKind::Damaged,
                m_file.Path() + ": rows of the catalogue own bytes " + std::to_string(begin) +
                    " to " + std::to_string(placeEnd) + ", which " +
                    (begin < end ? "others own too" : "lie behind the end that it says") +
                    "; nothing is written");
        }
        end = placeEnd;
    }
    m_arePlacesChecked = true;
}

void BulkChunks::Forget() noexcept {
    // What was known last counts for a part that is in both.
    m_parts.merge(m_before);
    m_before.swap(m_parts);
    m_parts.clear();
    // Small chunks have no blocks that were compared; their bytes would be kept for nothing.
    for (auto part = m_before.begin(); part != m_before.end();) {
        std::erase_if(part->second, [](const auto& chunk) { return !chunk.second.IsInFile(); });
        part = part->second.empty() ? m_before.erase(part) : std::next(part);
    }
    m_highestStore = -1;
}

bool BulkChunks::TakeWroteBytes() {
    return std::exchange(m_wroteBytes, false);
}

std::vector<std::int64_t> FindDamage(BulkFile& file, const Extent& extent) {
    return FindDamage(file.Map(extent.offset, extent.length), extent);
}

std::vector<std::int64_t> FindDamage(const std::byte* bytes, const Extent& extent) {
    std::vector<std::int64_t> damaged;
    for (std::size_t block = 0; block < extent.checksums.size(); ++block) {
        const std::int64_t from = BlockBegin(block);
        const std::int64_t length = BlockEnd(block, extent.length) - from;
        if (BlockHash(bytes + from, length) != extent.checksums[block]) {
            damaged.push_back(extent.offset + from);
        }
    }
    return damaged;
}

}  // namespace orq::storage
