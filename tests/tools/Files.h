#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

/// The contents of a file; empty when it cannot be read.
inline std::string Bytes(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

inline void PutBytes(const std::filesystem::path& file, std::string_view bytes) {
    std::ofstream(file, std::ios::binary) << bytes;
}

/// Everything below a folder: contents by path, "" for folders.
inline std::map<std::string, std::string> Tree(const std::filesystem::path& folder) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        tree[entry.path().string()] = entry.is_regular_file() ? Bytes(entry.path()) : "";
    }
    return tree;
}

/// Root may do everything; while it lives, this process is somebody else.
class WithoutPrivileges {
  public:
    WithoutPrivileges() : m_isRoot(geteuid() == 0) {
        if (m_isRoot && seteuid(65534) != 0) {
            throw std::runtime_error("cannot give up privileges");
        }
    }
    ~WithoutPrivileges() {
        if (m_isRoot && seteuid(0) != 0) {
            std::abort();
        }
    }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

  private:
    bool m_isRoot;
};
