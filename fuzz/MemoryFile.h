#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// A file in memory that has a path while it lives.
class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* bytes, std::size_t size) : m_file(memfd_create("input", 0)) {
        if (m_file < 0 || write(m_file, bytes, size) != static_cast<ssize_t>(size)) {
            std::abort();
        }
    }
    ~MemoryFile() { close(m_file); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(m_file); }

  private:
    int m_file;
};
