#include "NamedObject.h"

#include <fmt/format.h>

#include "ORQBasFailure.h"
#include "ORQSimDatabase.h"
#include "ORQSrvFunctions.h"

namespace orqmodel {

NamedObject FindNamedObject(const ORQObjDocument& document, std::span<const int> maps,
                            bool wants_set, const ScopedName& name) {
    const char* separator = name.separator.c_str();
    const char* instance = name.instance.c_str();
    if (!ORQSrvHasMatchedQuotes(name.name, separator, instance))
        throw ORQBasFailure(
            ORQBasFailureKind::Usage,
            fmt::format("a quote is opened and not closed in name {} or instance {}", name.name,
                        name.instance));
    for (const int map : maps) {
        const ORQSimPosition object =
            ORQSrvGetIDFromScopedName(document.Focus(), name.name, map, separator, instance, true);
        if (object.IsNull())
            continue;
        const std::string key = object.GetReferenceKey(map).UTF8();
        if (wants_set && object.ID().Category() != ORQSimCategoryCSet)
            throw ORQBasFailure(
                ORQBasFailureKind::Damaged,
                fmt::format("{}: {} stands for no set", document.Database().Path(), key));
        return {object, key};
    }
    return {};
}

}  // namespace orqmodel
