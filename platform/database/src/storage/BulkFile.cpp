#include "BulkFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/uio.h>
#include <unistd.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

constexpr std::int64_t kWriteStep = 2 << 20;     // see Write
constexpr std::int64_t kLargePage = 2 << 20;     // of the system
constexpr std::int64_t kLargePiece = 256 << 10;  // worth a call of its own
// The disk is told to begin after so many bytes: smaller requests wait for each other.
constexpr std::int64_t kWriteBackStep = 4 << 20;
// See ReserveRoom.
constexpr std::int64_t kWorthRoom = 2 << 20;
constexpr std::int64_t kMostRoom = 64 << 20;
constexpr std::int64_t kLeftFree = 256 << 20;
constexpr std::array<std::byte, kBulkPage> kZeros{};
// Address space, not memory.
constexpr std::int64_t kSmallestMap = 64 << 20;
constexpr std::uint32_t kHeaderVersion = 1;
constexpr std::array<char, 8> kMagic = {'O', 'R', 'Q', 'B', 'U', 'L', 'K', '\0'};

// As it lies on the disk, little-endian; what follows up to the first extent has no meaning.
struct Header {
    std::array<char, 8> magic;
    std::uint32_t version;
    std::uint32_t page;
    Identity identity;
    std::uint64_t checksum;  // XXH3-64 of the bytes before it
};
static_assert(sizeof(Header) == 40);

Header MakeHeader(const Identity& identity) {
    Header header{kMagic, kHeaderVersion, static_cast<std::uint32_t>(kBulkPage), identity, 0};
    header.checksum = XXH3_64bits(&header, offsetof(Header, checksum));
    return header;
}

using Pieces = std::array<std::span<const std::byte>, 3>;

// All pieces, one behind the other.
void WriteAll(int file, const std::string& path, std::int64_t offset, Pieces pieces) {
    const auto nLeft = [&] { return pieces[0].size() + pieces[1].size() + pieces[2].size(); };
    while (nLeft() > 0) {
        std::array<iovec, std::tuple_size_v<Pieces>> vectors{};
        std::ranges::transform(pieces, vectors.begin(), [](std::span<const std::byte> piece) {
            return iovec{const_cast<std::byte*>(piece.data()), piece.size()};
        });
        const ssize_t n = pwritev(file, vectors.data(), std::ssize(vectors), offset);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        // A write of no bytes sets no errno, and would be tried for ever.
        if (n <= 0) {
            ORQBasThrowSystemFailure(
                path, "write " + std::to_string(nLeft()) + " bytes at " + std::to_string(offset));
        }
        offset += n;
        auto nWritten = static_cast<std::size_t>(n);
        for (std::span<const std::byte>& piece : pieces) {
            const std::size_t ofPiece = std::min(nWritten, piece.size());
            piece = piece.subspan(ofPiece);
            nWritten -= ofPiece;
        }
    }
}

bool HasMuchFree(int file) {
    struct statvfs disk {};
    return fstatvfs(file, &disk) == 0 &&
           disk.f_bavail * disk.f_frsize > static_cast<std::uint64_t>(kLeftFree);
}

std::int64_t SizeOf(int file, const std::string& path) {
    struct stat status {};
    if (fstat(file, &status) != 0) {
        ORQBasThrowSystemFailure(path, "ask for the size");
    }
    return status.st_size;
}

}  // namespace

BulkFile::~BulkFile() {
    Close();
}

void BulkFile::Create(const std::string& path, const Identity& identity) {
    m_path = path;
    m_file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (m_file < 0) {
        ORQBasThrowSystemFailure(path, "create");
    }
    const Header header = MakeHeader(identity);
    WriteAll(m_file, path, 0, {std::as_bytes(std::span(&header, 1))});
}

void BulkFile::CreateInMemory() {
    m_path = "bulk data in memory";
    m_inMemory = true;
    m_file = memfd_create("orq-bulk", MFD_CLOEXEC);
    if (m_file < 0) {
        ORQBasThrowSystemFailure(m_path, "create");
    }
}

void BulkFile::OpenUnchecked(const std::string& path, bool writable) {
    m_path = path;
    m_file = open(path.c_str(), (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC);
    if (m_file < 0) {
        ORQBasThrowSystemFailure(path, "open");
    }
}

Identity BulkFile::ReadIdentity() const {
    Header header{};
    const ssize_t n = pread(m_file, &header, sizeof header, 0);
    if (n < 0) {
        ORQBasThrowSystemFailure(m_path, "read");
    }
    if (n != static_cast<ssize_t>(sizeof header) || header.magic != kMagic) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged, m_path + ": is not a bulk file");
    }
    if (header.checksum != XXH3_64bits(&header, offsetof(Header, checksum))) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_path + ": the header is damaged (checksum differs)");
    }
    if (header.version > kHeaderVersion) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            m_path + ": has format version " + std::to_string(header.version) +
                                ", this program knows up to " + std::to_string(kHeaderVersion));
    }
    return header.identity;
}

void BulkFile::Open(const std::string& path, bool writable, const Identity& identity,
                    std::int64_t committedEnd) {
    OpenUnchecked(path, writable);
    if (ReadIdentity() != identity) {
        throw ORQBasFailure(ORQBasFailureKind::Foreign,
                            path + ": belongs to another database than the catalogue beside it");
    }
    CheckReaches(committedEnd);
    // Room of a transaction that was never committed, as that of a process which was killed.
    constexpr std::int64_t kBlockOfStat = 512;
    struct stat status {};
    if (writable && fstat(m_file, &status) == 0 &&
        status.st_blocks * kBlockOfStat > status.st_size + kWorthRoom) {
        GiveRoomBack();
    }
}

void BulkFile::Close() {
    Unmap();
    if (m_file >= 0) {
        close(m_file);
        m_file = -1;
    }
}

void BulkFile::Write(std::int64_t offset, std::span<const std::byte> bytes, bool fillsPage) {
    if (m_notes) {
        const auto size = static_cast<std::int64_t>(bytes.size());
        if (!m_noted.empty() && m_noted.back().offset + m_noted.back().size == offset) {
            m_noted.back().size += size;
        } else {
            m_noted.push_back({offset, size});
        }
    }
    if (m_inMemory) {
        WriteAll(m_file, m_path, offset, {bytes});
        return;
    }
    if (offset != WaitingEnd()) {
        Flush();
        m_waitingBegin = offset;
    }
    const std::int64_t end = offset + static_cast<std::int64_t>(bytes.size());
    const std::int64_t pageEnd = (end + kBulkPage - 1) / kBulkPage * kBulkPage;
    const std::span<const std::byte> fill(kZeros.data(),
                                          static_cast<std::size_t>(fillsPage ? pageEnd - end : 0));
    // The first large piece after a commit may be the only one until the next: it goes to the disk
    // while the rows are still being changed.
    if (m_isFirst && std::ssize(bytes) >= kLargePiece) {
        WriteStep(bytes, fill);
        return;
    }
    // Steps end at multiples of their size in the file: the system then keeps them in large pages,
    // which are quicker to write and to map. None of its pages is larger.
    while (!bytes.empty()) {
        const auto room = static_cast<std::size_t>(kWriteStep - WaitingEnd() % kWriteStep);
        if (bytes.size() < room) {
            if (std::ssize(bytes) >= kLargePiece) {
                m_waiting.reserve(kWriteStep);  // at once, instead of growing up to that
            }
            m_waiting.insert(m_waiting.end(), bytes.begin(), bytes.end());
            break;
        }
        WriteStep(bytes.first(room), {});
        bytes = bytes.subspan(room);
    }
    m_waiting.insert(m_waiting.end(), fill.begin(), fill.end());
}

void BulkFile::Flush() {
    if (!m_waiting.empty()) {
        WriteStep({}, {});
    }
}

// What waits, and these pieces behind it, which are not copied here.
//
// If this throws, what waited goes on waiting. That does no harm after the transaction is undone:
// its place has no meaning, and what is written there later comes later.
void BulkFile::WriteStep(std::span<const std::byte> bytes, std::span<const std::byte> fill) {
    const std::int64_t end = WaitingEnd() + static_cast<std::int64_t>(bytes.size() + fill.size());
    ReserveRoom(end);
    WriteAll(m_file, m_path, m_waitingBegin, {m_waiting, bytes, fill});
    if (m_writtenPages) {
        m_writtenPages->Add(m_waitingBegin, end);
    }
    BeginWriteBack(m_waitingBegin, end);
    m_nWritten += end - m_waitingBegin;
    m_waitingBegin = end;
    m_waiting.clear();
    m_isFirst = false;
}

void BulkFile::Fill(std::int64_t offset, std::span<const std::byte> bytes) {
    WriteAll(m_file, m_path, offset, {bytes});
    if (m_writtenPages) {
        m_writtenPages->Add(offset, offset + static_cast<std::int64_t>(bytes.size()));
    }
}

// A page has the size that it had when it was first needed: for a piece of a write, one that fits it.
// Reading a hole through a map for which large pages are wanted makes one of zeros, which the pieces
// are then copied into. Mapping 190 MB takes 0.3 ms with such pages, and 20 ms without.
void BulkFile::PrepareToFill(std::int64_t begin, std::int64_t end) const {
#ifdef MADV_POPULATE_READ
    begin = (begin + kLargePage - 1) / kLargePage * kLargePage;
    end = end / kLargePage * kLargePage;
    if (begin >= end) {
        return;
    }
    const auto size = static_cast<std::size_t>(end - begin);
    void* map = mmap(nullptr, size, PROT_READ, MAP_SHARED, m_file, begin);
    if (map == MAP_FAILED) {
        return;
    }
    if (madvise(map, size, MADV_HUGEPAGE) == 0) {
        madvise(map, size, MADV_POPULATE_READ);
    }
    munmap(map, size);
#endif
}

// Where much is written at the end of the file, the file system finds room for it ahead and in one
// piece, instead of for each page as it goes to the disk; as much again as was written so far, and
// the file stays as long as it is. Not on a disk that is nearly full, where the catalogue may need
// it. A hint only: what is not reserved is found, or told, by the write itself.
void BulkFile::ReserveRoom(std::int64_t end) {
    const std::int64_t n = m_nWritten + end - m_waitingBegin;
    if (end <= m_roomEnd || n < kWorthRoom || SizeOf(m_file, m_path) > m_waitingBegin ||
        !HasMuchFree(m_file)) {
        return;
    }
    m_roomEnd = end + std::min(n, kMostRoom);
    if (fallocate(m_file, FALLOC_FL_KEEP_SIZE, m_waitingBegin, m_roomEnd - m_waitingBegin) != 0) {
        // A part of it may have been found. Not tried again before the next commit.
        GiveRoomBack();
        m_roomEnd = std::numeric_limits<std::int64_t>::max();
    }
}

void BulkFile::GiveRoomBack() noexcept {
    m_roomEnd = 0;
    struct stat status {};
    if (fstat(m_file, &status) == 0) {
        CutOff(status.st_size);
    }
}

// Asks the disk to start early on what was written. A hint only: what it does not start, Sync does.
void BulkFile::BeginWriteBack(std::int64_t begin, std::int64_t end) {
    if (begin != m_unbegun.offset + m_unbegun.size) {
        m_unbegun = {begin, 0};
    }
    m_unbegun.size = end - m_unbegun.offset;
    const std::int64_t least = m_isFirst ? kLargePiece : kWriteBackStep;
    if (m_unbegun.size >= least) {
        sync_file_range(m_file, m_unbegun.offset, m_unbegun.size, SYNC_FILE_RANGE_WRITE);
        m_unbegun = {end, 0};
    }
}

void BulkFile::Extend(std::int64_t end) {
    Flush();
    // Between transactions a handle holds no buffer, and no room.
    m_waiting.shrink_to_fit();
    m_isFirst = true;
    m_nWritten = 0;
    // The end of the last extent may lie behind the last byte that was written, and readers compare
    // it with the file's length.
    const std::int64_t needed = SizeNeeded(end);
    if (SizeOf(m_file, m_path) < needed && ftruncate(m_file, needed) != 0) {
        ORQBasThrowSystemFailure(m_path, "extend");
    }
    if (m_roomEnd > 0) {
        GiveRoomBack();
    }
}

void BulkFile::Sync(std::int64_t end) {
    Extend(end);
    if (!m_inMemory && fdatasync(m_file) != 0) {
        ORQBasThrowSystemFailure(m_path, "sync");
    }
}

void BulkFile::CutOff(std::int64_t end) noexcept {
    // Failing costs nothing but space.
    [[maybe_unused]] const int result = ftruncate(m_file, end);
}

bool BulkFile::Reaches(std::int64_t size) const noexcept {
    struct stat status {};
    return fstat(m_file, &status) == 0 && status.st_size >= size;
}

std::int64_t BulkFile::Size() const {
    return SizeOf(m_file, m_path);
}

std::int64_t BulkFile::SizeNeeded(std::int64_t end) {
    return end > kBulkPage ? end : static_cast<std::int64_t>(sizeof(Header));
}

void BulkFile::CheckReaches(std::int64_t end) const {
    const std::int64_t size = Size();
    if (size < SizeNeeded(end)) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            m_path + ": is truncated: " + std::to_string(size) +
                                " bytes long, the catalogue needs " +
                                std::to_string(SizeNeeded(end)));
    }
}

const std::byte* BulkFile::Map(std::int64_t offset, std::int64_t size) {
    if (offset < WaitingEnd() && m_waitingBegin < offset + size) {
        Flush();
    }
    if (offset + size > m_mapped) {
        // Mapping beyond the end is allowed and spares mapping anew at each append; only bytes
        // that the catalogue names, which the file reaches to, are ever touched.
        // Twice what is needed now, so that a file that grows is mapped anew a few times only.
        const std::int64_t wanted =
            std::max({kSmallestMap, 2 * (offset + size), SizeOf(m_file, m_path)});
        Unmap();  // after the size is known, since asking for it can throw
        // Shared, so that it shows what is written to the file later, by this process or another.
        void* map =
            mmap(nullptr, static_cast<std::size_t>(wanted), PROT_READ, MAP_SHARED, m_file, 0);
        if (map == MAP_FAILED) {
            ORQBasThrowSystemFailure(m_path, "map " + std::to_string(wanted) + " bytes");
        }
        m_map = static_cast<const std::byte*>(map);
        m_mapped = wanted;
    }
    return m_map + offset;
}

void BulkFile::Prefault(std::int64_t offset, std::int64_t size) const {
#ifdef MADV_POPULATE_READ
    constexpr std::int64_t kWorthACall = 1 << 20;
    if (size >= kWorthACall && offset + size <= m_mapped) {
        const std::int64_t begin = offset / kBulkPage * kBulkPage;
        madvise(const_cast<std::byte*>(m_map) + begin,
                static_cast<std::size_t>(offset + size - begin), MADV_POPULATE_READ);
    }
#endif
}

std::shared_ptr<const std::byte> BulkFile::MapApart(std::span<const Place> places) const {
    const std::int64_t page = sysconf(_SC_PAGESIZE);  // what can be mapped, not what is stored
    std::int64_t size = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        const bool isLast = i + 1 == places.size();
        if ((i > 0 && places[i].offset % page != 0) ||
            (!isLast && (places[i].offset + places[i].size) % page != 0)) {
            return nullptr;
        }
        size += places[i].size;
    }
    if (size == 0) {
        return nullptr;
    }
    const std::int64_t before = places[0].offset % page;
    const auto length = static_cast<std::size_t>(before + size);
    // Room for all of them, which the maps of the places then take.
    void* const room =
        mmap(nullptr, length, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (room == MAP_FAILED) {
        ORQBasThrowSystemFailure(m_path, "find room for " + std::to_string(length) + " bytes");
    }
    auto* const begin = static_cast<std::byte*>(room);
    const std::shared_ptr<const std::byte> held(
        begin + before, [begin, length](const std::byte*) { munmap(begin, length); });
    std::byte* to = begin;
    for (const Place& place : places) {
        const std::int64_t from = place.offset / page * page;
        const auto bytes = static_cast<std::size_t>(place.offset + place.size - from);
        if (mmap(to, bytes, PROT_READ, MAP_SHARED | MAP_FIXED, m_file, from) == MAP_FAILED) {
            ORQBasThrowSystemFailure(m_path, "map " + std::to_string(bytes) + " bytes");
        }
        to += bytes;
    }
    return held;
}

void BulkFile::Unmap() {
    if (m_map != nullptr) {
        munmap(const_cast<std::byte*>(m_map), static_cast<std::size_t>(m_mapped));
        m_map = nullptr;
        m_mapped = 0;
    }
}

}  // namespace orq::storage
