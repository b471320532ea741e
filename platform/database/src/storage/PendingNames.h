// Entries of maps that were added and not yet given to SQLite, which takes many rows in half the
// time that it needs for one after the other.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "BytePool.h"
#include "Rows.h"

namespace orq::storage {

class PendingNames {
  public:
    // Whether the map is known to have only lower names: the new one then needs no look into its
    // rows. Names that were erased count as well, which costs a look and no more.
    bool IsBehindAll(const MapEntryRow& row) const {
        return m_isHighestKnown && row.object == m_object && row.slot == m_slot &&
               row.key > m_highest;
    }
    // Whether the last name was added to the same map, so that its highest name is worth knowing.
    bool WantsHighest(const MapEntryRow& row) const {
        return !m_isHighestKnown && row.object == m_object && row.slot == m_slot;
    }
    void SetHighest(std::string_view name) {
        m_highest = name;
        m_isHighestKnown = true;
    }

    bool IsEmpty() const { return m_ascending.empty() && m_others.empty(); }
    bool IsFull() const { return m_nBytes > kMostBytes; }
    bool Contains(std::int64_t object, int slot, std::string_view name) const {
        const Key key(object, slot, name);
        return m_others.contains(key) ||
               std::ranges::binary_search(m_ascending, key, std::less<>(), KeyOf);
    }
    // REQUIRES: there is none of that name. Where it throws, nothing has changed.
    void Add(const MapEntryRow& row);
    void Clear() noexcept;
    // Names may come otherwise than by Add.
    void ForgetHighest() noexcept;

    // In ascending order of their keys, but every ninth one only behind all others. Where keys ascend
    // SQLite leaves an eighth of each page of an index empty, which those fill.
    template <class F>
    void ForEach(F&& f) const {
        const std::vector<const MapEntryRow*> all = InOrder();
        // Whether the nth one waits for all others.
        const auto isSpared = [](std::size_t nth) { return nth % kSpared == kSpared - 1; };
        for (const bool spared : {false, true}) {
            for (std::size_t nth = 0; nth < all.size(); ++nth) {
                if (isSpared(nth) == spared) {
                    f(*all[nth]);
                }
            }
        }
    }

  private:
    static constexpr std::size_t kMostBytes = 1 << 20;
    // One in eight would fill the pages to the last byte, and split those whose rows are longer.
    static constexpr std::size_t kSpared = 9;

    using Key = std::tuple<std::int64_t, int, std::string_view>;

    static Key KeyOf(const MapEntryRow& row) { return {row.object, row.slot, row.key}; }
    struct IsBefore {
        using is_transparent = void;
        bool operator()(const MapEntryRow& a, const MapEntryRow& b) const {
            return KeyOf(a) < KeyOf(b);
        }
        bool operator()(const MapEntryRow& a, const Key& b) const { return KeyOf(a) < b; }
        bool operator()(const Key& a, const MapEntryRow& b) const { return a < KeyOf(b); }
    };

    std::vector<const MapEntryRow*> InOrder() const;

    // Names that come in their order, as most do, need no search and no node of their own.
    std::vector<MapEntryRow> m_ascending;
    std::set<MapEntryRow, IsBefore> m_others;
    BytePool m_texts;
    std::size_t m_nBytes = 0;
    // The map that was added to last, and a name that none in it exceeds.
    std::int64_t m_object = 0;
    int m_slot = 0;
    std::string m_highest;
    bool m_isHighestKnown = false;
};

}  // namespace orq::storage
