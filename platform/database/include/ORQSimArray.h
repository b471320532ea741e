#pragma once

#include <cstddef>
#include <vector>

#include "ORQBasAssertException.h"

/// The database's array of IDs, numbers, strings, compartments or drawer descriptions. A value
/// type; not for bool. Addresses and iterators are valid until the size changes.
template <class T>
class ORQSimArray {
  public:
    /// `size` value-initialized elements with room for `capacity` before the next allocation.
    explicit ORQSimArray(int size = 0, int capacity = 0) {
        m_elements.reserve(static_cast<std::size_t>(capacity));
        SetSize(size);
    }

    int Size() const { return static_cast<int>(m_elements.size()); }
    /// Keeps the elements that fit; new ones are value-initialized.
    void SetSize(int size) { m_elements.resize(static_cast<std::size_t>(size)); }

    /// Both throw ORQBasAssertException, naming index and size, when the index is outside
    /// [0, Size()).
    T& Get(int index) { return m_elements[Checked(index)]; }
    const T& ConstGet(int index) const { return m_elements[Checked(index)]; }

    /// The first element, the others after it; may be null when the array is empty.
    T* Ptr() { return m_elements.data(); }
    const T* Ptr() const { return m_elements.data(); }

    auto begin() { return m_elements.begin(); }
    auto end() { return m_elements.end(); }
    auto begin() const { return m_elements.begin(); }
    auto end() const { return m_elements.end(); }

    friend bool operator==(const ORQSimArray&, const ORQSimArray&) = default;

  private:
    std::size_t Checked(int index) const {
        if (index < 0 || index >= Size()) {
            ORQBasThrowIndexOutOfRange(index, Size(), "ORQSimArray.h", __LINE__);
        }
        return static_cast<std::size_t>(index);
    }

    std::vector<T> m_elements;
};
