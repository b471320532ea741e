// Which pages of a bulk file were ever written, of a file that others fill too.
//
// A file beside it has a byte for each page: 1 where something was written. It only ever grows, by
// writing, so all processes share it as it is. A crash may leave it behind the bulk file, or ahead
// of it: whoever reads compares checksums, and whoever finds a page unwritten brings it again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace orq::storage {

class WrittenPages {
  public:
    /// Opens the note at `path`, or begins one in which no page is written.
    explicit WrittenPages(const std::string& path);
    ~WrittenPages();
    WrittenPages(const WrittenPages&) = delete;
    WrittenPages& operator=(const WrittenPages&) = delete;

    /// What cannot be noted counts as unwritten.
    void Add(std::int64_t begin, std::int64_t end) noexcept;
    bool HasAll(std::int64_t begin, std::int64_t end);
    bool HasAny(std::int64_t begin, std::int64_t end);

  private:
    struct Pages {
        std::int64_t first;
        std::int64_t last;  // behind the last one
    };
    static Pages PagesOf(std::int64_t begin, std::int64_t end);
    std::span<const std::byte> Noted(const Pages& pages);
    void Map();

    int m_file = -1;
    std::string m_path;
    std::int64_t m_size = 0;           // of the file, as far as it was needed
    const std::byte* m_map = nullptr;  // may reach beyond the size, where nothing is read
    std::int64_t m_mapped = 0;
};

}  // namespace orq::storage
