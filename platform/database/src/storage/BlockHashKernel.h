// What BlockHash does. Each of its sources compiles this with instructions of its own, so all here
// is static: the linker must not take a function for processors that lack them. Nothing but C is
// included for the same reason.
#pragma once

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "BlockHash.h"
#include "StreamedCopy.h"

namespace orq::storage {

static constexpr std::size_t kHashStep = 1024;
// How far ahead bytes are asked for: the processor fetches ahead by itself, but within a page.
static constexpr std::size_t kHashAhead = 32 << 10;

namespace {  // its functions, too, are compiled for each

// Copies bytes from the front as they are hashed, past the caches in whole lines of these.
class HashedCopy {
  public:
    HashedCopy(std::byte* to, const std::byte* from, std::size_t size) : m_to(to), m_from(from) {
        const std::size_t untilLine =
            (kLine - reinterpret_cast<std::uintptr_t>(to) % kLine) % kLine;
        m_done = untilLine < size ? untilLine : size;
        std::memcpy(to, from, m_done);
    }
    void CopyLinesUpTo(std::size_t end) {
#ifdef __SSE2__
        for (; m_done + kLine <= end; m_done += kLine) {
            StreamLine(m_to + m_done, m_from + m_done);
        }
#endif
    }
    void Finish(std::size_t size) {
        std::memcpy(m_to + m_done, m_from + m_done, size - m_done);
#ifdef __SSE2__
        _mm_sfence();  // such stores are not ordered with others until here
#endif
    }

  private:
    static constexpr std::size_t kLine = 64;

    std::byte* m_to;
    const std::byte* m_from;
    std::size_t m_done;
};

}  // namespace

static inline std::uint64_t HashBySteps(const std::byte* bytes, std::size_t size,
                                        HashedCopy* copy) {
    XXH3_state_t state;
    XXH3_64bits_reset(&state);
    std::size_t at = 0;
    for (; at + kHashStep <= size; at += kHashStep) {
        for (std::size_t line = 0; line < kHashStep; line += 64) {
            __builtin_prefetch(bytes + at + kHashAhead + line, 0, 2);
        }
        XXH3_64bits_update(&state, bytes + at, kHashStep);
        if (copy != nullptr) {
            copy->CopyLinesUpTo(at + kHashStep);
        }
    }
    XXH3_64bits_update(&state, bytes + at, size - at);
    return XXH3_64bits_digest(&state);
}

static std::uint64_t HashOf(const std::byte* bytes, std::size_t size) {
    // Setting up the steps is not worth it for less.
    return size < 8 * kHashStep ? XXH3_64bits(bytes, size) : HashBySteps(bytes, size, nullptr);
}

static std::uint64_t CopyAndHashOf(std::byte* to, const std::byte* from, std::size_t size) {
    HashedCopy copy(to, from, size);
    const std::uint64_t hash = HashBySteps(from, size, &copy);
    copy.Finish(size);
    return hash;
}

}  // namespace orq::storage
