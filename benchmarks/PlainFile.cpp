#include "PlainFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef ORQ_XXHASH_DISPATCHES
#include <xxh_x86dispatch.h>
#else
#define XXH_INLINE_ALL
#include <xxhash.h>
#endif

#include <algorithm>
#include <cstring>

#include "Harness.h"

namespace storage_benchmark {

PlainFile::PlainFile(const std::filesystem::path& path, Mode mode)
    : m_path(path),
      m_file(open(path.c_str(),
                  O_CLOEXEC | (mode == Mode::Read ? O_RDONLY : O_RDWR | O_CREAT | O_TRUNC), 0666)) {
    Require(m_file >= 0, path.string() + ": cannot be opened");
}

PlainFile::~PlainFile() {
    close(m_file);
}

void PlainFile::Append(std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t n = write(m_file, bytes.data(), bytes.size());
        Require(n > 0, m_path.string() + ": cannot be written");
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
}

void PlainFile::SyncAll() {
    Require(fsync(m_file) == 0, m_path.string() + ": cannot be synced");
}

void PlainFile::SyncData() {
    Require(fdatasync(m_file) == 0, m_path.string() + ": cannot be synced");
}

std::int64_t PlainFile::Size() const {
    struct stat status {};
    Require(fstat(m_file, &status) == 0, m_path.string() + ": has no size");
    return status.st_size;
}

void LeaveRoomToWrite(const std::filesystem::path& directory, std::size_t nBytes) {
    const std::filesystem::path passing = directory / "passing.bin";
    PlainFile(passing, PlainFile::Mode::CreateEmpty).Append(std::vector<std::byte>(nBytes));
    std::filesystem::remove(passing);
}

MappedFile::MappedFile(const std::filesystem::path& path) {
    const PlainFile file(path, PlainFile::Mode::Read);
    const auto size = static_cast<std::size_t>(file.Size());
    void* map = mmap(nullptr, size, PROT_READ, MAP_SHARED, file.Handle(), 0);
    Require(map != MAP_FAILED, path.string() + ": cannot be mapped");
    m_bytes = {static_cast<const std::byte*>(map), size};
}

MappedFile::~MappedFile() {
    munmap(const_cast<std::byte*>(m_bytes.data()), m_bytes.size());
}

void MappedFile::CopyTo(std::span<std::byte> target) const {
    std::memcpy(target.data(), m_bytes.data(), target.size());
}

void MappedFile::Gather(std::span<const int> picks, double* values) const {
    const auto* stored = reinterpret_cast<const double*>(m_bytes.data());
    for (const int node : picks) {
        std::memcpy(values, stored + std::int64_t{3} * node, 3 * sizeof(double));
        values += 3;
    }
}

std::uint64_t HashBlocks(std::span<const std::byte> bytes) {
    constexpr std::size_t kBlock = 64 << 10;
    std::uint64_t all = 0;
    while (!bytes.empty()) {
        const auto block = bytes.first(std::min(kBlock, bytes.size()));
        all ^= XXH3_64bits(block.data(), block.size());
        bytes = bytes.subspan(block.size());
    }
    return all;
}

std::uint64_t MappedFile::HashTouched(std::span<const int> picks) const {
    constexpr std::int64_t kPiece = 64 << 10;
    constexpr std::int64_t kNode = 3 * sizeof(double);
    const auto size = static_cast<std::int64_t>(m_bytes.size());
    std::uint64_t all = 0;
    std::int64_t next = 0;
    for (const int node : picks) {
        for (; next * kPiece < (node + 1) * kNode; ++next) {
            if ((next + 1) * kPiece > node * kNode) {
                const std::int64_t begin = next * kPiece;
                all ^= XXH3_64bits(m_bytes.data() + begin,
                                   static_cast<std::size_t>(std::min(kPiece, size - begin)));
            }
        }
    }
    return all;
}

}  // namespace storage_benchmark
