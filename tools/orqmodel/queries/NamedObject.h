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

/// Looks a name up in maps of the model, one after the other; what would end the process inside the
/// lookup is tested beforehand. A name that the lookup does not find, or would end at, may still be
/// a key as it stands, or one of which only the case of letters differs, if there is only one of
/// these. Throws ORQBasFailure: Usage for quotes that are not closed in a name that is no key,
/// Damaged for an entry that is no set where sets are wanted.
NamedObject FindNamedObject(const ORQObjDocument& document, std::span<const int> maps,
                            bool wantsSet, const ScopedName& name);

}  // namespace orqmodel
