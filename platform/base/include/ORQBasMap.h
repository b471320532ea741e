#pragma once

#include <map>

/// An ordered map with unique keys: std::map under the names of the house.
template <class K, class V>
class ORQBasMap : public std::map<K, V> {
  public:
    using std::map<K, V>::map;

    /// The value under the key, or null; valid until that key is erased or the map is cleared.
    V* Find(const K& key) {
        const auto found = this->find(key);
        return found != this->end() ? &found->second : nullptr;
    }
    const V* Find(const K& key) const {
        const auto found = this->find(key);
        return found != this->end() ? &found->second : nullptr;
    }
    /// False, with the former value kept, when the key is present.
    bool InsertUnique(const K& key, const V& value) { return this->emplace(key, value).second; }
    void Clear() { this->clear(); }
    int Size() const { return static_cast<int>(this->size()); }
};
