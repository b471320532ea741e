// What is whole in a damaged database, carried over into a new one row by row and chunk by chunk.
//
// What the rows mean together is not checked here; see Recovery.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Rows.h"

namespace orq::storage {

/// Where rows of a table were lost: between two that were read.
struct RowGap {
    /// The first columns of a row; 0 for what is no number, or not there.
    using Key = std::array<std::int64_t, 3>;

    Table table;
    std::optional<Key> after;   // none: from the table's beginning
    std::optional<Key> before;  // none: to its end

    bool MayHold(std::int64_t key) const;
    bool MayHold(std::int64_t key0, std::int64_t key1) const;
    /// A row whose key begins with key0 and any number above key1.
    bool MayHoldAbove(std::int64_t key0, std::int64_t key1) const;
};

/// Made by Store::SalvageFrom, which throws Foreign for a database of a newer format or parts of
/// different databases, Damaged where nothing can be read, Busy while somebody writes to it. What
/// is salvaged stays as it is. `goOn`, given there, is called with every row; what it throws ends
/// the work.
class Salvage {
  public:
    Salvage() = default;
    Salvage(const Salvage&) = delete;
    Salvage& operator=(const Salvage&) = delete;
    virtual ~Salvage() = default;

    // REQUIRES: called in this order.

    /// Every table but those that say where chunks lie.
    virtual void TakeRows() = 0;
    /// The objects being known as far as they can be: rows that only an index still holds.
    virtual void TakeRowsFromIndices() = 0;
    /// Bulk data: stores whose chunks are all whole. `progress` gets numbers from 0 to 1.
    virtual void TakeChunks(const std::function<void(double)>& progress) = 0;

    /// What is wrong with the stored bytes as such, one text each; empty when nothing is.
    const std::vector<std::string>& Damage() const { return m_damage; }
    const std::vector<RowGap>& Gaps() const { return m_gaps; }
    /// Whether a row whose key begins with these numbers may have been lost.
    template <class... Keys>
    bool MayHaveLost(Table table, Keys... keys) const {
        return std::ranges::any_of(m_gaps, [&](const RowGap& gap) {
            if constexpr (sizeof...(Keys) == 0) {
                return gap.table == table;
            } else {
                return gap.table == table && gap.MayHold(keys...);
            }
        });
    }
    /// The same of one whose key begins with key0 and a number above key1.
    bool MayHaveLostAbove(Table table, std::int64_t key0, std::int64_t key1) const {
        return std::ranges::any_of(m_gaps, [&](const RowGap& gap) {
            return gap.table == table && gap.MayHoldAbove(key0, key1);
        });
    }
    /// Stores of which a chunk is damaged, and how.
    const std::map<std::int64_t, std::string>& DamagedStores() const { return m_damagedStores; }

    /// A link that is known but for the type of what it leads to, whose object is lost.
    struct HalfLink {
        Table table;
        std::int64_t object;
        int slot;
        std::int64_t target;
    };
    const std::vector<HalfLink>& HalfLinks() const { return m_halfLinks; }

  protected:
    std::vector<std::string> m_damage;
    std::vector<RowGap> m_gaps;
    std::map<std::int64_t, std::string> m_damagedStores;
    std::vector<HalfLink> m_halfLinks;
};

}  // namespace orq::storage
