#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ORQBasAllocator.h"

namespace orq::exchange {

/// Counts of keys by some of their bits: two bits a count, eight slots a key, so that one key in
/// eight falls on another one. Keys are well mixed hashes.
class SlotCounts {
  public:
    explicit SlotCounts(std::size_t nKeys)
        : m_mask(std::bit_ceil(kSlotsPerKey * nKeys + kSlotsPerByte) - 1),
          m_counts(m_mask / kSlotsPerByte + 1) {}

    /// The count before: 0, 1, or 2 for several.
    unsigned Add(std::uint64_t key) {
        std::uint8_t& byte = m_counts[ByteOf(key)];
        const unsigned count = Count(key);
        if (count < kMany) {
            byte = static_cast<std::uint8_t>(byte + (1U << ShiftOf(key)));
        }
        return count;
    }
    /// How often the key was added, or more: 0, 1, or 2 for several times.
    unsigned Count(std::uint64_t key) const { return (m_counts[ByteOf(key)] >> ShiftOf(key)) & 3U; }
    /// Fetches ahead: without that, each key of a large table is a wait for memory.
    void Fetch(std::uint64_t key) const { __builtin_prefetch(m_counts.data() + ByteOf(key), 1); }

  private:
    static constexpr std::size_t kSlotsPerKey = 8;
    static constexpr std::size_t kSlotsPerByte = 4;
    static constexpr unsigned kMany = 2;  // where counts stay

    std::size_t ByteOf(std::uint64_t key) const { return (key & m_mask) / kSlotsPerByte; }
    static unsigned ShiftOf(std::uint64_t key) {
        return 2 * static_cast<unsigned>(key % kSlotsPerByte);
    }

    std::size_t m_mask;
    ORQBasLargeVector<std::uint8_t> m_counts;
};

/// Tells of many keys which ones surely stand once, by some bytes a key instead of the keys
/// themselves, so that only the few others are compared. Keys are well mixed hashes, but for their two
/// highest bits, which may say anything.
class RepeatFilter {
  public:
    explicit RepeatFilter(std::span<const std::uint64_t> keys) : m_all(keys.size()), m_again(0) {
        std::vector<std::uint64_t> again;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            m_all.Fetch(Ahead(keys, i));
            if (m_all.Add(keys[i]) > 0) {
                again.push_back(Turned(keys[i]));
            }
        }
        m_again = SlotCounts(again.size());
        for (const std::uint64_t key : again) {
            m_again.Add(key);
        }
    }

    /// How often the key stands, or more: 0, 1, or 2 for several times.
    unsigned Count(std::uint64_t key) const { return m_all.Count(key); }
    /// Calls use(place, hasOther) for each of the keys: `hasOther` where one stands several times,
    /// and for one in ten of those that stand once.
    template <class Use>
    void ForEach(std::span<const std::uint64_t> keys, const Use& use) const {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            m_again.Fetch(Turned(Ahead(keys, i)));
            use(i, m_again.Count(Turned(keys[i])) > 0);
        }
    }

  private:
    /// Keys that fall together by their lower bits fall apart by their upper ones.
    static std::uint64_t Turned(std::uint64_t key) { return std::rotl(key << 2U, 32); }
    /// A key further on, beyond those that the processor waits for at once.
    static std::uint64_t Ahead(std::span<const std::uint64_t> keys, std::size_t i) {
        constexpr std::size_t kAhead = 32;
        return keys[std::min(i + kAhead, keys.size() - 1)];
    }

    SlotCounts m_all;
    // Counts, by other bits, only keys that fell on an earlier one. They are few, so that this
    // table stays in the processor's cache.
    SlotCounts m_again;
};

/// Places of the keys that may stand several times, ascending: all that do, and of those that stand
/// once some in a hundred.
inline std::vector<std::size_t> PlacesOfRepeated(std::span<const std::uint64_t> keys) {
    std::vector<std::size_t> places;
    std::vector<std::uint64_t> met;
    RepeatFilter(keys).ForEach(keys, [&](std::size_t place, bool hasOther) {
        if (hasOther) {
            places.push_back(place);
            met.push_back(std::rotl(keys[place], 16));  // bits that have not told yet
        }
    });
    std::size_t nKept = 0;
    RepeatFilter(met).ForEach(met, [&](std::size_t i, bool hasOther) {
        if (hasOther) {
            places[nKept++] = places[i];
        }
    });
    places.resize(nKept);
    return places;
}

}  // namespace orq::exchange
