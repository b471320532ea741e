#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ORQBasAllocator.h"

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
    void AddAll(std::span<const std::uint64_t> keys) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            FetchAhead(keys, i);
            Add(keys[i]);
        }
    }
    /// Calls use(place of the key, Count of it) for each.
    template <class Use>
    void ForEachCount(std::span<const std::uint64_t> keys, const Use& use) const {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            FetchAhead(keys, i);
            use(i, Count(keys[i]));
        }
    }
    /// How often the key was added, or more: 0, 1, or 2 for several times.
    unsigned Count(std::uint64_t key) const {
        return (m_counts[(key & m_mask) / kSlotsPerByte] >> ShiftOf(key)) & 3U;
    }

  private:
    static constexpr std::size_t kSlotsPerKey = 8;  // one key in eight is taken for another one
    static constexpr std::size_t kSlotsPerByte = 4;
    static constexpr unsigned kMany = 2;
    // Keys further on whose counts are fetched: more than the processor waits for at once.
    static constexpr std::size_t kAhead = 32;

    /// Without it, each key is a wait for memory.
    void FetchAhead(std::span<const std::uint64_t> keys, std::size_t i) const {
        const std::uint64_t key = keys[std::min(i + kAhead, keys.size() - 1)];
        __builtin_prefetch(m_counts.data() + (key & m_mask) / kSlotsPerByte, 1);
    }
    static unsigned ShiftOf(std::uint64_t key) {
        return 2 * static_cast<unsigned>(key % kSlotsPerByte);
    }

    std::size_t m_mask;
    ORQBasLargeVector<std::uint8_t> m_counts;
};

/// Places of the keys that may stand several times, ascending: all that do, and of those that stand
/// once some in a hundred.
inline std::vector<std::size_t> PlacesOfRepeated(std::span<const std::uint64_t> keys) {
    std::vector<std::size_t> places;
    std::vector<std::uint64_t> turned;
    RepeatFilter filter(keys.size());
    filter.AddAll(keys);
    filter.ForEachCount(keys, [&](std::size_t place, unsigned count) {
        if (count > 1) {
            places.push_back(place);
            // Keys that fell together by their lower bits fall apart by their upper ones.
            turned.push_back(std::rotl(keys[place], 32));
        }
    });
    RepeatFilter again(turned.size());
    again.AddAll(turned);
    std::size_t nKept = 0;
    again.ForEachCount(turned, [&](std::size_t i, unsigned count) {
        if (count > 1) {
            places[nKept++] = places[i];
        }
    });
    places.resize(nKept);
    return places;
}

}  // namespace orq::exchange
