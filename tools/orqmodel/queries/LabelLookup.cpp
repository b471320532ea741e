#include "queries/LabelLookup.h"

#include <fmt/format.h>

#include <vector>

#include "ORQBasFailure.h"

namespace orqmodel {

std::optional<LabelledMember> FindLabelled(const ORQObjDocument& document, ORQObjLabelerType type,
                                           int label, const std::string& instance) {
    ORQObjLabeler labeler(document, type);
    labeler.Read();
    std::vector<LabelledMember> found;
    for (const ORQString& name : labeler.Occurrences()) {
        const int ordinal = instance.empty() || name.UTF8() == instance
                                ? labeler.GetInstanceOrdinal(name, label)
                                : -1;
        if (ordinal >= 0) {
            found.push_back({name.UTF8(), ordinal});
        }
    }
    if (found.size() > 1) {
        ORQBasThrowUsage(
            fmt::format("{} instances have {} {}; name one with --instance", found.size(),
                        type == ORQObjLabelerType::Node ? "a node" : "an element", label));
    }
    return found.empty() ? std::nullopt : std::optional(found.front());
}

}  // namespace orqmodel
