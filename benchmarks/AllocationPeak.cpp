#include "AllocationPeak.h"

#include <malloc.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

// The C library's own functions; the names without the prefix are replaced below.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

std::int64_t g_held = 0;
std::int64_t g_most = 0;

void* Gained(void* memory) {
    g_held += static_cast<std::int64_t>(malloc_usable_size(memory));
    g_most = std::max(g_most, g_held);
    return memory;
}

}  // namespace

// Whatever the compiler's options, the libraries must find these.
#pragma GCC visibility push(default)
extern "C" {

void* malloc(std::size_t size) {
    return Gained(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return Gained(__libc_calloc(count, size));
}
void* memalign(std::size_t alignment, std::size_t size) {
    return Gained(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = memalign(alignment, size);
    return *memory == nullptr ? ENOMEM : 0;
}
void* realloc(void* memory, std::size_t size) {
    g_held -= static_cast<std::int64_t>(malloc_usable_size(memory));
    return Gained(__libc_realloc(memory, size));
}
void free(void* memory) {
    g_held -= static_cast<std::int64_t>(malloc_usable_size(memory));
    __libc_free(memory);
}

}  // extern "C"
#pragma GCC visibility pop

namespace storage_benchmark {

AllocationPeak::AllocationPeak() : m_before(g_held) {
    g_most = g_held;
}

std::int64_t AllocationPeak::Growth() const {
    return g_most - m_before;
}

double PeakMebibytes(const std::function<void()>& f) {
    const AllocationPeak peak;
    f();
    return static_cast<double>(peak.Growth()) / (1 << 20);
}

}  // namespace storage_benchmark
