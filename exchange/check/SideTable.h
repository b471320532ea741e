#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace orq::exchange {

/// How many elements have a side, a face of solids or an edge of shells, and which had it first.
/// Sides go by well mixed hashes. Takes 32 to 64 bytes for each side.
class SideTable {
  public:
    struct Met {
        unsigned count;  ///< with this one
        int first;       ///< element
    };
    Met Add(std::uint64_t key, int element) {
        if (m_nUsed > m_entries.size() / 2) {
            Grow();
        }
        Entry& entry = Find(key | kUsed);
        if (entry.key == 0) {
            ++m_nUsed;
            entry = {key | kUsed, element, 0};
        }
        return {++entry.count, entry.first};
    }
    /// Of the elements that were added.
    unsigned Count(std::uint64_t key) { return Find(key | kUsed).count; }

  private:
    static constexpr std::uint64_t kUsed = 1;  // makes a key that is not 0

    struct Entry {
        std::uint64_t key = 0;  // 0: empty
        int first = 0;
        unsigned count = 0;
    };

    /// The entry of the side, or the empty one where it belongs.
    Entry& Find(std::uint64_t key) {
        const std::size_t mask = m_entries.size() - 1;
        std::size_t place = (key >> 1U) & mask;
        while (m_entries[place].key != 0 && m_entries[place].key != key) {
            place = (place + 1) & mask;
        }
        return m_entries[place];
    }

    void Grow() {
        const std::vector<Entry> old = std::exchange(
            m_entries, std::vector<Entry>(std::max<std::size_t>(16, 2 * m_entries.size())));
        for (const Entry& entry : old) {
            if (entry.key != 0) {
                Find(entry.key) = entry;
            }
        }
    }

    std::vector<Entry> m_entries = std::vector<Entry>(1024);
    std::size_t m_nUsed = 0;
};

}  // namespace orq::exchange
