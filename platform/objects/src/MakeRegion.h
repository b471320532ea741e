/// Regions under unique names. For the object layer's own sources.
#pragma once

#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQString.h"

/// A region of a type with a name and number, a member of the model's collection of regions. Throws
/// Usage when the name is empty or a key of the map, where it will stand.
inline ORQSimPosition MakeRegion(const ORQSimPosition& model, int type, const ORQString& name,
                                 int number, int mapSlot) {
    if (name.IsEmpty() || !model.GetMap(mapSlot).Find(name).IsNull()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage, "the name \"" + name.UTF8() +
                                                          "\" is empty or taken already (" +
                                                          ORQSimSchema::NameOf(mapSlot) + ")");
    }
    const ORQSimDataRecord record = model.CreateDataRecord(type);
    record.SetInt(ORQSimRecordField::Region_number, number);
    record.Pos().SetName(ORQSimSchema::Record_name, name);
    ORQSimCollection(model.GetPosition(ORQSimSchema::Model_regions).GetCollection())
        .AddMember(record.Pos());
    return record.Pos();
}
