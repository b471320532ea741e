#include "ORQBasAlloc.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kLargePage = 2 << 20;  // of x86-64, and of ARM with pages of 4 KiB

// The first write to a large array takes a fraction of the time on large pages, which cost one page
// fault for 2 MiB instead of 512. The advice is a hint: a system may ignore it.
void* MallocInLargePages(std::size_t size) {
    void* memory = nullptr;
    if (posix_memalign(&memory, kLargePage, size) != 0) {
        return nullptr;
    }
    madvise(memory, size, MADV_HUGEPAGE);
    return memory;
}

}  // namespace

void* mem_OperatorNewThrow(std::size_t size) {
    void* const memory = mem_Malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* mem_OperatorNewTinyThrow(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_OperatorNewThrowBuiltin(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_Malloc(std::size_t size) {
    if (size >= 2 * kLargePage) {
        return MallocInLargePages(size);
    }
    return std::malloc(size != 0 ? size : 1);
}

void mem_Free(void* memory) {
    std::free(memory);
}
