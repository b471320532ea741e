#include "WrittenPages.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "BulkFile.h"
#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

constexpr char kWritten = 1;

}  // namespace

WrittenPages::WrittenPages(const std::string& path) : m_path(path) {
    m_file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_file < 0) {
        ORQBasThrowSystemFailure(path, "open");
    }
}

WrittenPages::~WrittenPages() {
    if (m_map != nullptr) {
        munmap(const_cast<std::byte*>(m_map), static_cast<std::size_t>(m_mapped));
    }
    close(m_file);
}

WrittenPages::Pages WrittenPages::PagesOf(std::int64_t begin, std::int64_t end) {
    return {begin / kBulkPage, (end + kBulkPage - 1) / kBulkPage};
}

void WrittenPages::Add(std::int64_t begin, std::int64_t end) noexcept {
    std::array<char, 1024> ones{};
    ones.fill(kWritten);
    for (Pages pages = PagesOf(begin, end); pages.first < pages.last;) {
        const auto count = std::min<std::int64_t>(pages.last - pages.first, ones.size());
        // Pages are noted by writing, not through the map: on a full disk that would be a signal.
        const ssize_t n = pwrite(m_file, ones.data(), static_cast<std::size_t>(count), pages.first);
        if (n <= 0) {
            return;
        }
        pages.first += n;
    }
}

// Shorter where the file ends before; what is behind its end is unwritten.
std::span<const std::byte> WrittenPages::Noted(const Pages& pages) {
    if (pages.last > m_size) {
        struct stat status {};
        m_size = fstat(m_file, &status) == 0 ? status.st_size : m_size;
        if (m_size > m_mapped) {
            Map();
        }
    }
    const std::int64_t last = std::min(pages.last, m_size);
    return pages.first >= last ? std::span<const std::byte>()
                               : std::span(m_map + pages.first, m_map + last);
}

void WrittenPages::Map() {
    constexpr std::int64_t kLeast = 1 << 20;  // of 4 GiB; address space, not memory
    const std::int64_t wanted = std::max(kLeast, 2 * m_size);
    void* map = mmap(nullptr, static_cast<std::size_t>(wanted), PROT_READ, MAP_SHARED, m_file, 0);
    if (map == MAP_FAILED) {
        ORQBasThrowSystemFailure(m_path, "map " + std::to_string(wanted) + " bytes");
    }
    if (m_map != nullptr) {
        munmap(const_cast<std::byte*>(m_map), static_cast<std::size_t>(m_mapped));
    }
    m_map = static_cast<const std::byte*>(map);
    m_mapped = wanted;
}

bool WrittenPages::HasAll(std::int64_t begin, std::int64_t end) {
    const Pages pages = PagesOf(begin, end);
    const std::span<const std::byte> noted = Noted(pages);
    return std::ssize(noted) == pages.last - pages.first &&
           (noted.empty() || std::memchr(noted.data(), 0, noted.size()) == nullptr);
}

bool WrittenPages::HasAny(std::int64_t begin, std::int64_t end) {
    const std::span<const std::byte> noted = Noted(PagesOf(begin, end));
    return !noted.empty() && std::memchr(noted.data(), kWritten, noted.size()) != nullptr;
}

}  // namespace orq::storage
