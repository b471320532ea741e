#pragma once

#include <string>

#include "queries/NamedObject.h"
#include "terminal/Console.h"

namespace orqmodel {

struct MapOptions {
    std::string primary;
    std::string secondary;
    ScopedName nodeset;      // Empty for none.
    double tolerance = 0.0;  // In the models' length unit.
    bool json = false;
};

/// Prints what two models have in common by instance and label, how a node set of the primary model
/// lies in the secondary one, and which nodes moved by more than the tolerance. kFindings when
/// anything has no match, moved, or the set is not there. Throws ORQBasFailure.
ExitStatus RunMap(const MapOptions& options, const Console& console);

}  // namespace orqmodel
