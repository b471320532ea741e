#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>

namespace orq::exchange {

/// Whether one of the nodes, of one element, stands at two places. Compares all pairs, four at a
/// time and without a branch: hardly an element has one.
inline bool HasNodeTwice(std::span<const int> nodes) {
    using Four = int __attribute__((vector_size(16)));
    constexpr std::size_t kMostNodes = 28;  // of an element, up to fours
    // No node has these numbers, and no two of them are alike.
    std::array<int, kMostNodes> padded;
    const std::size_t nFours = (nodes.size() + 3) / 4;
    std::memcpy(padded.data(), nodes.data(), nodes.size_bytes());
    for (std::size_t k = nodes.size(); k < 4 * nFours; ++k) {
        padded[k] = -1 - static_cast<int>(k);
    }
    const auto at = [&](std::size_t four) {
        Four values;
        std::memcpy(&values, padded.data() + 4 * four, sizeof values);
        return values;
    };
    Four same = {0, 0, 0, 0};
    for (std::size_t i = 0; i < nFours; ++i) {
        const Four a = at(i);
        const Four turned = __builtin_shufflevector(a, a, 1, 2, 3, 0);
        const Four half = __builtin_shufflevector(a, a, 2, 3, 0, 1);
        same |= (a == turned) | (a == half);
        const Four last = __builtin_shufflevector(a, a, 3, 0, 1, 2);
        for (std::size_t k = 0; k < i; ++k) {
            const Four b = at(k);
            same |= (b == a) | (b == turned) | (b == half) | (b == last);
        }
    }
    return (same[0] | same[1] | same[2] | same[3]) != 0;
}

}  // namespace orq::exchange
