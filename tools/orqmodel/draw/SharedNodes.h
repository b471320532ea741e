#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace orqmodel {

/// The nodes by which a face or an edge is known, ascending; places that it does not need are -1
/// and stand behind.
template <std::size_t N>
using NodeKey = std::array<int, N>;

template <std::size_t N>
NodeKey<N> KeyOf(const std::array<int, N>& nodes, std::size_t count) {
    NodeKey<N> key;
    key.fill(-1);
    std::size_t size = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t place = size;
        while (place > 0 && key[place - 1] > nodes[i]) {
            --place;
        }
        if (place > 0 && key[place - 1] == nodes[i]) {
            continue;  // Collapsed elements have nodes twice.
        }
        for (std::size_t j = size++; j > place; --j) {
            key[j] = key[j - 1];
        }
        key[place] = nodes[i];
    }
    return key;
}

/// Calls use(items) once for all items of [0, nItems) that have the same key, ascending, in the
/// order of their lowest nodes. keyOf(item) returns the key, of nodes of [0, nNodes); it is called
/// three times for each item. Holds eight bytes for each item and each node.
template <class KeyOfItem, class Use>
void ForEachWithSameNodes(std::int64_t nItems, int nNodes, const KeyOfItem& keyOf, const Use& use) {
    std::vector<std::int64_t> begin(static_cast<std::size_t>(nNodes) + 2, 0);
    for (std::int64_t item = 0; item < nItems; ++item) {
        ++begin[static_cast<std::size_t>(keyOf(item)[0]) + 2];
    }
    for (std::size_t i = 2; i < begin.size(); ++i) {
        begin[i] += begin[i - 1];
    }
    std::vector<std::int64_t> byLowest(static_cast<std::size_t>(nItems));
    for (std::int64_t item = 0; item < nItems; ++item) {
        const auto lowest = static_cast<std::size_t>(keyOf(item)[0]);
        byLowest[static_cast<std::size_t>(begin[lowest + 1]++)] = item;
    }
    std::vector<std::pair<decltype(keyOf(0)), std::int64_t>> bucket;
    std::vector<std::int64_t> same;
    for (std::size_t node = 0; node + 1 < begin.size(); ++node) {
        bucket.clear();
        for (std::int64_t i = begin[node]; i < begin[node + 1]; ++i) {
            const std::int64_t item = byLowest[static_cast<std::size_t>(i)];
            bucket.emplace_back(keyOf(item), item);
        }
        std::ranges::sort(bucket);
        for (std::size_t i = 0; i < bucket.size();) {
            same.clear();
            const auto key = bucket[i].first;
            for (; i < bucket.size() && bucket[i].first == key; ++i) {
                same.push_back(bucket[i].second);
            }
            use(std::span<const std::int64_t>(same));
        }
    }
}

}  // namespace orqmodel
