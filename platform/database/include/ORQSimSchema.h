/// Fragment types: the pairs of small numbers that name record types and link slots.
#pragma once

#include <span>
#include <string>

#include "ORQBasExport.h"
#include "ORQBasFailure.h"

/// The type index of a pair: above 0, different for different pairs, and the same in every process
/// and release (it is stored in databases). Total for 0 <= b < 4096 and 0 <= a < 262144; usable
/// during static initialization. Throws ORQBasFailure (Usage) for other numbers.
constexpr int ads_CoreFragmentTypeIndex(int a, int b) {
    if (a < 0 || a >= 262144 || b < 0 || b >= 4096) {
        ORQBasThrowUsage("fragment type (" + std::to_string(a) + ", " + std::to_string(b) +
                         ") is outside the schema's range");
    }
    return ((a << 12) | b) + 1;
}

namespace ORQSimSchema {

struct Pair {
    int a;
    int b;
};

/// What a type index stands for; the inverse of ads_CoreFragmentTypeIndex. {-1, -1} for an index
/// that is not above 0.
ORQ_EXPORT Pair PairOf(int typeIndex);

enum class Kind {
    Record,
    Collection,
    DataSet,
    Distribution,
    FTable,
    Symbol,
    Field,
    Child,
    Map,
    Vector,
    Set,
    Name
};

/// One row of the catalogue of pairs (ORQSimSchemaTable.inc).
struct Entry {
    const char* name;
    int typeIndex;
    Kind kind;
    int base;  // type index of the base type, 0 without one
    const char* text;
};

/// All rows, by ascending type index. They live as long as the process.
ORQ_EXPORT std::span<const Entry> Entries();
/// The row of a type index, null when the catalogue does not name it. Lives as long as the process.
ORQ_EXPORT const Entry* Find(int typeIndex);
/// The name of a pair, or "(a, b)" when the catalogue does not name it.
ORQ_EXPORT std::string NameOf(int typeIndex);
/// Whether a type is `wanted` or is derived from it.
ORQ_EXPORT bool IsA(int typeIndex, int wanted);

/// The type index of each named pair, for example ORQSimSchema::Focus_model.
inline constexpr int None = 0;
#define ORQ_FRAGMENT(name, a, b, kind, base, text) \
    inline constexpr int name = ads_CoreFragmentTypeIndex(a, b);
#include "ORQSimSchemaTable.inc"
#undef ORQ_FRAGMENT

}  // namespace ORQSimSchema
