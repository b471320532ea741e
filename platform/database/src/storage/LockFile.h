// The lock file of a database directory: who writes, and which states are still being read.
//
// All locks are open-file-description locks, so the kernel releases them when a process ends in
// whatever way, and two handles of one process exclude each other like two processes do.
//
//   byte kWriterByte     exclusive, held by the one writer from opening to closing
//   byte 0               shared, held by a reader while it chooses its snapshot
//   byte g >= 1          shared, held by a reader whose snapshot is generation g
//   byte kFilesByte      shared, held by a reader that reads the catalogue's file without its log,
//                        because it may not make one; as long, nobody folds a log into the file
//
// The writer may reuse space that was freed by generation f only when no byte below f is locked.
// A reader takes byte 0 before its snapshot and releases it after locking byte g, so there is no
// moment at which it sees a state without being seen.
//
// On a network file system the index of SQLite's log, which lies in shared memory, is not shared
// among hosts. There the writer locks all bytes: it waits for nobody, but is refused while anybody
// reads, and readers are refused while it writes.
//
// The text in the file says who the writer is; it is for error messages only.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

namespace orq::storage {

// This process in words, for others: "process 812 on host".
std::string NameOfThisProcess();

class LockFile {
  public:
    // An absent lock, as if it held everything: for databases in memory, and for
    // directories that nobody can write to.
    LockFile() = default;
    ~LockFile();
    LockFile(const LockFile&) = delete;
    LockFile& operator=(const LockFile&) = delete;

    enum class Sharing { WithReaders, Alone };

    // Opens, and takes the writer's lock. Throws Busy with the holder's name when it is taken.
    void OpenAsWriter(const std::string& path, Sharing sharing);
    // Opens for marking snapshots. A missing file is made where that is asked for and the directory
    // allows it; returns false when there is none that can be read.
    bool OpenAsReader(const std::string& path, bool makes);
    void Close();
    // Whether its name still leads to the file that was opened, or none was.
    bool IsInPlace(const std::string& path) const;

    // Throws Busy with the holder's name while a writer is alone. Once more changes nothing.
    void BeginChoosingSnapshot();
    // Ends the choosing; the mark of an earlier snapshot is taken away. When it throws, that mark
    // stays and the choosing goes on.
    void MarkSnapshot(std::int64_t generation);
    // Ends the choosing without a choice.
    void EndChoosing() noexcept {
        Unlock(0);
        m_isChoosing = false;
    }

    // While it holds the files, a reader may read the catalogue's without its log. Throws Busy with
    // the holder's name while a writer is alone.
    void HoldFiles() { Lock(kFilesByte); }
    void LetFilesGo() noexcept { Unlock(kFilesByte); }
    // Whether another handle holds them, or may do so.
    bool AreFilesHeld() const;

    // The holder of the writer's lock, in words; empty when nobody holds it.
    std::string Writer() const;
    // The same of a file that may not be there, which nobody holds. Makes nothing.
    static std::string WriterOf(const std::string& path);

    // The lowest generation that some other handle reads, or `current` when there is none below it.
    // Readers that are about to choose count as generation 0.
    std::int64_t OldestSnapshot(std::int64_t current) const;

  private:
    static constexpr std::int64_t kWriterByte = std::numeric_limits<std::int64_t>::max() - 1;
    static constexpr std::int64_t kFilesByte = kWriterByte - 1;

    void Lock(std::int64_t byte);
    // Failing only holds back what could be used again.
    void Unlock(std::int64_t byte) noexcept;
    bool IsLocked(std::int64_t byte) const;
    [[noreturn]] void RefuseBusy();

    int m_file = -1;
    bool m_isWriter = false;
    bool m_isChoosing = false;
    std::string m_path;
    std::int64_t m_marked = 0;
};

}  // namespace orq::storage
