#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace orq::exchange {

/// Tells of many keys which ones surely stand once, by some bytes a key instead of the keys
/// themselves, so that only the few others are compared. Keys are well mixed hashes.
class RepeatFilter {
  public:
    explicit RepeatFilter(std::size_t nKeys)
        : m_mask(std::bit_ceil(kSlotsPerKey * nKeys + kSlotsPerByte) - 1),
          m_counts(m_mask / kSlotsPerByte + 1) {}

    void Add(std::uint64_t key) {
        std::uint8_t& byte = m_counts[(key & m_mask) / kSlotsPerByte];
        if (Count(key) < kMany) {
            byte = static_cast<std::uint8_t>(byte + (1U << ShiftOf(key)));
        }
    }
    /// Lets the processor fetch what Add and Count need of a key, which else is a wait for memory
    /// each time.
    void Fetch(std::uint64_t key) const {
        __builtin_prefetch(m_counts.data() + (key & m_mask) / kSlotsPerByte, 1);
    }
    /// How often the key was added, or more: 0, 1, or 2 for several times.
    unsigned Count(std::uint64_t key) const {
        return (m_counts[(key & m_mask) / kSlotsPerByte] >> ShiftOf(key)) & 3U;
    }

  private:
    static constexpr std::size_t kSlotsPerKey = 8;  // one key in eight is taken for another one
    static constexpr std::size_t kSlotsPerByte = 4;
    static constexpr unsigned kMany = 2;

    static unsigned ShiftOf(std::uint64_t key) {
        return 2 * static_cast<unsigned>(key % kSlotsPerByte);
    }

    std::size_t m_mask;
    std::vector<std::uint8_t> m_counts;
};

}  // namespace orq::exchange
