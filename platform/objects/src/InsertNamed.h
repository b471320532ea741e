/// Objects under unique names. For the object layer's own sources.
#pragma once

#include <string>

#include "ORQBasFailure.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// Inserts the object into the map under the name. Throws Usage, naming the kind of object, for a name
/// that is empty or taken.
inline void InsertNamed(const ORQSimMap& map, const ORQString& name, const ORQSimPosition& object,
                        const char* kind) {
    if (name.IsEmpty() || !map.Insert(name, object)) {
        ORQBasThrowUsage(std::string(kind) + " \"" + name.UTF8() +
                         "\": the name is empty or taken already");
    }
}
