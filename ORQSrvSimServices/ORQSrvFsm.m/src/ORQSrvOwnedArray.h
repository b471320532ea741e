#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "ORQBasAlloc.h"

/// Plain arrays in memory of the platform allocator.

/// An array that frees itself; release() hands it to members that are freed with mem_Free.
struct ORQSrvFree {
    void operator()(void* memory) const { mem_Free(memory); }
};
template <class T>
using ORQSrvOwnedArray = std::unique_ptr<T[], ORQSrvFree>;

/// `count` elements that are not set yet; never null. Throws std::bad_alloc.
template <class T>
ORQSrvOwnedArray<T> ORQSrvAllocateArray(std::int64_t count) {
    constexpr auto most = std::numeric_limits<std::size_t>::max();
    const auto n = static_cast<std::size_t>(std::max<std::int64_t>(count, 1));
    void* memory = mem_Malloc(n > most / sizeof(T) ? most : n * sizeof(T));
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return ORQSrvOwnedArray<T>(static_cast<T*>(memory));
}
