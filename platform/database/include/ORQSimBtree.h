#pragma once

#include <map>

#include "ORQBasAssertException.h"

/// The database's ordered map with unique keys. A value type.
template <class K, class V>
class ORQSimBtree {
  public:
    /// Stores the value under the key; when the key is present, only if `replace` says so.
    /// True when the value was stored.
    bool Insert(const K& key, const V& value, bool replace) {
        const auto [place, inserted] = m_values.emplace(key, value);
        if (!inserted && replace) {
            place->second = value;
        }
        return inserted || replace;
    }

    bool IsMember(const K& key) const { return m_values.contains(key); }

    /// Valid until the tree ends or the value is replaced. Throws ORQBasAssertException when the
    /// key is absent.
    const V& Get(const K& key) const {
        const auto found = m_values.find(key);
        if (found == m_values.end()) {
            ORQBasAssertException("IsMember(key)").Throw("ORQSimBtree.h", __LINE__);
        }
        return found->second;
    }

    int Size() const { return static_cast<int>(m_values.size()); }

    /// Pairs of key and value in ascending order of keys.
    auto begin() const { return m_values.begin(); }
    auto end() const { return m_values.end(); }

  private:
    std::map<K, V> m_values;
};
