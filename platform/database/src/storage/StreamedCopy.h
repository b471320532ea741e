#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace orq::storage {

#ifdef __SSE2__
// Copies a line of the cache past the caches; `to` is a multiple of 16. Static, as it is compiled
// for processors of different instructions, see BlockHash.h.
static inline void StreamLine(std::byte* to, const std::byte* from) {
    const auto* const source = reinterpret_cast<const __m128i*>(from);
    auto* const target = reinterpret_cast<__m128i*>(to);
    const __m128i first = _mm_loadu_si128(source);
    const __m128i second = _mm_loadu_si128(source + 1);
    const __m128i third = _mm_loadu_si128(source + 2);
    const __m128i fourth = _mm_loadu_si128(source + 3);
    _mm_stream_si128(target, first);
    _mm_stream_si128(target + 1, second);
    _mm_stream_si128(target + 2, third);
    _mm_stream_si128(target + 3, fourth);
}
#endif

// Copies bytes past the caches of the processor: a target that is larger than these is written
// without being read into them first, which saves a third of what goes through the memory. memcpy
// does so by itself for single copies, from a size on that is larger than most pieces of a transfer.
inline void StreamedCopy(std::byte* to, const std::byte* from, std::size_t size) {
#ifdef __SSE2__
    constexpr std::size_t kLine = 64;
    constexpr std::size_t kPage = 4096;
    // Pages that are read side by side: a processor fetches ahead within a page only, and several
    // of them keep it fetching while one starts.
    constexpr std::size_t kPages = 8;
    constexpr std::size_t kGroup = kPages * kPage;
    if (size >= kGroup) {  // less is not worth the wait at the end
        // The stores want aligned targets, and whole lines of the cache.
        const std::size_t head = (kLine - reinterpret_cast<std::uintptr_t>(to) % kLine) % kLine;
        std::memcpy(to, from, head);
        to += head;
        from += head;
        size -= head;
        for (; size >= kGroup; size -= kGroup, to += kGroup, from += kGroup) {
            for (std::size_t line = 0; line < kPage; line += kLine) {
                for (std::size_t page = 0; page < kGroup; page += kPage) {
                    StreamLine(to + page + line, from + page + line);
                }
            }
        }
        // Such stores are not ordered with others until here.
        _mm_sfence();
    }
#endif
    std::memcpy(to, from, size);
}

}  // namespace orq::storage
