// Engine::CopyTo: a whole database of the state that a handle sees, while others go on writing.
//
// The snapshot keeps the catalogue's pages and, marked in the lock file, the space of the bulk data
// as they are. The copy gets an identity of its own, so that files of the two cannot be mixed up.

#include <algorithm>
#include <array>
#include <cstdio>

#include "Engine.h"
#include "ORQBasFailure.h"
#include "PageChecksumVfs.h"

namespace orq::storage {

namespace {

// Reports how much of all bytes has been copied.
class Progress {
  public:
    Progress(std::int64_t bytes, const std::function<void(double)>& tell)
        : m_bytes(static_cast<double>(bytes)), m_tell(tell) {}
    void Add(std::int64_t bytes) {
        m_done += static_cast<double>(bytes);
        m_tell(std::min(1.0, m_done / m_bytes));
    }

  private:
    double m_bytes;
    double m_done = 0;
    const std::function<void(double)>& m_tell;
};

void CopyPages(const Connection& from, const Connection& to, Progress& progress) {
    // 1 MiB between two reports, which may throw to give up.
    constexpr int kPagesAtOnce = 512;
    sqlite3_backup* copy = sqlite3_backup_init(to.Handle(), "main", from.Handle(), "main");
    if (copy == nullptr) {
        to.Fail(sqlite3_errcode(to.Handle()), "begin to copy the catalogue");
    }
    const std::unique_ptr<sqlite3_backup, decltype(&sqlite3_backup_finish)> ended(
        copy, sqlite3_backup_finish);
    int code = SQLITE_OK;
    while (code == SQLITE_OK) {
        // Never begins again, as a copy of a changing database does: the handle's own snapshot is
        // read.
        code = sqlite3_backup_step(copy, kPagesAtOnce);
        progress.Add(kPagesAtOnce * kCataloguePageSize);
    }
    if (code != SQLITE_DONE) {
        from.Fail(code, "copy the catalogue");
    }
}

}  // namespace

std::string HexOf(const Identity& identity) {
    std::string hex;
    for (const std::byte byte : identity) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", std::to_integer<unsigned>(byte));
        hex += digits.data();
    }
    return hex;
}

void Engine::CopyCataloguePages(const Connection& to) {
    const std::function<void(double)> untold = [](double) {};
    Progress progress(m_connection->FileSize(), untold);
    CopyPages(*m_connection, to, progress);
}

void Engine::CopyBulk(BulkFile& to, const std::function<void(std::int64_t)>& progress) {
    constexpr std::int64_t kPiece = 4 << 20;
    for (const ExtentRow& row : m_catalogue->Find<ExtentRow>()) {
        const Extent extent = MakeExtent(row);
        if (!extent.IsInFile()) {
            continue;  // copied with its page
        }
        if (const auto damaged = FindDamage(m_file, extent); !damaged.empty()) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged, BulkPath(m_directory) +
                                                                ": the block at byte " +
                                                                std::to_string(damaged.front()) +
                                                                " is damaged (checksum differs)");
        }
        const std::byte* bytes = m_file.Map(extent.offset, extent.length);
        for (std::int64_t at = 0; at < extent.length; at += kPiece) {
            const std::int64_t size = std::min(kPiece, extent.length - at);
            to.Write(extent.offset + at, {bytes + at, static_cast<std::size_t>(size)},
                     at + size == extent.length);
            progress(size);
        }
    }
    to.Extend(m_chunks->BulkEnd());
}

void Engine::CopyTo(const std::string& directory, const std::function<void(double)>& progress) {
    CheckUsable();
    if (IsInMemory() || Depth() > 0) {
        ORQBasThrowUsage(directory +
                         ": a database in memory, or one with an open transaction, "
                         "cannot be copied");
    }
    MakeOutOfSight(directory, [&](const std::string& beside) {
        LockFile lock;
        lock.OpenAsWriter(LockPath(beside), LockFile::Sharing::WithReaders);
        const State state = ReadState();  // holds the snapshot that a writer may not have begun
        Progress all(m_connection->FileSize() + state.bulkEnd, progress);
        const Identity identity = NewIdentity();
        Connection catalogue(CataloguePath(beside), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                             PageChecksumVfsName(), CataloguePath(beside));
        PrepareNewFile(catalogue);
        CopyPages(*m_connection, catalogue, all);
        catalogue.Execute(("UPDATE state SET identity = x'" + HexOf(identity) + "'").c_str());
        BulkFile bulk;
        bulk.Create(BulkPath(beside), identity);
        CopyBulk(bulk, [&](std::int64_t bytes) { all.Add(bytes); });
    });
    progress(1.0);
}

}  // namespace orq::storage
