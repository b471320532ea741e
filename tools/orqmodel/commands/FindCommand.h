#pragma once

#include <string>
#include <vector>

#include "queries/NamedObject.h"
#include "terminal/Console.h"

namespace orqmodel {

struct FindOptions {
    std::string database;
    std::string kind;  // One of FindKinds().
    ScopedName name;
    bool json = false;
};

/// "nodeset", "elset", "surface", "orientation".
std::vector<std::string> FindKinds();

/// Prints the object of a scoped name, the key under which it lies, and its members by instance and
/// label. kFindings, and names that are spelt alike, when there is none. Throws ORQBasFailure:
/// Usage for quotes that are not closed, Damaged when a set's name leads to something else.
ExitStatus RunFind(const FindOptions& options, const Console& console);

}  // namespace orqmodel
