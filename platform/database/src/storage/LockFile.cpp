#include "LockFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

struct flock Range(short type, std::int64_t first, std::int64_t count) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = first;
    range.l_len = count;
    return range;
}

bool IsHeldByOther(int error) {
    // POSIX lets a system choose either.
    return error == EAGAIN || error == EACCES;
}

// The last text may be of a process that is gone: whoever has just taken the lock has still to
// write its own.
bool IsOfLivingProcess(const std::string& holder) {
    int process = 0;
    std::array<char, 256> host{};
    std::array<char, 256> thisHost{};
    if (std::sscanf(holder.c_str(), "process %d on %255s", &process, host.data()) != 2) {
        return !holder.empty();
    }
    const bool isHere = gethostname(thisHost.data(), thisHost.size() - 1) == 0 &&
                        std::strcmp(host.data(), thisHost.data()) == 0;
    return !isHere || kill(process, 0) == 0 || errno != ESRCH;
}

std::string ReadHolder(int file) {
    // Half a second: a writer puts its name into the file right after it has the lock.
    constexpr int kAttempts = 100;
    constexpr useconds_t kPause = 5'000;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        std::array<char, 512> text{};
        const ssize_t n = pread(file, text.data(), text.size(), 0);
        const std::string holder(text.data(), static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
        if (IsOfLivingProcess(holder)) {
            return holder;
        }
        usleep(kPause);
    }
    return "another process";
}

}  // namespace

std::string NameOfThisProcess() {
    std::array<char, 256> host{};
    if (gethostname(host.data(), host.size() - 1) != 0) {
        std::strcpy(host.data(), "unknown host");
    }
    return "process " + std::to_string(getpid()) + " on " + host.data();
}

LockFile::~LockFile() {
    Close();
}

void LockFile::OpenAsWriter(const std::string& path, Sharing sharing) {
    m_path = path;
    // The file is not emptied here: until the lock is taken, the text is that of its holder.
    m_file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_file < 0) {
        ORQBasThrowSystemFailure(path, "open the lock file for writing");
    }
    struct flock range = sharing == Sharing::Alone ? Range(F_WRLCK, 0, kWriterByte + 1)
                                                   : Range(F_WRLCK, kWriterByte, 1);
    if (fcntl(m_file, F_OFD_SETLK, &range) != 0) {
        if (!IsHeldByOther(errno)) {
            ORQBasThrowSystemFailure(path, "lock");
        }
        RefuseBusy();
    }
    const std::string name = NameOfThisProcess();
    if (ftruncate(m_file, 0) != 0 ||
        pwrite(m_file, name.data(), name.size(), 0) != static_cast<ssize_t>(name.size())) {
        ORQBasThrowSystemFailure(path, "write the lock file");
    }
    m_isWriter = true;
}

bool LockFile::OpenAsReader(const std::string& path, bool makes) {
    m_path = path;
    // For reading suffices for shared locks, so that a user who may not write is seen too.
    m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_file < 0 && errno == ENOENT && makes) {
        m_file = open(path.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
    }
    // A reader without a lock file is seen by nobody. Whether it may go on is decided by who calls;
    // too many open files, for one, is no such case.
    if (m_file < 0 && errno != EROFS && errno != EACCES && errno != ENOENT && errno != EPERM) {
        ORQBasThrowSystemFailure(path, "open the lock file");
    }
    return m_file >= 0;
}

bool LockFile::IsInPlace(const std::string& path) const {
    struct stat opened {};
    struct stat named {};
    return m_file < 0 || (fstat(m_file, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
                          opened.st_dev == named.st_dev && opened.st_ino == named.st_ino);
}

void LockFile::Close() {
    if (m_file >= 0) {
        close(m_file);
        m_file = -1;
    }
    m_marked = 0;
    m_isWriter = false;
    m_isChoosing = false;
}

std::string LockFile::Writer() const {
    if (m_isWriter) {
        return NameOfThisProcess();
    }
    struct flock range = Range(F_RDLCK, kWriterByte, 1);
    if (m_file >= 0 && fcntl(m_file, F_OFD_GETLK, &range) != 0) {
        ORQBasThrowSystemFailure(m_path, "ask who holds the lock");
    }
    return m_file < 0 || range.l_type == F_UNLCK ? "" : ReadHolder(m_file);
}

std::string LockFile::WriterOf(const std::string& path) {
    LockFile lock;
    lock.m_path = path;
    lock.m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    return lock.Writer();
}

bool LockFile::IsLocked(std::int64_t byte) const {
    struct flock range = Range(F_WRLCK, byte, 1);
    if (fcntl(m_file, F_OFD_GETLK, &range) != 0) {
        ORQBasThrowSystemFailure(m_path, "ask who holds the lock");
    }
    return range.l_type != F_UNLCK;
}

bool LockFile::AreFilesHeld() const {
    struct flock range = Range(F_WRLCK, kFilesByte, 1);
    // When in doubt, they are held: a fold that was left out is made up for, a file that changed
    // below a reader is not.
    return m_file < 0 || fcntl(m_file, F_OFD_GETLK, &range) != 0 || range.l_type != F_UNLCK;
}

void LockFile::RefuseBusy() {
    const std::string why =
        IsLocked(kWriterByte)
            ? "open for writing by " + ReadHolder(m_file)
            : "is being read; on a network file system nobody may read while somebody writes";
    throw ORQBasFailure(ORQBasFailureKind::Busy, m_path.substr(0, m_path.rfind('/')) + ": " + why);
}

void LockFile::Lock(std::int64_t byte) {
    if (m_file < 0) {
        return;
    }
    // This does not wait: only a writer that is alone stands in the way, and it stays for its whole
    // life.
    struct flock range = Range(F_RDLCK, byte, 1);
    if (fcntl(m_file, F_OFD_SETLK, &range) != 0) {
        if (IsHeldByOther(errno)) {
            RefuseBusy();
        }
        ORQBasThrowSystemFailure(m_path, "mark the state that is read");
    }
}

void LockFile::Unlock(std::int64_t byte) noexcept {
    struct flock range = Range(F_UNLCK, byte, 1);
    fcntl(m_file, F_OFD_SETLK, &range);
}

void LockFile::BeginChoosingSnapshot() {
    if (!m_isChoosing) {
        Lock(0);
        m_isChoosing = true;
    }
}

void LockFile::MarkSnapshot(std::int64_t generation) {
    if (generation != m_marked) {
        // The new mark before the old one goes (invariant 13): if this throws, the reader is still
        // seen.
        Lock(generation);
        if (m_marked != 0) {
            Unlock(m_marked);
        }
        m_marked = generation;
    }
    EndChoosing();
}

std::int64_t LockFile::OldestSnapshot(std::int64_t current) const {
    if (m_file < 0) {
        return current;
    }
    // The kernel names some lock in the range, not the first; narrow down to the lowest.
    std::int64_t oldest = current;
    while (oldest > 0) {
        // This handle's own locks do not count: they belong to the same open file.
        struct flock range = Range(F_WRLCK, 0, oldest);
        if (fcntl(m_file, F_OFD_GETLK, &range) != 0) {
            return 0;  // somebody may read anything
        }
        if (range.l_type == F_UNLCK) {
            break;
        }
        oldest = range.l_start;
    }
    return oldest;
}

}  // namespace orq::storage
