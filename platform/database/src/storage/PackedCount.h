// Counts in packed values: seven bits a byte, the lowest first; all bytes but the last have the
// highest bit set.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Rows.h"

namespace orq::storage {

/// Calls add(byte) with each byte of a count, at most ten.
template <class Add>
void WriteCount(std::uint64_t count, Add&& add) {
    while (count >= 0x80) {
        add(static_cast<std::byte>(count | 0x80));
        count >>= 7;
    }
    add(static_cast<std::byte>(count));
}

/// Moves `at` past a count; false where the bytes end before.
inline bool ReadCount(Bytes packed, std::size_t& at, std::uint64_t& count) {
    if (at < packed.size() && std::to_integer<int>(packed[at]) < 0x80) {
        count = std::to_integer<std::uint64_t>(packed[at++]);  // mostly one byte
        return true;
    }
    count = 0;
    for (int shift = 0; shift < 63 && at < packed.size(); shift += 7) {
        const auto digit = std::to_integer<std::uint64_t>(packed[at++]);
        count |= (digit & 0x7F) << shift;
        if (digit < 0x80) {
            return true;
        }
    }
    return false;
}

}  // namespace orq::storage
