// The engine whose databases are directories: catalogue, bulk file and lock under one transaction.
//
// docs/commit-and-recovery.md numbers the invariants that this class keeps and says what a crash at
// each step leaves behind.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "BulkChunks.h"
#include "BulkFile.h"
#include "Catalogue.h"
#include "CommitSink.h"
#include "FreeSpace.h"
#include "LockFile.h"
#include "ProcessMark.h"
#include "Replication.h"
#include "Store.h"

namespace orq::storage {

class ChangesetWalk;

// Throws Foreign for a version of the format that this program does not know.
void CheckFormat(const std::string& directory, std::int64_t version);

class Engine final : public Store {
  public:
    static void Build(const std::string& directory, FirstContent content, const Filling& fill);
    static std::unique_ptr<Engine> CreateInMemory(FirstContent content);
    static std::unique_ptr<Engine> Open(const std::string& directory, bool writable);
    ~Engine() override;

    void CheckProcess() const override {
        if (m_process.IsForked()) {
            RefuseProcess();
        }
    }
    bool IsOfOtherProcess() const override { return m_process.IsOther(); }

    const std::string& Path() const override { return m_directory; }
    bool IsWritable() const override { return m_writable; }
    bool IsInMemory() const { return m_directory.empty(); }
    int FormatVersion() const override { return m_catalogue->FormatVersion(); }

    void Describe(std::span<const NumberMeaning> meanings) override;

    Catalogue& Rows() override { return *m_catalogue; }
    BulkChunks& Chunks() override { return *m_chunks; }
    // The first page of each table and index, by name, in databases made by a version of the format.
    static std::map<std::string, std::int64_t> UsualRoots(int format);

    std::int64_t NewObject() override {
        if (m_next.object == m_end.object) {
            LeaseNumbers(NumberSource::Of::Objects);
        }
        return m_next.object++;
    }
    int NewSet(int above = 0) override {
        if (m_next.set == m_end.set || (m_next.set <= above && m_numbers != nullptr)) {
            LeaseNumbers(NumberSource::Of::Sets);
        }
        return m_next.set++;
    }
    Numbers NextNumbers() const override { return m_next; }
    bool MayHaveGiven(std::int64_t object, int set) const override;
    // Lets only numbers from these on be given.
    void ReserveNumbers(const Numbers& next);

    int Depth() const override { return static_cast<int>(m_bulkEnds.size()); }
    void Begin() override;
    // Throws Refused also where a failure has made SQLite undo the transaction.
    void Commit() override;
    void Rollback() noexcept override;
    void CheckUsable() override;

    std::int64_t Generation() const override { return m_generation; }
    bool Refresh() override;
    // This handle reads the catalogue without its log, and there is one now.
    std::unique_ptr<Store> OpenNewer() override;

    std::string Writer() const override { return m_lock.Writer(); }
    void CopyTo(const std::string& directory, const std::function<void(double)>& progress) override;

    Sizes GetSizes() override;
    // Pages, then values.
    [[nodiscard]] bool VerifyRows(std::vector<std::string>& problems) override;
    void VerifyChunks(std::vector<std::string>& problems,
                      const std::function<void(double)>& progress) override;
    std::unique_ptr<Salvage> SalvageFrom(const std::string& directory,
                                         const std::function<void()>& goOn) override;

    // A directory that follows another database; Replication.cpp has these. From here on what the
    // bulk file has not is brought from `source`, and commits are taken over by `sink` first; both
    // may be null, and have to live as long as this.
    void ServeAsCache(ChunkSource* source, CommitSink* sink);
    // Is one of several writers from here on, whose numbers come from there.
    void TakeNumbersFrom(NumberSource* source);
    // Goes on to the next state by the rows that it changed. When it throws, nothing has changed.
    void Apply(std::span<const std::byte> changeset);
    // The catalogue of the state that this handle sees, as a file of its own.
    std::vector<std::byte> CatalogueImage();
    // Makes a database of a catalogue, with a bulk file that has no bytes yet.
    static void BuildFromImage(const std::string& directory, std::span<const std::byte> image,
                               const Identity& identity);
    const Identity& GetIdentity() const { return m_identity; }
    // The places of all chunks that have one in the bulk file.
    std::vector<BulkFile::Place> ChunkPlaces();
    // The places of the smallest chunks that the file has not, up to so many bytes.
    std::vector<BulkFile::Place> FindMissing(std::int64_t mostBytes);
    BulkFile& Bulk() { return m_file; }

  private:
    Engine();
    [[noreturn]] void RefuseProcess() const;
    static void RefuseInherited(const std::string& directory);
    static std::unique_ptr<Engine> Open(const std::string& directory, bool writable, bool isAlone);
    static std::unique_ptr<Engine> OpenOnce(const std::string& directory, bool writable,
                                            bool isAlone);
    void Connect(const std::string& name, int flags, const char* vfs);
    void ConnectToExisting(const std::string& name, int flags);
    void OpenWithOthers(bool isAlone);
    void OpenAsReader(bool isAlone);
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
    void PutState(std::int64_t generation);
    // What the state row holds.
    struct State {
        int format = kFormatVersion;
        Identity identity{};
        std::int64_t generation = 0;
        Numbers next;
        std::int64_t bulkEnd = 0;
    };
    // Begins to read the state that was committed last, and returns which it is; when it throws,
    // nothing has begun. From See on, the handle is in that state.
    State TakeSnapshot(State (Engine::*read)() = &Engine::ReadState);
    void See(const State& state) noexcept;
    // Undoes a transaction too.
    void EndSnapshot() noexcept;
    void ReplaceLostSnapshot();
    // Checks as CheckProcess does, by a system call.
    void CheckOwner() const;
    void CheckSound() const;
    bool IsLost() const;
    State ReadState();
    State ReadFirstState();
    void CommitOutermost();
    void CommitShared();
    void RecordChanges();
    // The changes of the open transaction, to be put on top of commits of others; see Rebase.cpp.
    struct OwnChanges;
    void HandOver();
    bool Offer(const OwnChanges& own, std::vector<SharedCommit>& others);
    void Rebase(OwnChanges& own, std::vector<SharedCommit> others);
    void CheckDoNotMeet(std::span<const std::byte> changeset, std::span<const SharedCommit> others);
    std::set<std::int64_t> OwnersOfStore(std::int64_t store);
    State ApplyNext(std::span<const std::byte> changeset, std::int64_t generation);
    State ApplyOthers(const OwnChanges& own);
    void Replay(OwnChanges& own, std::int64_t shift);
    std::int64_t ExchangeNumDrawers(std::int64_t distribution, std::int64_t count);
    void MoveChunks(OwnChanges& own, std::int64_t shift);
    void MoveBytes(const BulkFile::Place& from, std::int64_t to);
    void LeaseNumbers(NumberSource::Of what);
    Numbers NumbersBehindAll() const;
    void CopyCataloguePages(const Connection& to);
    std::int64_t NoteFold();
    State TakeFirstSnapshot();
    bool IsOneState();
    void CutOffBulk() noexcept;
    void DropConnection();
    void FoldLeftLog() noexcept;

    const ProcessMark m_process;
    std::string m_directory;  // as it was named
    std::string m_place;      // the same from the root: a process may go to another folder
    bool m_writable = false;
    bool m_isWithoutLog = false;  // reads the catalogue's file as it lies
    bool m_keepsLog = false;      // damage was found in it, which the next one is to find too
    bool m_isOpen = false;        // wholly: all was found to be in order
    bool m_refused = false;       // an earlier failure left this handle in doubt
    bool m_isCache = false;       // what it loses is fetched again
    // Being made in a folder that is put on the disk as a whole before it gets its name.
    bool m_isOutOfSight = false;
    LockFile m_lock;
    std::unique_ptr<Connection> m_connection;
    std::unique_ptr<ChangeRecorder> m_recorder;  // of the open transaction, where there is a sink
    CommitSink* m_sink = nullptr;
    NumberSource* m_numbers = nullptr;          // of one of several writers
    std::vector<NumberSource::Range> m_leased;  // from there
    std::unique_ptr<Catalogue> m_catalogue;
    BulkFile m_file;
    std::unique_ptr<FreeSpace> m_space;
    std::unique_ptr<BulkChunks> m_chunks;
    Identity m_identity{};
    std::int64_t m_generation = 0;
    std::int64_t m_foldNoted = -1;  // by this handle; see FoldStamp
    Numbers m_next{1, 1};
    Numbers m_end{std::numeric_limits<std::int64_t>::max(), std::numeric_limits<int>::max()};
    Numbers m_seen{1, 1};                  // behind all that rows have
    std::vector<std::int64_t> m_bulkEnds;  // where the bulk data ended when each level began
    std::int64_t m_changesBefore = 0;
};

// The names of the files in a database directory.
std::string CataloguePath(const std::string& directory);
std::string BulkPath(const std::string& directory);
std::string LockPath(const std::string& directory);
// Beside them in a directory that follows another database; see WrittenPages.h.
std::string WrittenPath(const std::string& directory);

Identity NewIdentity();
std::string HexOf(const Identity& identity);

// Refuses a catalogue that is not ours before SQLite acts on its contents.
void CheckCatalogueHeader(const Connection& connection, const std::string& catalogue);

// Says what a path is instead of a database, before SQLite sees it: throws Io, Foreign or Damaged.
void CheckLooksLikeDatabase(const std::string& directory, bool needsBulk);

}  // namespace orq::storage
