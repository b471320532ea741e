#include "DiskCalls.h"

#include <fcntl.h>
#include <linux/limits.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <span>
#include <utility>

namespace {

namespace fs = std::filesystem;
using CallKind = DiskCall::Kind;

DiskWatch* g_watch = nullptr;

std::string PathOf(int descriptor) {
    std::array<char, PATH_MAX> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t n = readlink(link.c_str(), path.data(), path.size());
    return {path.data(), n > 0 ? static_cast<std::size_t>(n) : 0};
}

// The watched file that a descriptor stands for.
std::optional<std::string> WatchedFile(int descriptor) {
    if (g_watch == nullptr || descriptor < 0) {
        return {};
    }
    const std::string name = PathOf(descriptor);
    return g_watch->Watches(name) ? std::optional(g_watch->Relative(name)) : std::nullopt;
}

// Whether the call has to fail; errno says how.
bool Fails(DiskCall call) {
    const int error = g_watch->Enter(std::move(call));
    errno = error != 0 ? error : errno;
    return error != 0;
}

ssize_t Write(int file, const void* bytes, std::size_t size, off_t offset) {
    if (const auto name = WatchedFile(file)) {
        size = g_watch->ShortensNext() ? (size + 1) / 2 : size;
        if (Fails({CallKind::Write, *name, offset, {static_cast<const char*>(bytes), size}})) {
            return -1;
        }
    }
    return syscall(SYS_pwrite64, file, bytes, size, offset);
}

int Truncate(int file, off_t size) {
    const auto name = WatchedFile(file);
    return name && Fails({CallKind::Truncate, *name, size, {}})
               ? -1
               : static_cast<int>(syscall(SYS_ftruncate, file, size));
}

int Reserve(int file, int mode, off_t offset, off_t size) {
    const auto name = WatchedFile(file);
    return name && Fails({CallKind::Reserve, *name, offset + size, {}})
               ? -1
               : static_cast<int>(syscall(SYS_fallocate, file, mode, offset, size));
}

// What was written is in the system's memory, which no test here outlives: nobody waits for a disk.
int Sync(int file) {
    const auto name = WatchedFile(file);
    return name && Fails({CallKind::Sync, *name, 0, {}}) ? -1 : 0;
}

void* Map(void* at, std::size_t size, int protection, int flags, int file, off_t offset) {
    if (g_watch != nullptr && file >= 0 &&
        g_watch->FileSystem() == DiskWatch::Kind::WithoutSharedMemory &&
        PathOf(file).ends_with("-shm")) {
        errno = ENODEV;
        return MAP_FAILED;
    }
    if (const auto name = WatchedFile(file); name && Fails({CallKind::Map, *name, offset, {}})) {
        return MAP_FAILED;
    }
    return reinterpret_cast<void*>(syscall(SYS_mmap, at, size, protection, flags, file, offset));
}

// Whether a call that changes nothing has to fail.
bool FailsToAnswer(int descriptor) {
    if (g_watch == nullptr || descriptor < 0 || !g_watch->IsBelow(PathOf(descriptor)) ||
        !g_watch->FailsQuestion()) {
        return false;
    }
    errno = EIO;
    return true;
}

bool FailsLockQuery(int descriptor, int command) {
    if (command != F_OFD_GETLK || g_watch == nullptr || !g_watch->FailsLockQueries() ||
        !g_watch->IsBelow(PathOf(descriptor))) {
        return false;
    }
    errno = EIO;
    return true;
}

// Giving a lock back does not fail.
bool TakesLock(int command, const void* argument) {
    return command == F_OFD_GETLK ||
           ((command == F_SETLK || command == F_OFD_SETLK) &&
            static_cast<const struct flock*>(argument)->l_type != F_UNLCK);
}

void Put(std::string& file, std::int64_t offset, std::string_view bytes) {
    file.resize(std::max(file.size(), static_cast<std::size_t>(offset) + bytes.size()));
    file.replace(static_cast<std::size_t>(offset), bytes.size(), bytes);
}

void PutSomeSectors(std::string& file, const DiskCall& write, std::mt19937& random) {
    constexpr std::int64_t kSector = 512;
    const auto end = write.offset + static_cast<std::int64_t>(write.bytes.size());
    for (std::int64_t begin = write.offset; begin < end;) {
        const std::int64_t next = std::min(end, (begin / kSector + 1) * kSector);
        if (random() % 2 == 0) {
            Put(file, begin,
                std::string_view(write.bytes)
                    .substr(static_cast<std::size_t>(begin - write.offset),
                            static_cast<std::size_t>(next - begin)));
        }
        begin = next;
    }
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {
ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
    return Write(file, bytes, size, offset);
}
ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t offset) {
    return Write(file, bytes, size, offset);
}
ssize_t pwritev(int file, const iovec* pieces, int nPieces, off_t offset) {
    std::string bytes;
    for (const iovec& piece : std::span(pieces, static_cast<std::size_t>(nPieces))) {
        bytes.append(static_cast<const char*>(piece.iov_base), piece.iov_len);
    }
    return Write(file, bytes.data(), bytes.size(), offset);
}
ssize_t pwritev64(int file, const iovec* pieces, int nPieces, off64_t offset) {
    return pwritev(file, pieces, nPieces, offset);
}
ssize_t pread(int file, void* bytes, std::size_t size, off_t offset) {
    return FailsToAnswer(file) ? -1 : syscall(SYS_pread64, file, bytes, size, offset);
}
ssize_t pread64(int file, void* bytes, std::size_t size, off64_t offset) {
    return FailsToAnswer(file) ? -1 : syscall(SYS_pread64, file, bytes, size, offset);
}
ssize_t read(int file, void* bytes, std::size_t size) {
    return FailsToAnswer(file) ? -1 : syscall(SYS_read, file, bytes, size);
}
int fstat(int file, struct stat* status) noexcept {
    return FailsToAnswer(file) ? -1 : static_cast<int>(syscall(SYS_fstat, file, status));
}
int fstat64(int file, struct stat64* status) noexcept {
    return FailsToAnswer(file) ? -1 : static_cast<int>(syscall(SYS_fstat, file, status));
}
int fcntl(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return FailsLockQuery(file, command) || (TakesLock(command, argument) && FailsToAnswer(file))
               ? -1
               : static_cast<int>(syscall(SYS_fcntl, file, command, argument));
}
int fcntl64(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return fcntl(file, command, argument);
}
int ftruncate(int file, off_t size) noexcept {
    return Truncate(file, size);
}
int ftruncate64(int file, off64_t size) noexcept {
    return Truncate(file, size);
}
int fallocate(int file, int mode, off_t offset, off_t size) {
    return Reserve(file, mode, offset, size);
}
int fallocate64(int file, int mode, off64_t offset, off64_t size) {
    return Reserve(file, mode, offset, size);
}
int fdatasync(int file) {
    return Sync(file);
}
int fsync(int file) {
    return Sync(file);
}
void* mmap(void* at, std::size_t size, int protection, int flags, int file, off_t offset) noexcept {
    return Map(at, size, protection, flags, file, offset);
}
void* mmap64(void* at, std::size_t size, int protection, int flags, int file,
             off64_t offset) noexcept {
    return Map(at, size, protection, flags, file, offset);
}
int unlink(const char* path) noexcept {
    const bool fails = g_watch != nullptr && g_watch->Watches(path) &&
                       Fails({CallKind::Remove, g_watch->Relative(path), 0, {}});
    return fails ? -1 : static_cast<int>(syscall(SYS_unlink, path));
}
int statfs(const char* path, struct statfs* status) noexcept {
    const auto result = static_cast<int>(syscall(SYS_statfs, path, status));
    if (g_watch != nullptr && g_watch->FileSystem() == DiskWatch::Kind::Network) {
        status->f_type = NFS_SUPER_MAGIC;
    }
    return result;
}
int fstatvfs(int file, struct statvfs* status) noexcept {
    struct statfs found {};
    const auto result = static_cast<int>(syscall(SYS_fstatfs, file, &found));
    *status = {};
    status->f_frsize = static_cast<unsigned long>(found.f_bsize);
    status->f_bavail = found.f_bavail;
    if (g_watch != nullptr && g_watch->SaidFree()) {
        status->f_bavail = static_cast<fsblkcnt_t>(*g_watch->SaidFree()) / status->f_frsize;
    }
    return result;
}
int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
    const bool fails = g_watch != nullptr && g_watch->Watches(from) &&
                       Fails({CallKind::Rename, g_watch->Relative(from), 0, g_watch->Relative(to)});
    return fails ? -1
                 : static_cast<int>(syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}
}
#pragma GCC visibility pop

DiskWatch::DiskWatch(const std::string& folder, Kind kind)
    : m_folder(fs::canonical(folder).string()), m_kind(kind) {
    g_watch = this;
}

DiskWatch::~DiskWatch() {
    g_watch = nullptr;
}

void DiskWatch::Fail(std::size_t first, std::size_t last, How how) {
    m_failFirst = first;
    m_failLast = last;
    m_how = how;
}

void DiskWatch::FailQuestions(std::size_t first, std::size_t count) {
    m_questionsFail = first;
    m_nFailing = count;
}

void DiskWatch::AtQuestion(std::size_t number, std::function<void()> action) {
    m_actAt = number;
    m_action = std::move(action);
}

bool DiskWatch::FailsQuestion() {
    const std::size_t number = m_nQuestions++;
    if (m_action && number == m_actAt) {
        std::exchange(m_action, nullptr)();
    }
    return number >= m_questionsFail && number < m_questionsFail + m_nFailing;
}

bool DiskWatch::Watches(const std::string& path) const {
    return path.starts_with(m_folder) && !path.ends_with("-shm") && !path.ends_with("/lock");
}

std::string DiskWatch::Relative(const std::string& path) const {
    return path.size() <= m_folder.size() ? "" : path.substr(m_folder.size() + 1);
}

bool DiskWatch::ShortensNext() const {
    return m_how == How::Shorten && m_calls.size() >= m_failFirst && m_calls.size() < m_failLast;
}

int DiskWatch::Enter(DiskCall call) {
    const DiskCall::Kind kind = call.kind;
    const bool fails = (m_calls.size() >= m_failFirst && m_calls.size() < m_failLast &&
                        !(m_how == How::Shorten && kind == DiskCall::Kind::Write)) ||
                       (m_refusesRoom && kind == DiskCall::Kind::Reserve);
    m_calls.push_back(std::move(call));
    if (m_atEachCall) {
        m_atEachCall();
    }
    if (!fails) {
        return 0;
    }
    switch (kind) {
        case DiskCall::Kind::Write:
        case DiskCall::Kind::Truncate:
        case DiskCall::Kind::Reserve:
            return m_how == How::Quota ? EDQUOT : ENOSPC;
        case DiskCall::Kind::Map:
            return ENOMEM;
        default:
            return EIO;
    }
}

Files ReadFiles(const std::string& folder) {
    Files files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            std::ifstream stream(entry.path(), std::ios::binary);
            files[fs::relative(entry.path(), folder).string()] = {
                std::istreambuf_iterator<char>(stream), {}};
        }
    }
    return files;
}

void WriteFiles(const std::string& folder, const Files& files) {
    for (const auto& entry : fs::directory_iterator(folder)) {
        fs::remove_all(entry.path());
    }
    for (const auto& [name, bytes] : files) {
        const fs::path path = fs::path(folder) / name;
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << bytes;
    }
}

ReplayedDisk::ReplayedDisk(const Files& files) {
    for (const auto& [name, bytes] : files) {
        m_files[name] = {true, bytes, {}};
    }
}

void ReplayedDisk::Carry(const DiskCall& call) {
    switch (call.kind) {
        case CallKind::Sync:
            KeepNames(call.file);
            if (const auto file = m_files.find(call.file); file != m_files.end()) {
                std::mt19937 unused;
                Files now = After(Loss::None, unused);
                file->second = {true, std::move(now[call.file]), {}};
            }
            break;
        case CallKind::Rename: {
            std::map<std::string, File> moved;
            for (auto& [name, file] : m_files) {
                const bool moves = name.starts_with(call.file + "/");
                moved[moves ? call.bytes + name.substr(call.file.size()) : name] = std::move(file);
            }
            m_files = std::move(moved);
            m_renamedFrom = call.file;
            m_renamedTo = call.bytes;
            break;
        }
        case CallKind::Map:
        case CallKind::Reserve:  // of room behind the end, which no reader sees
            break;
        default:
            m_files[call.file].waiting.push_back(call);
    }
}

void ReplayedDisk::KeepNames(const std::string& folder) {
    if (fs::path(m_renamedTo).parent_path() == folder) {
        m_renamedTo.clear();
    }
    for (auto& [name, file] : m_files) {
        const auto isRemoval = [](const DiskCall& call) { return call.kind == CallKind::Remove; };
        const auto last = std::find_if(file.waiting.rbegin(), file.waiting.rend(), isRemoval);
        if (fs::path(name).parent_path() == folder && last != file.waiting.rend()) {
            file.waiting.erase(file.waiting.begin(), last.base());
            file.isDurable = false;
            file.durable.clear();
        }
    }
}

Files ReplayedDisk::After(Loss loss, std::mt19937& random) const {
    const bool losesName = !m_renamedTo.empty() && loss != Loss::None && random() % 2 == 0;
    Files files;
    for (const auto& [name, file] : m_files) {
        bool exists = file.isDurable;
        std::string bytes = file.durable;
        const auto waiting = loss == Loss::All ? std::span<const DiskCall>() : file.waiting;
        for (const DiskCall& change : waiting) {
            if (change.kind == CallKind::Write && loss == Loss::SomeSectors) {
                PutSomeSectors(bytes, change, random);
                exists = true;
            } else if (loss != Loss::None && random() % 2 == 0) {
                if (change.kind == CallKind::Remove) {
                    break;  // what comes later went to another file of that name
                }
            } else if (change.kind == CallKind::Write) {
                Put(bytes, change.offset, change.bytes);
                exists = true;
            } else {
                bytes.resize(
                    change.kind == CallKind::Remove ? 0 : static_cast<std::size_t>(change.offset));
                exists = change.kind != CallKind::Remove;
            }
        }
        if (exists) {
            const bool moves = losesName && name.starts_with(m_renamedTo + "/");
            files[moves ? m_renamedFrom + name.substr(m_renamedTo.size()) : name] =
                std::move(bytes);
        }
    }
    return files;
}
