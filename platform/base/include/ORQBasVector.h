#pragma once

#include <cstddef>
#include <vector>

/// A contiguous growable array: std::vector under the names of the house. Indexing is not checked.
template <class T>
class ORQBasVector : public std::vector<T> {
  public:
    using std::vector<T>::vector;

    /// Becomes `count` copies of the value.
    void Init(int count, const T& value) { this->assign(static_cast<std::size_t>(count), value); }
    void PushBack(const T& value) { this->push_back(value); }
    /// New elements are value-initialized.
    void Resize(int count) { this->resize(static_cast<std::size_t>(count)); }
    void Swap(ORQBasVector& other) { this->swap(other); }
    int Size() const { return static_cast<int>(this->size()); }
};
