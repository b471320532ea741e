// One open database: catalogue, bulk file and lock under one transaction.
//
// docs/commit-and-recovery.md numbers the invariants that this class keeps and says what a crash at
// each step leaves behind. The database layer sees only this class and the two stores it hands out,
// and assumes nothing about files.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BulkFile.h"
#include "Catalogue.h"
#include "ChunkStore.h"
#include "FreeSpace.h"
#include "LockFile.h"
#include "ProcessMark.h"

namespace orq::storage {

inline constexpr int kFormatVersion = 1;

struct Sizes {
    std::int64_t catalogueBytes = 0;
    std::int64_t bulkBytes = 0;      // extents, free ones included
    std::int64_t freeBulkBytes = 0;  // free extents
};

class Engine {
  public:
    // Writes what every database has from its beginning.
    using FirstContent = void (*)(Engine&);
    // Fills and closes a database that was just made.
    using Filling = std::function<void(std::unique_ptr<Engine>)>;
    // Makes a directory with a database out of sight, lets it be filled, and gives it its name.
    // Throws when the name is taken; whatever fails, nothing is left behind under the name. What
    // killed processes left when they made one of the same name is removed.
    static void Build(const std::string& directory, FirstContent content, const Filling& fill);
    // Builds and opens for writing.
    static std::unique_ptr<Engine> Create(const std::string& directory, FirstContent content);
    static std::unique_ptr<Engine> CreateInMemory(FirstContent content);
    static std::unique_ptr<Engine> Open(const std::string& directory, bool writable);
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // A child of fork() has no part in the files, and must neither use nor destroy an engine of its
    // parent's. Throws Refused with the number of the process that opened it.
    void CheckProcess() const {
        if (m_process.IsForked()) {
            RefuseProcess();
        }
    }
    bool IsOfOtherProcess() const { return m_process.IsOther(); }

    const std::string& Path() const { return m_directory; }
    bool IsWritable() const { return m_writable; }
    bool IsInMemory() const { return m_directory.empty(); }

    // The first page of each table and index, by name.
    std::map<std::string, std::int64_t> Roots();
    Catalogue& Rows() { return *m_catalogue; }
    ChunkStore& Chunks() { return *m_chunks; }

    // Numbers that this handle has not given before, and no committed row holds.
    std::int64_t NewObject() { return m_nextObject++; }
    // From here on only numbers from these on are given.
    void ReserveNumbers(std::int64_t nextObject, std::int64_t nextSet);
    int NewSet() { return m_nextSet++; }
    // The numbers that are given next.
    std::int64_t NextObject() const { return m_nextObject; }
    int NextSet() const { return m_nextSet; }

    // Transactions nest; the inner ones are savepoints. Depth is 0 outside of any.
    int Depth() const { return static_cast<int>(m_bulkEnds.size()); }
    void Begin();
    // The outermost commit is durable when it returns. Whatever it throws, the level has been
    // rolled back; the changes are lost, unless the handle refuses from then on because a sync
    // failed: what the disk holds is then unknown. Throws Refused where a change of this level was
    // left half done, or a failure has made SQLite undo the transaction.
    void Commit();
    // Where it fails, the handle refuses from then on.
    void Rollback() noexcept;
    // Throws Refused after a failure that leaves the handle or its transaction in doubt.
    void CheckUsable();

    // The number of the state that this handle sees; every commit that changes anything adds 1.
    std::int64_t Generation() const { return m_generation; }
    // A read-only handle moves to the last committed state; answers whether it is another one.
    // When it throws, the handle shows the old state still, or refuses until a Refresh succeeds.
    bool Refresh();

    // Whether there is something newer that only another handle can see: this one reads the
    // catalogue without its log.
    bool MustReopen() const;

    // Who has the database open for writing, this handle included; empty when nobody has.
    std::string Writer() const { return m_lock.Writer(); }

    // Makes a database of the state that this handle sees, out of sight, and gives it its name.
    // Throws Usage when the name is taken or a transaction is open, Damaged when a block of bulk
    // data is; then nothing is left under the name. Progress goes from 0 to 1.
    void CopyTo(const std::string& directory, const std::function<void(double)>& progress);

    Sizes GetSizes();
    // Compares every page with its checksum and every value with its column, and adds what is
    // wrong. False where the rows cannot be relied on, not even to come to an end.
    [[nodiscard]] bool VerifyCatalogue(std::vector<std::string>& problems);
    // The same of every block with its checksum, and accounts for every byte of the bulk file.
    // Progress goes from 0 to 1. REQUIRES: rows that can be relied on.
    void VerifyBulk(std::vector<std::string>& problems,
                    const std::function<void(double)>& progress);

  private:
    Engine();
    [[noreturn]] void RefuseProcess() const;
    static void RefuseInherited(const std::string& directory);
    static std::unique_ptr<Engine> Open(const std::string& directory, bool writable, bool isAlone);
    void Connect(const std::string& name, int flags, const char* vfs);
    void ConnectToExisting(const std::string& name, int flags);
    void OpenWithOthers(bool isAlone);
    void OpenAsOnlooker();
    void ReadFromLog();
    void ReadWithoutLog(bool holdsFiles);
    void Start();
    void Reset();
    static void PrepareNewFile(Connection& catalogue);
    static void MakeOutOfSight(const std::string& directory,
                               const std::function<void(const std::string&)>& make);
    void CopyBulk(BulkFile& to, const std::function<void(std::int64_t)>& progress);
    void OpenCatalogue();
    void WriteFirstState(const Identity& identity, FirstContent content);
    // What the state row holds.
    struct State {
        Identity identity{};
        std::int64_t generation = 0;
        std::int64_t nextObject = 0;
        int nextSet = 0;
        std::int64_t bulkEnd = 0;
    };
    // Begins to read the state that was committed last, and answers which it is; when it throws,
    // nothing has begun. From See on, the handle is in that state.
    State TakeSnapshot();
    void See(const State& state) noexcept;
    // Undoes a transaction too.
    void EndSnapshot() noexcept;
    void ReplaceLostSnapshot();
    // As CheckProcess, by asking the system.
    void CheckOwner() const;
    void CheckSound() const;
    bool IsLost() const;
    State ReadState();
    void CommitOutermost();
    std::int64_t NoteFold();
    State TakeFirstSnapshot();
    bool IsOneState();
    void CutOffBulk() noexcept;
    void DropConnection();

    const ProcessMark m_process;
    std::string m_directory;
    bool m_writable = false;
    bool m_isWithoutLog = false;  // reads the catalogue's file as it lies
    bool m_keepsLog = false;      // damage was found in it, which the next one is to find too
    bool m_isOpen = false;        // wholly: all was found to be in order
    bool m_refused = false;       // an earlier failure left this handle in doubt
    LockFile m_lock;
    std::unique_ptr<Connection> m_connection;
    std::unique_ptr<Catalogue> m_catalogue;
    BulkFile m_file;
    std::unique_ptr<FreeSpace> m_space;
    std::unique_ptr<ChunkStore> m_chunks;
    Identity m_identity{};
    std::int64_t m_generation = 0;
    std::int64_t m_foldNoted = -1;  // by this handle; see FoldStamp
    std::int64_t m_nextObject = 1;
    int m_nextSet = 1;
    std::vector<std::int64_t> m_bulkEnds;  // where the bulk data ended when each level began
    int m_changesBefore = 0;
};

// The names of the files in a database directory.
std::string CataloguePath(const std::string& directory);
std::string BulkPath(const std::string& directory);
std::string LockPath(const std::string& directory);

Identity NewIdentity();

// Says what a path is instead of a database, before SQLite sees it: throws Io, Foreign or Damaged.
void CheckLooksLikeDatabase(const std::string& directory, bool needsBulk);

}  // namespace orq::storage
