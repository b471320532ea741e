#pragma once

#include <cstddef>
#include <memory>

#include "ORQBasAlloc.h"

struct ORQSrvFreeMemory {
    void operator()(void* memory) const { mem_Free(memory); }
};

/// Memory of the platform allocator: what release() hands over is freed by mem_Free.
template <class T>
using ORQSrvBuffer = std::unique_ptr<T[], ORQSrvFreeMemory>;

/// Not initialized. Throws std::bad_alloc.
template <class T>
ORQSrvBuffer<T> ORQSrvNewBuffer(std::size_t count) {
    return ORQSrvBuffer<T>(static_cast<T*>(mem_OperatorNewThrowBuiltin(count * sizeof(T))));
}
