#include "ORQSrvVariableMap.h"

#include <iterator>

#include "ORQSimSchema.h"
#include "ads_ComponentSymbolsEnm.h"

namespace {

ORQSrvVariableStruct s_table[] = {
#define ORQ_VARIABLE(label, component, identifier, a, b) {label, component, identifier, 0},
#include "ORQSrvVariableTable.inc"
#undef ORQ_VARIABLE
    {nullptr, ads_ComponentNone, "UNDEFINED", 0},
};

// The field types of all records but the terminator.
constexpr ORQSimSchema::Pair kFieldTypes[] = {
#define ORQ_VARIABLE(label, component, identifier, a, b) {a, b},
#include "ORQSrvVariableTable.inc"
#undef ORQ_VARIABLE
};

// The database numbers its types; the table learns the numbers when the library is loaded.
[[maybe_unused]] const bool s_isComplete = [] {
    static_assert(std::size(s_table) == std::size(kFieldTypes) + 1);
    ORQSrvVariableStruct* record = s_table;
    for (const ORQSimSchema::Pair& type : kFieldTypes) {
        (record++)->fragmentType = ads_CoreFragmentTypeIndex(type.a, type.b);
    }
    return true;
}();

}  // namespace

const ORQSrvVariableStruct& ORQSrvVariableMap::GetEntry(int i) {
    return s_table[i];
}
