#include "PageChecksumVfs.h"

#include <sqlite3.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <span>

namespace orq::storage {

namespace {

constexpr int kCheckedBytes = kCataloguePageSize - kPageReservedBytes;
std::int64_t g_lastDamagedPage = 0;

// The shim's file object, followed in memory by the file object of the VFS below.
struct CheckedFile {
    sqlite3_file base;
    sqlite3_file* Below() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* Below(sqlite3_file* file) {
    return reinterpret_cast<CheckedFile*>(file)->Below();
}

sqlite3_vfs* BelowVfs(sqlite3_vfs* vfs) {
    return static_cast<sqlite3_vfs*>(vfs->pAppData);
}

std::uint64_t PageChecksum(const void* page, std::int64_t pageNumber) {
    return XXH3_64bits_withSeed(page, kCheckedBytes, static_cast<XXH64_hash_t>(pageNumber));
}

bool IsIntact(std::span<const std::byte> page, std::int64_t pageNumber) {
    std::uint64_t stored = 0;
    std::memcpy(&stored, page.data() + kCheckedBytes, sizeof stored);
    return stored == PageChecksum(page.data(), pageNumber);
}

bool IsPage(int amount, sqlite3_int64 offset) {
    return amount == kCataloguePageSize && offset % kCataloguePageSize == 0;
}

// SQLite takes a disk that fails to read for a file that is malformed.
int ReadBytes(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    const int code = Below(file)->pMethods->xRead(Below(file), buffer, amount, offset);
    return code == SQLITE_IOERR_CORRUPTFS ? SQLITE_IOERR_READ : code;
}

int Read(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    const int code = ReadBytes(file, buffer, amount, offset);
    if (code != SQLITE_OK || !IsPage(amount, offset)) {
        return code;
    }
    const std::int64_t page = offset / kCataloguePageSize + 1;
    if (!IsIntact({static_cast<const std::byte*>(buffer), kCataloguePageSize}, page)) {
        g_lastDamagedPage = page;
        return SQLITE_IOERR_DATA;
    }
    return SQLITE_OK;
}

int WritePage(sqlite3_file* file, const void* content, sqlite3_int64 offset) {
    std::array<std::byte, kCataloguePageSize> page;
    std::memcpy(page.data(), content, kCheckedBytes);
    const std::uint64_t sum = PageChecksum(page.data(), offset / kCataloguePageSize + 1);
    std::memcpy(page.data() + kCheckedBytes, &sum, sizeof sum);
    return Below(file)->pMethods->xWrite(Below(file), page.data(), kCataloguePageSize, offset);
}

// Writes empty pages from the end of the file to `end`. What SQLite leaves out would else be zeros
// without a checksum, like a page that the disk has lost.
int FillUpTo(sqlite3_file* file, sqlite3_int64 end) {
    constexpr std::array<std::byte, kCheckedBytes> kEmpty{};
    sqlite3_int64 size = 0;
    int code = Below(file)->pMethods->xFileSize(Below(file), &size);
    for (sqlite3_int64 at = size / kCataloguePageSize * kCataloguePageSize;
         code == SQLITE_OK && at < end; at += kCataloguePageSize) {
        code = WritePage(file, kEmpty.data(), at);
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
    const int code = FillUpTo(file, offset);
    return code == SQLITE_OK ? WritePage(file, buffer, offset) : code;
}

int TruncateBytes(sqlite3_file* file, sqlite3_int64 size) {
    return Below(file)->pMethods->xTruncate(Below(file), size);
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    const int code = FillUpTo(file, size);
    return code == SQLITE_OK ? TruncateBytes(file, size) : code;
}

// Everything else goes to the file below unchanged.
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
    return Below(f)->pMethods->xFileControl(Below(f), op, argument);
}
int SectorSize(sqlite3_file* f) {
    return Below(f)->pMethods->xSectorSize(Below(f));
}
int DeviceCharacteristics(sqlite3_file* f) {
    return Below(f)->pMethods->xDeviceCharacteristics(Below(f));
}
int ShmMap(sqlite3_file* f, int page, int size, int extend, void volatile** address) {
    return Below(f)->pMethods->xShmMap(Below(f), page, size, extend, address);
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags) {
    return Below(f)->pMethods->xShmLock(Below(f), offset, n, flags);
}
void ShmBarrier(sqlite3_file* f) {
    Below(f)->pMethods->xShmBarrier(Below(f));
}
int ShmUnmap(sqlite3_file* f, int remove) {
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

// A log has frames in place of pages.
constexpr sqlite3_io_methods kLogMethods = [] {
    sqlite3_io_methods methods = kMethods;
    methods.xRead = ReadBytes;
    methods.xWrite = WriteBytes;
    methods.xTruncate = TruncateBytes;
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

std::int64_t LastDamagedPage() {
    return g_lastDamagedPage;
}

}  // namespace orq::storage
