#include "PageChecksumVfs.h"

#include <sqlite3.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <utility>

#include "FoldStamp.h"

namespace orq::storage {

namespace {

constexpr int kCheckedBytes = kCataloguePageSize - kPageReservedBytes;
// SQLite hands no more than a result code on; Connection::Fail finds the page here. One for all
// handles, since the library runs in one thread.
PageDamage g_lastDamage;

// What is known of the folds into a main file.
struct Folds {
    FoldStamp stamp;                       // as last read or written
    bool isFolding = false;                // and nothing has failed in it
    bool isUnstamped = false;              // no page may be written
    const volatile void* index = nullptr;  // of the log, its first part
    sqlite3_int64 reaches = 0;             // bytes that the file is known to have since it began
};

// Frames of a log that are not written yet, one behind the other.
struct Gathered {
    static constexpr int kFrameHeader = 24;
    static constexpr int kMost = 32 * (kFrameHeader + kCataloguePageSize);

    std::byte* bytes = nullptr;  // room for so many, made when it is first needed
    int size = 0;
    sqlite3_int64 offset = 0;  // of the first one in the file
    sqlite3_int64 end = 0;     // of all that was given to be written since the log began anew
    bool isCommit = false;     // the page that comes next is the last one of its commit
};

// The shim's file object, followed in memory by the file object of the VFS below.
struct CheckedFile {
    sqlite3_file base;
    Folds folds;
    Gathered gathered;
    sqlite3_file* Below() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* Below(sqlite3_file* file) {
    return reinterpret_cast<CheckedFile*>(file)->Below();
}

sqlite3_vfs* BelowVfs(sqlite3_vfs* vfs) {
    return static_cast<sqlite3_vfs*>(vfs->pAppData);
}

Folds& FoldsOf(sqlite3_file* file) {
    return reinterpret_cast<CheckedFile*>(file)->folds;
}

Gathered& GatheredOf(sqlite3_file* file) {
    return reinterpret_cast<CheckedFile*>(file)->gathered;
}

// Without the stamp, which has a checksum of its own: it changes alone, and a disk whose power
// fails writes either all or nothing of its sector.
std::uint64_t PageChecksum(const std::byte* page, std::int64_t pageNumber) {
    const auto seed = static_cast<XXH64_hash_t>(pageNumber);
    if (pageNumber != 1) {
        return XXH3_64bits_withSeed(page, kCheckedBytes, seed);
    }
    std::array<std::byte, kCheckedBytes> first;
    std::copy_n(page, kCheckedBytes, first.begin());
    std::fill_n(first.begin() + FoldStamp::kOffset, FoldStamp::kBytes, std::byte{0});
    return XXH3_64bits_withSeed(first.data(), kCheckedBytes, seed);
}

// The number of a fold, spread over all bits of the checksum, so that no flipped bit of that makes
// another low number. Stored, do not change.
constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15;
constexpr std::uint64_t kGather = 0xF1DE83E19937733D;
static_assert(kSpread * kGather == 1);

// The fold that wrote a page; beyond all numbers of folds where the page is damaged.
std::uint64_t FoldOf(const std::byte* page, std::int64_t pageNumber) {
    std::uint64_t stored = 0;
    std::memcpy(&stored, page + kCheckedBytes, sizeof stored);
    return (stored ^ PageChecksum(page, pageNumber)) * kGather;
}

bool IsPage(int amount, sqlite3_int64 offset) {
    return amount == kCataloguePageSize && offset % kCataloguePageSize == 0;
}

// SQLite takes a disk that fails to read for a file that is malformed.
int ReadBytes(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    const int code = Below(file)->pMethods->xRead(Below(file), buffer, amount, offset);
    return code == SQLITE_IOERR_CORRUPTFS ? SQLITE_IOERR_READ : code;
}

// The stamp that lies in the file; nothing where it is damaged.
std::optional<FoldStamp> ReadStamp(sqlite3_file* file) {
    FoldStamp::Bytes bytes{};
    const int code = ReadBytes(file, bytes.data(), FoldStamp::kBytes, FoldStamp::kOffset);
    return code == SQLITE_OK || code == SQLITE_IOERR_SHORT_READ ? FoldStamp::Decode(bytes)
                                                                : std::nullopt;
}

// A stamp is written before the pages of its fold, so one that was read earlier is read again for a
// page that seems newer. Where the stamp is damaged, page 1 is, and no other.
bool IsNewerThanStamp(sqlite3_file* file, std::uint64_t fold) {
    FoldStamp& known = FoldsOf(file).stamp;
    if (fold > known.fold) {
        const auto stamp = ReadStamp(file);
        if (!stamp) {
            return false;
        }
        known = *stamp;
    }
    return fold > known.fold;
}

int Read(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    const int code = ReadBytes(file, buffer, amount, offset);
    if (code != SQLITE_OK || !IsPage(amount, offset)) {
        return code;
    }
    const auto* page = static_cast<const std::byte*>(buffer);
    const std::int64_t number = offset / kCataloguePageSize + 1;
    const std::uint64_t fold = FoldOf(page, number);
    bool isDamaged = fold > std::numeric_limits<std::uint32_t>::max();
    if (number == 1 && !isDamaged) {
        const auto stamp = FoldStamp::Decode(std::span<const std::byte, FoldStamp::kBytes>(
            page + FoldStamp::kOffset, FoldStamp::kBytes));
        isDamaged = !stamp;
        FoldsOf(file).stamp = stamp.value_or(FoldsOf(file).stamp);
    }
    if (isDamaged || IsNewerThanStamp(file, fold)) {
        g_lastDamage = {number, !isDamaged};
        return SQLITE_IOERR_DATA;
    }
    return SQLITE_OK;
}

int WritePage(sqlite3_file* file, const void* content, sqlite3_int64 offset, std::uint32_t fold) {
    std::array<std::byte, kCataloguePageSize> page;
    std::memcpy(page.data(), content, kCheckedBytes);
    if (offset == 0) {  // SQLite's is as old as the page in its memory
        std::ranges::copy(FoldsOf(file).stamp.Encode(), page.begin() + FoldStamp::kOffset);
    }
    const std::uint64_t sum =
        PageChecksum(page.data(), offset / kCataloguePageSize + 1) ^ fold * kSpread;
    std::memcpy(page.data() + kCheckedBytes, &sum, sizeof sum);
    return Below(file)->pMethods->xWrite(Below(file), page.data(), kCataloguePageSize, offset);
}

// Writes empty pages from the end of the file to `end`. What SQLite leaves out would else be zeros
// without a checksum, like a page that the disk has lost. They belong to no fold: the log has them
// not, so they must be right also where the stamp of this one is lost with the power.
int FillUpTo(sqlite3_file* file, sqlite3_int64 end) {
    constexpr std::array<std::byte, kCheckedBytes> kEmpty{};
    if (end <= FoldsOf(file).reaches) {
        return SQLITE_OK;  // to ask takes as long as to write
    }
    sqlite3_int64 size = 0;
    int code = Below(file)->pMethods->xFileSize(Below(file), &size);
    for (sqlite3_int64 at = size / kCataloguePageSize * kCataloguePageSize;
         code == SQLITE_OK && at < end; at += kCataloguePageSize) {
        code = WritePage(file, kEmpty.data(), at, 0);
    }
    if (code == SQLITE_OK) {
        FoldsOf(file).reaches = std::max(size, end);
    }
    return code;
}

int WriteBytes(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset) {
    return Below(file)->pMethods->xWrite(Below(file), buffer, amount, offset);
}

int Write(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset) {
    if (!IsPage(amount, offset)) {
        return WriteBytes(file, buffer, amount, offset);
    }
    if (FoldsOf(file).isUnstamped) {
        return SQLITE_IOERR_WRITE;
    }
    Folds& folds = FoldsOf(file);
    int code = FillUpTo(file, offset);
    code = code == SQLITE_OK ? WritePage(file, buffer, offset, folds.stamp.fold) : code;
    if (code == SQLITE_OK) {
        folds.reaches = std::max(folds.reaches, offset + amount);
    }
    return code;
}

int TruncateBytes(sqlite3_file* file, sqlite3_int64 size) {
    FoldsOf(file).reaches = 0;
    return Below(file)->pMethods->xTruncate(Below(file), size);
}

int WriteStamp(sqlite3_file* file) {
    const FoldStamp::Bytes bytes = FoldsOf(file).stamp.Encode();
    return WriteBytes(file, bytes.data(), FoldStamp::kBytes, FoldStamp::kOffset);
}

// The committed frames as the log's index has them; see "WAL-Index File Format" of SQLite.
LogExtent ExtentInIndex(const volatile void* index) {
    constexpr std::size_t kHeaderFramesAt = 16;
    constexpr std::size_t kHeaderSaltsAt = 32;
    LogExtent log;
    const auto* bytes = static_cast<const std::byte*>(const_cast<const void*>(index));
    std::memcpy(&log.nFrames, bytes + kHeaderFramesAt, sizeof log.nFrames);
    std::memcpy(log.salts.data(), bytes + kHeaderSaltsAt, log.salts.size());
    return log;
}

// SQLite has put the log on the disk and is about to write its pages here. It cannot be stopped
// here, but at the first page.
void BeginFold(sqlite3_file* file) {
    Folds& folds = FoldsOf(file);
    folds.reaches = 0;  // another process may have cut it
    const auto last = ReadStamp(file);
    folds.isUnstamped = !last || folds.index == nullptr;
    if (!folds.isUnstamped) {
        folds.stamp = {last->fold + 1, false, ExtentInIndex(folds.index)};
        folds.isUnstamped = WriteStamp(file) != SQLITE_OK;
    }
    folds.isFolding = !folds.isUnstamped;
}

// SQLite cuts the file when it has folded all of a log in, and syncs it then.
int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    Folds& folds = FoldsOf(file);
    int code = FillUpTo(file, size);
    code = code == SQLITE_OK ? TruncateBytes(file, size) : code;
    if (code == SQLITE_OK && folds.isFolding) {
        folds.isFolding = false;
        folds.stamp.isWhole = true;
        code = WriteStamp(file);
    }
    return code;
}

// Everything else goes to the file below unchanged; the place of the log's index is noted.
int Close(sqlite3_file* f) {
    return Below(f)->pMethods->xClose(Below(f));
}
int Sync(sqlite3_file* f, int flags) {
    return Below(f)->pMethods->xSync(Below(f), flags);
}
int FileSize(sqlite3_file* f, sqlite3_int64* size) {
    return Below(f)->pMethods->xFileSize(Below(f), size);
}
int Lock(sqlite3_file* f, int level) {
    return Below(f)->pMethods->xLock(Below(f), level);
}
int Unlock(sqlite3_file* f, int level) {
    return Below(f)->pMethods->xUnlock(Below(f), level);
}
int CheckReservedLock(sqlite3_file* f, int* held) {
    return Below(f)->pMethods->xCheckReservedLock(Below(f), held);
}
int FileControl(sqlite3_file* f, int op, void* argument) {
    // The log's file gets the call too; only the main file is folded into.
    if (op == SQLITE_FCNTL_CKPT_START && f->pMethods->xRead == Read) {
        BeginFold(f);
    }
    return Below(f)->pMethods->xFileControl(Below(f), op, argument);
}
int SectorSize(sqlite3_file* f) {
    return Below(f)->pMethods->xSectorSize(Below(f));
}
int DeviceCharacteristics(sqlite3_file* f) {
    return Below(f)->pMethods->xDeviceCharacteristics(Below(f));
}
int ShmMap(sqlite3_file* f, int page, int size, int extend, void volatile** address) {
    const int code = Below(f)->pMethods->xShmMap(Below(f), page, size, extend, address);
    // The header of the index lies in its first part.
    if (page == 0) {
        // Who may only read it is told so, and has it all the same.
        const bool isThere = code == SQLITE_OK || code == SQLITE_READONLY;
        FoldsOf(f).index = isThere ? *address : nullptr;
    }
    return code;
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags) {
    return Below(f)->pMethods->xShmLock(Below(f), offset, n, flags);
}
void ShmBarrier(sqlite3_file* f) {
    Below(f)->pMethods->xShmBarrier(Below(f));
}
int ShmUnmap(sqlite3_file* f, int remove) {
    FoldsOf(f).index = nullptr;
    return Below(f)->pMethods->xShmUnmap(Below(f), remove);
}

// No xFetch: pages must pass through Read.
constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

// --- The log -------------------------------------------------------------------------------------
//
// SQLite writes each frame by two calls, its header and its page. Frames are gathered here and
// written together, at the latest with the last one of a commit: nobody looks for a frame of a
// commit that has not been written wholly, but the connection that writes it. Headers that SQLite
// writes anew, in a large transaction behind its last frame, are written at once, as is what it writes
// again after a transaction was undone.

int WriteGathered(sqlite3_file* file) {
    Gathered& gathered = GatheredOf(file);
    const int size = std::exchange(gathered.size, 0);
    return size == 0 ? SQLITE_OK : WriteBytes(file, gathered.bytes, size, gathered.offset);
}

// What is written to the log by itself.
int WriteAlone(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset) {
    Gathered& gathered = GatheredOf(file);
    gathered.end = offset == 0 ? amount : std::max(gathered.end, offset + amount);
    return WriteBytes(file, buffer, amount, offset);
}

int WriteToLog(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset) {
    constexpr std::size_t kCommitAt = 4;  // in a header: the pages of the database, in the last one
    Gathered& gathered = GatheredOf(file);
    if (gathered.size > 0 &&
        (offset != gathered.offset + gathered.size || amount > Gathered::kMost - gathered.size)) {
        if (const int code = WriteGathered(file); code != SQLITE_OK) {
            return code;
        }
    }
    const bool isHeader = amount == Gathered::kFrameHeader;
    const bool isPage = amount == kCataloguePageSize && gathered.size > 0;
    if (offset < gathered.end || !(isHeader || isPage)) {
        return WriteAlone(file, buffer, amount, offset);
    }
    if (gathered.bytes == nullptr) {
        gathered.bytes = static_cast<std::byte*>(sqlite3_malloc(Gathered::kMost));
        if (gathered.bytes == nullptr) {
            return WriteAlone(file, buffer, amount, offset);
        }
    }
    if (gathered.size == 0) {
        gathered.offset = offset;
    }
    std::memcpy(gathered.bytes + gathered.size, buffer, static_cast<std::size_t>(amount));
    gathered.size += amount;
    gathered.end = offset + amount;
    if (isHeader) {
        std::uint32_t nPages = 0;
        std::memcpy(&nPages, static_cast<const std::byte*>(buffer) + kCommitAt, sizeof nPages);
        gathered.isCommit = nPages != 0;
        return SQLITE_OK;
    }
    return gathered.isCommit ? WriteGathered(file) : SQLITE_OK;
}

// What waits is not written for a read: where that fails, on a full disk, a transaction could go on
// without the frames, and its commit would have a hole. SQLite gives a transaction up whose writes
// fail.
int ReadFromLog(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    const Gathered& gathered = GatheredOf(file);
    const sqlite3_int64 at = offset - gathered.offset;
    // SQLite reads within a frame, which waits wholly or not at all.
    if (at < 0 || at + amount > gathered.size) {
        return ReadBytes(file, buffer, amount, offset);
    }
    std::memcpy(buffer, gathered.bytes + at, static_cast<std::size_t>(amount));
    return SQLITE_OK;
}
int TruncateLog(sqlite3_file* file, sqlite3_int64 size) {
    const int code = WriteGathered(file);
    return code == SQLITE_OK ? TruncateBytes(file, size) : code;
}
int SyncLog(sqlite3_file* file, int flags) {
    const int code = WriteGathered(file);
    return code == SQLITE_OK ? Sync(file, flags) : code;
}
int SizeOfLog(sqlite3_file* file, sqlite3_int64* size) {
    const Gathered& gathered = GatheredOf(file);
    const int code = FileSize(file, size);
    *size = gathered.size > 0 ? std::max(*size, gathered.offset + gathered.size) : *size;
    return code;
}
// Without frames of a commit that was not finished.
int CloseLog(sqlite3_file* file) {
    sqlite3_free(std::exchange(GatheredOf(file).bytes, nullptr));
    return Close(file);
}

constexpr sqlite3_io_methods kLogMethods = [] {
    sqlite3_io_methods methods = kMethods;
    methods.xClose = CloseLog;
    methods.xRead = ReadFromLog;
    methods.xWrite = WriteToLog;
    methods.xTruncate = TruncateLog;
    methods.xSync = SyncLog;
    methods.xFileSize = SizeOfLog;
    return methods;
}();

int Open(sqlite3_vfs* vfs, sqlite3_filename name, sqlite3_file* file, int flags, int* outFlags) {
    sqlite3_vfs* below = BelowVfs(vfs);
    // Who may not write the database makes no log that others could not write then.
    if ((flags & SQLITE_OPEN_WAL) != 0 && sqlite3_uri_boolean(name, "readonly_shm", 0) != 0) {
        flags = (flags & ~(SQLITE_OPEN_CREATE | SQLITE_OPEN_READWRITE)) | SQLITE_OPEN_READONLY;
    }
    if ((flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) == 0) {
        return below->xOpen(below, name, file, flags, outFlags);
    }
    file->pMethods = nullptr;
    const int code = below->xOpen(below, name, Below(file), flags, outFlags);
    if (code == SQLITE_OK) {
        FoldsOf(file) = {};
        GatheredOf(file) = {};
        file->pMethods = (flags & SQLITE_OPEN_WAL) != 0 ? &kLogMethods : &kMethods;
    }
    return code;
}

}  // namespace

const char* PageChecksumVfsName() {
    static sqlite3_vfs* const registered = [] {
        static sqlite3_vfs vfs;
        sqlite3_vfs* below = sqlite3_vfs_find(nullptr);
        vfs = *below;
        vfs.zName = "orq-page-checksum";
        vfs.pNext = nullptr;
        vfs.pAppData = below;
        vfs.szOsFile = static_cast<int>(sizeof(CheckedFile)) + below->szOsFile;
        vfs.xOpen = Open;
        vfs.xDelete = [](sqlite3_vfs* v, const char* name, int sync) {
            return BelowVfs(v)->xDelete(BelowVfs(v), name, sync);
        };
        vfs.xAccess = [](sqlite3_vfs* v, const char* name, int flags, int* result) {
            return BelowVfs(v)->xAccess(BelowVfs(v), name, flags, result);
        };
        vfs.xFullPathname = [](sqlite3_vfs* v, const char* name, int n, char* out) {
            return BelowVfs(v)->xFullPathname(BelowVfs(v), name, n, out);
        };
        sqlite3_vfs_register(&vfs, 0);
        return &vfs;
    }();
    return registered->zName;
}

std::optional<LogExtent> LogExtentInIndex(sqlite3_file* file) {
    const volatile void* index = file->pMethods == &kMethods ? FoldsOf(file).index : nullptr;
    return index != nullptr ? std::optional(ExtentInIndex(index)) : std::nullopt;
}

PageDamage LastPageDamage() {
    return g_lastDamage;
}

}  // namespace orq::storage
