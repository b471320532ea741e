// Room for bytes that stay where they are until all of it is given up.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace orq::storage {

class BytePool {
  public:
    // Where it throws, nothing has changed.
    std::span<std::byte> Take(std::size_t nBytes) {
        if (m_free.size() < nBytes) {
            const std::size_t size = std::max(kBlock, nBytes);
            m_blocks.reserve(m_blocks.size() + 1);
            m_blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
            m_free = {m_blocks.back().get(), size};
            m_nBytes += size;
        }
        const std::span<std::byte> taken = m_free.first(nBytes);
        m_free = m_free.subspan(nBytes);
        return taken;
    }
    // Of all blocks, whether they are taken or not.
    std::size_t NumBytes() const { return m_nBytes; }
    void Clear() noexcept {
        m_blocks.clear();
        m_free = {};
        m_nBytes = 0;
    }

  private:
    static constexpr std::size_t kBlock = 64 << 10;

    std::vector<std::unique_ptr<std::byte[]>> m_blocks;
    std::span<std::byte> m_free;  // of the last one
    std::size_t m_nBytes = 0;
};

}  // namespace orq::storage
