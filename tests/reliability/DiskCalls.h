// What a process asks of its disk: recorded, made to fail, and replayed up to any point with or
// without what the disk had not been told to keep.
//
// The program that links DiskCalls.cpp has the system's calls pwrite, pwritev, ftruncate, fallocate,
// fdatasync, fsync, unlink, renameat2 and mmap replaced by ones that record, pread, read, fstat and
// fcntl, which change nothing on a disk, by ones that only count, and statfs and fstatvfs by ones
// that say what they are told to. That holds for every library in it, SQLite included, so what is
// tested is what ships, without a seam in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

struct DiskCall {
    enum class Kind { Write, Truncate, Reserve, Sync, Remove, Rename, Map };
    Kind kind;
    std::string file;  // relative to the folder that is watched; a folder itself for some Syncs
    std::int64_t offset = 0;  // of Truncate: the size; of Reserve: the end
    std::string bytes;        // of Rename: the new name
};

// Records the calls on files below a folder while it lives, except for those on the index of
// SQLite's log, which no loss of power outlives. One at a time.
class DiskWatch {
  public:
    enum class How {
        Refuse,   // nothing is done
        Quota,    // the same; what fails for want of space does so for want of a user's share
        Shorten,  // of a write, the first half is done and said to be done
    };

    // What the folder's file system passes for.
    enum class Kind { Local, Network, WithoutSharedMemory };

    explicit DiskWatch(const std::string& folder, Kind kind = Kind::Local);
    ~DiskWatch();
    DiskWatch(const DiskWatch&) = delete;
    DiskWatch& operator=(const DiskWatch&) = delete;

    const std::vector<DiskCall>& Calls() const { return m_calls; }
    // Calls number `first` to `last` - 1 fail: writes and truncations for want of space, mapping
    // for want of memory, the others by a fault of the disk.
    void Fail(std::size_t first, std::size_t last, How how);
    // Before each call another process does this.
    void AtEachCall(std::function<void()> action) { m_atEachCall = std::move(action); }

    // Reads, questions for sizes, and locks, also on the index of the log and on the lock file:
    // from question `first` on `count` of them fail by a fault of the disk.
    std::size_t Questions() const { return m_nQuestions; }
    void FailQuestions(std::size_t first, std::size_t count);
    // Before question `number` is answered, another process does this.
    void AtQuestion(std::size_t number, std::function<void()> action);
    // Reserving room fails for want of it; writing still works.
    void RefuseRoom() { m_refusesRoom = true; }
    // What is said to be free on the disk.
    void SayFree(std::int64_t bytes) { m_saidFree = bytes; }
    std::optional<std::int64_t> SaidFree() const { return m_saidFree; }
    // Queries of who holds a lock; taking one still works.
    void FailLockQueries(bool fails) { m_failLockQueries = fails; }
    // For the replaced calls: whether the question has to fail.
    bool FailsQuestion();
    bool FailsLockQueries() const { return m_failLockQueries; }
    bool IsBelow(const std::string& path) const { return path.starts_with(m_folder); }

    // For the replaced calls: adds the call; answers the error that it has to end with, or 0.
    int Enter(DiskCall call);
    bool Watches(const std::string& path) const;
    std::string Relative(const std::string& path) const;
    bool ShortensNext() const;
    Kind FileSystem() const { return m_kind; }

  private:
    std::string m_folder;
    Kind m_kind;
    std::vector<DiskCall> m_calls;
    std::size_t m_failFirst = 0;
    std::size_t m_failLast = 0;
    How m_how = How::Refuse;
    std::size_t m_nQuestions = 0;
    std::size_t m_questionsFail = 0;
    std::size_t m_nFailing = 0;
    std::size_t m_actAt = 0;
    std::function<void()> m_action;
    std::function<void()> m_atEachCall;
    bool m_failLockQueries = false;
    bool m_refusesRoom = false;
    std::optional<std::int64_t> m_saidFree;
};

// The files below a folder, by their relative names.
using Files = std::map<std::string, std::string>;
Files ReadFiles(const std::string& folder);
// Makes the folder hold these files and nothing else.
void WriteFiles(const std::string& folder, const Files& files);

// A disk that carries out calls, and what is on it after the power failed.
class ReplayedDisk {
  public:
    // What becomes of changes that no later Sync of their file covers.
    enum class Loss {
        None,  // the process was killed, the system lives on
        All,
        SomeChanges,  // each is there or not, by chance
        SomeSectors,  // each 512 bytes of each write are there or not
    };

    explicit ReplayedDisk(const Files& files);
    void Carry(const DiskCall& call);
    Files After(Loss loss, std::mt19937& random) const;

  private:
    struct File {
        bool isDurable = false;
        std::string durable;
        std::vector<DiskCall> waiting;
    };
    // What a Sync of a folder does: the names in it are as they are now.
    void KeepNames(const std::string& folder);

    std::map<std::string, File> m_files;
    std::string m_renamedFrom;  // a folder whose new name may be lost
    std::string m_renamedTo;
};
