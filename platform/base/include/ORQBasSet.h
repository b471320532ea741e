#pragma once

#include <set>

/// An ordered set with unique keys: std::set under the names of the house.
template <class T>
class ORQBasSet : public std::set<T> {
  public:
    using std::set<T>::set;

    bool IsMember(const T& key) const { return this->contains(key); }
    /// False when the key is present.
    bool InsertUnique(const T& key) { return this->insert(key).second; }
    void Clear() { this->clear(); }
    int Size() const { return static_cast<int>(this->size()); }
};
