// What BlockHash does. Each of its sources compiles this with instructions of its own, so all here
// is static: the linker must not take a function for processors that lack them. Nothing but C is
// included for the same reason.
#pragma once

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "BlockHash.h"
#include "StreamedCopy.h"

namespace orq::storage {

// What is copied behind the hash finds it in the first cache.
static constexpr std::size_t kHashStep = 4096;

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

static std::uint64_t HashOf(const std::byte* bytes, std::size_t size) {
    return XXH3_64bits(bytes, size);
}

static std::uint64_t CopyAndHashOf(std::byte* to, const std::byte* from, std::size_t size) {
    HashedCopy copy(to, from, size);
    XXH3_state_t state;
    XXH3_64bits_reset(&state);
    std::size_t at = 0;
    for (; at + kHashStep <= size; at += kHashStep) {
        XXH3_64bits_update(&state, from + at, kHashStep);
        copy.CopyLinesUpTo(at + kHashStep);
    }
    XXH3_64bits_update(&state, from + at, size - at);
    copy.Finish(size);
    return XXH3_64bits_digest(&state);
}

}  // namespace orq::storage
