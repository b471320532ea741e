#pragma once

#include "ORQExcResultSource.h"

namespace orqmodel {

/// What a field has values of, as tables and JSON call it.
inline const char* PlaceName(ORQExcResultArray::Place place) {
    switch (place) {
        case ORQExcResultArray::Place::Node:
            return "nodes";
        case ORQExcResultArray::Place::Element:
            return "elements";
        case ORQExcResultArray::Place::Model:
            break;
    }
    return "model";
}

}  // namespace orqmodel
