// What the system itself can do with the same bytes: a file, written or mapped.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

namespace storage_benchmark {

class PlainFile {
  public:
    enum class Mode { CreateEmpty, Read };

    PlainFile(const std::filesystem::path& path, Mode mode);
    ~PlainFile();
    PlainFile(const PlainFile&) = delete;
    PlainFile& operator=(const PlainFile&) = delete;

    // Appends at the end of what was written so far.
    void Append(std::span<const std::byte> bytes);
    void SyncAll();
    void SyncData();
    std::int64_t Size() const;
    int Handle() const { return m_file; }

  private:
    std::filesystem::path m_path;
    int m_file;
};

// The system takes far longer to hand out memory that it has not used lately, above all in a
// virtual machine. A file that is written and removed leaves enough for the next one.
void LeaveRoomToWrite(const std::filesystem::path& directory, std::size_t nBytes);

// The checksum of each block of 64 KiB, put together.
std::uint64_t HashBlocks(std::span<const std::byte> bytes);

// A memory map of a whole file, for reading.
class MappedFile {
  public:
    explicit MappedFile(const std::filesystem::path& path);
    ~MappedFile();
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::span<const std::byte> Bytes() const { return m_bytes; }
    void CopyTo(std::span<std::byte> target) const;
    // values[i] = the three numbers of node picks[i].
    void Gather(std::span<const int> picks, double* values) const;
    // Hashes the pieces of 64 KiB that hold those nodes, each once; picks ascend.
    std::uint64_t HashTouched(std::span<const int> picks) const;

  private:
    std::span<const std::byte> m_bytes;
};

}  // namespace storage_benchmark
