#pragma once

#include <string>

#include "ORQExcResults.h"

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

/// How many values a field has in each element: "8 integration points", "1 to 4 layers, 3 section
/// points". Empty for one value a member.
std::string WithinText(const ORQExcResults& results, const ORQExcResults::Field& field);

}  // namespace orqmodel
