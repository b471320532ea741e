#pragma once

#include <unordered_map>
#include <utility>

/// A table from number keys to values, filled once and looked up often, in no order.
template <class Key, class V>
class omi_NumberTable {
  public:
    /// False, with the former value kept, when the key is present.
    bool Insert(Key key, V value) { return m_values.emplace(key, std::move(value)).second; }

    /// The value under the key, or null; valid as long as the table.
    const V* Find(Key key) const {
        const auto found = m_values.find(key);
        return found != m_values.end() ? &found->second : nullptr;
    }

    int Size() const { return static_cast<int>(m_values.size()); }

  private:
    std::unordered_map<Key, V> m_values;
};

template <class V>
using omi_IntTable = omi_NumberTable<int, V>;

template <class V>
using omi_UintTable = omi_NumberTable<unsigned int, V>;
