#pragma once

#include <span>
#include <string>

#include "ORQObjDocument.h"
#include "ORQSimPosition.h"

namespace orqmodel {

/// A name as the user gives it.
struct ScopedName {
    std::string name;
    std::string instance;
    std::string separator = ".";
};

/// What lies under a name: null when there is none.
struct NamedObject {
    ORQSimPosition object;
    std::string key;
};

/// Looks a name up in maps of the model, one after the other. A name for which the lookup would end
/// the process does not reach it. Such a name, and one that is not found, may still be a key as it
/// stands or, where there is only one such key, in another case of letters. Throws ORQBasFailure: Usage for quotes that are not closed in a name that is no key,
/// Damaged for an entry that is no set where sets are wanted.
NamedObject FindNamedObject(const ORQObjDocument& document, std::span<const int> maps,
                            bool wantsSet, const ScopedName& name);

}  // namespace orqmodel
