#include "QsortClock.h"

#include <dlfcn.h>

#include <chrono>
#include <cstddef>

namespace {

using Compare = int (*)(const void*, const void*);
using Clock = std::chrono::steady_clock;

Clock::duration inQsort{};

}  // namespace

extern "C" __attribute__((visibility("default"))) void qsort(void* items, std::size_t count,
                                                             std::size_t size, Compare compare) {
    static const auto original =
        reinterpret_cast<void (*)(void*, std::size_t, std::size_t, Compare)>(
            dlsym(RTLD_NEXT, "qsort"));
    const Clock::time_point begin = Clock::now();
    original(items, count, size, compare);
    inQsort += Clock::now() - begin;
}

namespace storage_benchmark {

double MillisecondsInQsort() {
    return std::chrono::duration<double, std::milli>(inQsort).count();
}

}  // namespace storage_benchmark
