#pragma once

#include <algorithm>
#include <functional>
#include <span>
#include <vector>

#include "ORQSimCSet.h"
#include "ORQSimCollection.h"

namespace orq::exchange {

/// A volatile set of ordinals, each once, in the order given; consecutive ones become a run, of
/// which transfers move the rows in one piece.
inline ORQSimCSet OrdinalSet(const ORQSimCollection& collection, std::span<const int> ordinals) {
    const auto isNext = [](int a, int b) { return b == a + 1; };
    const auto count = static_cast<int>(ordinals.size());
    if (count > 0 && std::ranges::adjacent_find(ordinals, std::not_fn(isNext)) == ordinals.end()) {
        return collection.CreateVolatileCSetStrided(ordinals[0], count, 1, 1);
    }
    return collection.CreateVolatileOrderedCSet(ordinals.data(), count);
}

/// Members [begin, end) by location, in their order.
inline ORQSimCSet SliceOf(const ORQSimCSet& set, int begin, int end) {
    if (begin == 0 && end == set.Size()) {
        return set;
    }
    const ORQSimCollection collection(set.CollectionID());
    if (set.IsAscending() && begin < end && set[end - 1] - set[begin] == end - begin - 1) {
        return collection.CreateVolatileCSetStrided(set[begin], end - begin, 1, 1);
    }
    std::vector<int> members;
    for (int location = begin; location < end; ++location) {
        members.push_back(set[location]);
    }
    return OrdinalSet(collection, members);
}

}  // namespace orq::exchange
