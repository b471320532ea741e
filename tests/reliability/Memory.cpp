#include "Memory.h"

#include <malloc.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

bool g_counts = false;
std::size_t g_nRequests = 0;
std::size_t g_first = 0;
std::size_t g_count = 0;
std::int64_t g_nBytes = 0;
std::int64_t g_peak = 0;

void NotePeak() {
    g_peak = std::max(g_peak, g_nBytes);
}

// Of memory that was taken or, with a sign, given back.
void Note(void* memory, int sign) {
    if (g_counts && memory != nullptr) {
        g_nBytes += sign * static_cast<std::int64_t>(malloc_usable_size(memory));
        NotePeak();
    }
}

void GiveBack(void* memory) {
    Note(memory, -1);
    std::free(memory);
}

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
    Note(memory, 1);
    return memory;
}

sqlite3_mem_methods g_below;

// Before anybody has opened a database.
const bool g_isPrepared = [] {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &g_below);
    sqlite3_mem_methods counting = g_below;
    counting.xMalloc = [](int size) {
        void* const memory = RunsOut() ? nullptr : g_below.xMalloc(size);
        g_nBytes += memory == nullptr ? 0 : g_below.xSize(memory);
        NotePeak();
        return memory;
    };
    counting.xRealloc = [](void* memory, int size) {
        const std::int64_t before = memory == nullptr ? 0 : g_below.xSize(memory);
        void* const moved = RunsOut() ? nullptr : g_below.xRealloc(memory, size);
        g_nBytes += moved == nullptr ? 0 : g_below.xSize(moved) - before;
        NotePeak();
        return moved;
    };
    counting.xFree = [](void* memory) {
        g_nBytes -= memory == nullptr ? 0 : g_below.xSize(memory);
        NotePeak();
        g_below.xFree(memory);
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
    GiveBack(memory);
}
void operator delete[](void* memory) noexcept {
    GiveBack(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    GiveBack(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    GiveBack(memory);
}

MemoryWatch::MemoryWatch() {
    if (!g_isPrepared) {
        std::abort();  // a test that lets nothing fail would show nothing
    }
    g_nRequests = 0;
    g_count = 0;
    g_nBytes = 0;
    g_peak = 0;
    g_counts = true;
}

MemoryWatch::~MemoryWatch() {
    g_counts = false;
}

void MemoryWatch::Fail(std::size_t first, std::size_t count) {
    g_first = first;
    g_count = count;
}

std::int64_t MemoryWatch::PeakBytes() const {
    return g_peak;
}
std::size_t MemoryWatch::Requests() const {
    return g_nRequests;
}
