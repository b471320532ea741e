#include <array>
#include <cstddef>

#include "ORQSimCollection.h"
#include "ORQSimSchema.h"
#include "ORQSrvFunctions.h"

namespace {

constexpr std::array<const char*, 6> kDofNames = {"DISPLACEMENT_1",   "DISPLACEMENT_2",
                                                  "DISPLACEMENT_3",   "ROTATION_ANGLE_1",
                                                  "ROTATION_ANGLE_2", "ROTATION_ANGLE_3"};
constexpr std::array<const char*, 3> kComponentNames = {"C_1", "C_2", "C_3"};

// The name at a number counted from 1, empty for any other number.
template <std::size_t kCount>
ORQString NameAt(const std::array<const char*, kCount>& names, int number) {
    return number >= 1 && number <= static_cast<int>(kCount)
               ? ORQString(names[static_cast<std::size_t>(number - 1)])
               : ORQString();
}

}  // namespace

ORQSimPosition ORQSrvGetDofRecordFromDofNumber(const ORQObjDocument& document, int number) {
    return document.GetSymbol(ORQSimSchema::DofSymbol, NameAt(kDofNames, number),
                              document.GetDofTypeCollection().GetCollection());
}

int ORQSrvGetDofNumberFromDofRecord(const ORQSimPosition& record) {
    const int place = record.GetSymbolPosition();
    if (place >= 2 && place <= 4) {
        return place - 1;
    }
    return place >= 15 && place <= 17 ? place - 11 : -1;
}

ORQSimPosition ORQSrvGetComponentRecordFromDofNumber(const ORQObjDocument& document, int number) {
    const ORQString name = NameAt(kComponentNames, number);
    return name.IsEmpty() ? ORQSimPosition()
                          : ORQSimPosition(document.GetSymbol(
                                ORQSimSchema::ComponentSymbol, name,
                                document.GetComponentCollection().GetCollection()));
}

int ORQSrvGetComponentNumberFromComponentRecord(const ORQSimPosition& record) {
    const ORQString name = record.GetSymbolName();
    for (int number = 2; number <= static_cast<int>(kComponentNames.size()); ++number) {
        if (name == NameAt(kComponentNames, number)) {
            return number;
        }
    }
    return 1;  // also for a record of another name
}

ORQSimPosition ORQSrvGetComponentCSetFromComponentRecord(const ORQObjDocument& document,
                                                         const ORQSimPosition& record) {
    const ORQSimPosition components = document.GetComponentCollection();
    if (components.IsNull()) {
        return {};
    }
    int member = -1;
    switch (record.GetSymbolPosition()) {
        case 0:
            member = 1;
            break;
        case 12:
            member = 2;
            break;
        case 20:
            member = 3;
            break;
        default:
            break;
    }
    return ORQSimCollection(components.GetCollection()).CreateTempOrderedCSet(&member, 1);
}
