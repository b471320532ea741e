/// Field types that a model defines. For the object layer's own sources.
#pragma once

#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"

/// The type under that name, made when there is none.
inline ORQSimPosition NeedUserFieldType(const ORQSimPosition& model, const ORQString& name) {
    const ORQSimMap types = model.GetMap(ORQSimSchema::Model_userFields);
    ORQSimPosition type = types.Find(name);
    if (type.IsNull()) {
        type = model.CreateDataRecord(ORQSimSchema::FieldType_user).Pos();
        type.SetName(ORQSimSchema::Record_name, name);
        types.Insert(name, type);
    }
    return type;
}
