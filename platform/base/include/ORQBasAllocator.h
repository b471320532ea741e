#pragma once

#include <cstddef>
#include <vector>

#include "ORQBasAlloc.h"

/// Gives containers memory of the platform allocator, which puts arrays of megabytes in large pages.
template <class Value>
class ORQBasAllocator {
  public:
    using value_type = Value;

    ORQBasAllocator() = default;
    template <class Other>
    ORQBasAllocator(const ORQBasAllocator<Other>& /*other*/) {}

    /// Throws std::bad_alloc on exhaustion.
    Value* allocate(std::size_t size) {
        return static_cast<Value*>(mem_OperatorNewThrowBuiltin(size * sizeof(Value)));
    }
    void deallocate(Value* memory, std::size_t /*size*/) { mem_Free(memory); }

    friend bool operator==(const ORQBasAllocator& /*a*/, const ORQBasAllocator& /*b*/) {
        return true;
    }
};

/// A vector for arrays that grow with the model: its first use, and reading it in any order, costs
/// fewer faults and less waiting for page tables than with the small pages of std::vector.
template <class Value>
using ORQBasLargeVector = std::vector<Value, ORQBasAllocator<Value>>;
