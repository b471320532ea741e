#include "ORQSimSchema.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace ORQSimSchema {

std::span<const Entry> Entries() {
    static const std::vector<Entry> entries = [] {
        std::vector<Entry> rows = {
#define ORQ_FRAGMENT(name, a, b, kind, base, text) {#name, name, Kind::kind, base, text},
#include "ORQSimSchemaTable.inc"
#undef ORQ_FRAGMENT
        };
        std::ranges::sort(rows, {}, &Entry::typeIndex);
        return rows;
    }();
    return entries;
}

Pair PairOf(int typeIndex) {
    return typeIndex > 0 ? Pair{(typeIndex - 1) >> 12, (typeIndex - 1) & 4095} : Pair{-1, -1};
}

const Entry* Find(int typeIndex) {
    const auto found = std::ranges::lower_bound(Entries(), typeIndex, {}, &Entry::typeIndex);
    return found != Entries().end() && found->typeIndex == typeIndex ? &*found : nullptr;
}

std::string NameOf(int typeIndex) {
    const Entry* entry = Find(typeIndex);
    if (entry != nullptr) {
        return entry->name;
    }
    const Pair pair = PairOf(typeIndex);
    return "(" + std::to_string(pair.a) + ", " + std::to_string(pair.b) + ")";
}

bool IsA(int typeIndex, int wanted) {
    while (typeIndex != wanted) {
        const Entry* entry = Find(typeIndex);
        if (entry == nullptr || entry->base == None) {
            return false;
        }
        typeIndex = entry->base;
    }
    return true;
}

}  // namespace ORQSimSchema
