/// Model databases: creating, opening, closing and verifying them.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ORQBasExport.h"
#include "ORQSimIDs.h"

class ORQSimPosition;

namespace orq::database {
class DatabaseState;
}

/// A handle to an open database, or to none. Copies share it; the last one to end closes it.
///
/// A model database is a directory with the files catalogue.sqlite, bulk.bin and lock. One handle
/// at a time may write to it, any number may read, also in other processes; a reader keeps seeing
/// the state that was committed last when it was opened or refreshed.
///
/// A child of fork() cannot use its parent's databases: every use throws Refused and names the
/// process that opened them, opening them there again does so too, and what ends with the child
/// changes nothing. Start programs by posix_spawn, which is safe at any time, or fork before
/// databases are opened.
///
/// Failures are ORQBasFailure: Io, Damaged, Foreign (not a database, or of a newer format), Busy
/// (another writer, which the text names), Refused (after a failed sync or rollback, in a forked
/// process). std::bad_alloc is what C++ says where memory has run out; it leaves what a failure
/// leaves: a transaction that can be undone, nothing half read.
class ORQ_EXPORT ORQSimDatabase {
  public:
    enum class Mode { ReadOnly, ReadWrite };

    ORQSimDatabase();
    /// The database of a position; closed when the position is null.
    explicit ORQSimDatabase(const ORQSimPosition& position);
    explicit ORQSimDatabase(ORQSimContextID context);
    ~ORQSimDatabase();
    ORQSimDatabase(const ORQSimDatabase&);
    ORQSimDatabase& operator=(const ORQSimDatabase&);

    /// Makes an empty database with a focus object and opens it for writing. Throws Usage when the
    /// name is taken; on any failure nothing is left under the name. Here and below, a name is that
    /// of a directory or the URL of a model in a store; see ORQSimModelStore.
    static ORQSimDatabase Create(const std::string& directory);
    static ORQSimDatabase Open(const std::string& directory, Mode mode);
    /// The names of what lies in a database's directory and is no part of a database, ascending:
    /// who replaces or removes the directory would lose it.
    static std::vector<std::string> FindForeignFiles(const std::string& directory);
    /// A database that lives in memory and ends with its last handle.
    static ORQSimDatabase CreateInMemory();

    /// What Recover found and made.
    struct Recovery {
        /// What is wrong with the damaged files; empty when nothing is.
        std::vector<std::string> damage;
        /// What was in the database and is not in the new one, or may have been; a text each.
        std::vector<std::string> lost;
        // What is in the new one.
        std::int64_t objects = 0;
        std::int64_t links = 0;
        std::int64_t sets = 0;
        std::int64_t drawers = 0;
        std::int64_t tables = 0;
        std::int64_t bulkBytes = 0;
        /// Objects that are kept although no links lead to them from the focus; counted where
        /// anything was lost.
        std::int64_t unreachable = 0;
    };
    /// Makes a new database, `into`, of what is whole in a damaged one, which is only read. All in
    /// it is as it was: a set, drawer, table or data set of which a part is damaged is left out,
    /// and so are links to it. The new one keeps the numbers of objects and sets, and verifies
    /// clean. Memory does not grow with bulk data. `progress` is called with numbers from 0 to 1;
    /// what it throws ends the recovery.
    ///
    /// Throws Usage when the name is taken, Busy while somebody writes to the damaged database,
    /// Foreign when its two files belong to different databases or are no database, Damaged when
    /// nothing can be read; then nothing is left under the name.
    static Recovery Recover(
        const std::string& damaged, const std::string& into,
        const std::function<void(double)>& progress = [](double) {});

    /// Closes for all handles; an open transaction is undone. Later use of positions throws.
    void Close();
    bool IsClosed() const;
    bool IsWritable() const;

    ORQSimContextID ContextID() const;
    /// The directory; empty in memory.
    const std::string& Path() const;
    /// The root object. Null when closed.
    ORQSimPosition Focus() const;

    /// A reader, or one of several writers of a model in a store, moves to the state that was
    /// committed last; returns whether it is another one. What was read before stays with who read
    /// it.
    bool Refresh();
    /// Counts the commits that changed anything.
    std::int64_t Generation() const;
    /// Whether a transaction is open, so that there may be changes that Generation does not count.
    bool HasTransaction() const;

    /// Makes a database of the state that this handle sees, under a name that is free; a writer may
    /// go on meanwhile. Every block of bulk data is compared with its checksum on the way. The copy
    /// has an identity of its own. `progress` is called with numbers from 0 to 1; what it throws
    /// ends the copying. On any failure nothing is left under the name.
    ///
    /// Throws Usage when the name is taken, in memory, and while a transaction is open; Damaged.
    void CopyTo(
        const std::string& directory,
        const std::function<void(double)>& progress = [](double) {}) const;

    /// Who has the database open for writing, for example "process 812 on host"; empty when nobody
    /// has, and in memory. A writer that was killed is gone from the moment on which its process
    /// ended. What it committed is there after a Refresh() that follows this call.
    std::string Writer() const;

    struct DiskSizes {
        std::int64_t catalogue;
        std::int64_t bulk;
        std::int64_t freeBulk;  // part of bulk
    };
    DiskSizes Sizes() const;
    /// The largest number of members that one of its collections has. Cost: of a row for each.
    std::int64_t LargestSpace() const;

    /// Compares every checksum and follows every reference; returns what is wrong, one text each.
    /// `progress` is called with numbers from 0 to 1.
    std::vector<std::string> Verify(const std::function<void(double)>& progress = [](double) {
    }) const;

  private:
    explicit ORQSimDatabase(std::shared_ptr<orq::database::DatabaseState> state);

    std::shared_ptr<orq::database::DatabaseState> m_state;
};
