#pragma once

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "compare/DifferenceList.h"

namespace orq::exchange {

/// The same object in two models; one of them is null for an object that the other model lacks.
template <class Object>
struct Pair {
    const Object* before;
    const Object* after;
};

template <class Object>
std::vector<const Object*> PointersTo(const std::vector<Object>& objects) {
    std::vector<const Object*> pointers;
    for (const Object& object : objects) {
        pointers.push_back(&object);
    }
    return pointers;
}

/// Pairs objects that have a `name` and a `number`: those of the first model in their order, then
/// those that only the second one has. Of objects with the same name or number, the first is paired
/// with the first.
template <class Object>
std::vector<Pair<Object>> PairsOf(const std::vector<const Object*>& before,
                                  const std::vector<const Object*>& after, bool byNumber) {
    std::vector<Pair<Object>> pairs;
    for (const Object* object : before) {
        pairs.push_back({object, nullptr});
    }
    std::vector<std::size_t> left(after.size());  // places in `after` without a partner
    std::iota(left.begin(), left.end(), std::size_t{0});
    const auto pairBy = [&](auto key) {
        const auto keyOf = [&](std::size_t place) { return key(*after[place]); };
        // A stable sort keeps objects of one key in their order, so the first pairs with the first.
        std::ranges::stable_sort(left, {}, keyOf);
        std::vector<bool> isTaken(after.size());
        for (Pair<Object>& pair : pairs) {
            if (pair.after != nullptr) {
                continue;
            }
            const auto wanted = key(*pair.before);
            auto free = std::ranges::lower_bound(left, wanted, {}, keyOf);
            while (free != left.end() && keyOf(*free) == wanted && isTaken[*free]) {
                ++free;
            }
            if (free != left.end() && keyOf(*free) == wanted) {
                isTaken[*free] = true;
                pair.after = after[*free];
            }
        }
        std::erase_if(left, [&](std::size_t place) { return isTaken[place]; });
    };
    if (byNumber) {
        pairBy([](const Object& object) { return object.number; });
    }
    pairBy([](const Object& object) { return object.name; });
    std::ranges::sort(left);
    for (const std::size_t place : left) {
        pairs.push_back({nullptr, after[place]});
    }
    return pairs;
}

/// Pairs objects, enters those that only one model has, and changed names or numbers of the others.
/// Returns the pairs that both models have.
template <class Object>
std::vector<Pair<Object>> ComparePairs(DifferenceKind kind,
                                       const std::vector<const Object*>& before,
                                       const std::vector<const Object*>& after,
                                       DifferenceList& differences) {
    std::vector<Pair<Object>> both;
    for (const Pair<Object>& pair : PairsOf(before, after, differences.Options().byNumber)) {
        if (pair.after == nullptr) {
            differences.Add(kind, ORQExcDifference::Change::Removed, pair.before->name);
        } else if (pair.before == nullptr) {
            differences.Add(kind, ORQExcDifference::Change::Added, pair.after->name);
        } else {
            both.push_back(pair);
            const std::string& name = pair.before->name;
            differences.Compare(kind, name, "name", name, pair.after->name);
            differences.Compare(kind, name, "number", pair.before->number, pair.after->number);
        }
    }
    return both;
}

}  // namespace orq::exchange
