#pragma once

#include <optional>
#include <string>

#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"

namespace orqmodel {

struct LabelledMember {
    std::string instance;
    int ordinal;
};

/// The node or element of a label, in one instance or, for an empty name, in any. Nothing when
/// there is none; throws ORQBasFailure (Usage) when several instances have one.
std::optional<LabelledMember> FindLabelled(const ORQObjDocument& document, ORQObjLabelerType type,
                                           int label, const std::string& instance);

}  // namespace orqmodel
