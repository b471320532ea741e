#include "Memory.h"

#include <sqlite3.h>

#include <cstdlib>
#include <new>

namespace {

bool g_counts = false;
std::size_t g_nRequests = 0;
std::size_t g_first = 0;
std::size_t g_count = 0;

bool RunsOut() {
    if (!g_counts) {
        return false;
    }
    const std::size_t number = g_nRequests++;
    return number >= g_first && number < g_first + g_count;
}

void* Take(std::size_t size) {
    void* memory = RunsOut() ? nullptr : std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

sqlite3_mem_methods g_below;

// Before anybody has opened a database.
const bool g_isPrepared = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_below);
    sqlite3_mem_methods counting = g_below;
    counting.xMalloc = [](int size) { return RunsOut() ? nullptr : g_below.xMalloc(size); };
    counting.xRealloc = [](void* memory, int size) {
        return RunsOut() ? nullptr : g_below.xRealloc(memory, size);
    };
    return sqlite3_config(SQLITE_CONFIG_MALLOC, &counting) == SQLITE_OK;
}();

}  // namespace

void* operator new(std::size_t size) {
    return Take(size);
}
void* operator new[](std::size_t size) {
    return Take(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

MemoryWatch::MemoryWatch() {
    if (!g_isPrepared) {
        std::abort();  // a test that lets nothing fail would show nothing
    }
    g_nRequests = 0;
    g_count = 0;
    g_counts = true;
}

MemoryWatch::~MemoryWatch() {
    g_counts = false;
}

void MemoryWatch::Fail(std::size_t first, std::size_t count) {
    g_first = first;
    g_count = count;
}

std::size_t MemoryWatch::Requests() const {
    return g_nRequests;
}
