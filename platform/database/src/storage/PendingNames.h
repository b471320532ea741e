// Entries of maps that were added and not yet given to SQLite, which takes many rows in half the
// time that it needs for one after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

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

    bool IsEmpty() const { return m_entries.empty(); }
    bool IsFull() const { return m_nBytes > kMostBytes; }
    bool Contains(std::int64_t object, int slot, std::string_view name) const {
        return m_entries.contains(View(object, slot, name));
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
        const auto call = [&](const Entries::value_type& entry) {
            const auto& [object, slot, name] = entry.first;
            f(MapEntryRow{object, slot, name, entry.second});
        };
        std::vector<const Entries::value_type*> last;
        last.reserve(m_entries.size() / kSpared + 1);
        std::size_t place = 0;
        for (const Entries::value_type& entry : m_entries) {
            if (++place % kSpared == 0) {
                last.push_back(&entry);
            } else {
                call(entry);
            }
        }
        for (const Entries::value_type* entry : last) {
            call(*entry);
        }
    }

  private:
    static constexpr std::size_t kMostBytes = 1 << 20;
    // One in eight would fill the pages to the last byte, and split those whose rows are longer.
    static constexpr std::size_t kSpared = 9;

    using Key = std::tuple<std::int64_t, int, std::string>;
    using View = std::tuple<std::int64_t, int, std::string_view>;

    // std::less does not compare the two with each other in every standard library.
    struct IsBefore {
        using is_transparent = void;
        bool operator()(const View& a, const View& b) const { return a < b; }
    };

    using Entries = std::map<Key, Target, IsBefore>;

    Entries m_entries;
    std::size_t m_nBytes = 0;
    // The map that was added to last, and a name that none in it exceeds.
    std::int64_t m_object = 0;
    int m_slot = 0;
    std::string m_highest;
    bool m_isHighestKnown = false;
};

}  // namespace orq::storage
