#include "commands/Mending.h"

#include <algorithm>
#include <string_view>

#include "ORQExcEdit.h"

namespace orqmodel {
namespace {

bool Has(const ORQExcCheckResult& found, std::string_view rule) {
    return std::ranges::any_of(found.findings,
                               [&](const ORQExcFinding& finding) { return finding.rule == rule; });
}

/// The most that nodes are apart which the check calls coincident.
double ToleranceOf(std::string_view rule, const ORQExcCheckedModel& model,
                   const ORQExcChecker& checker) {
    const std::vector<const ORQExcRule*> rules = checker.Rules();
    return model.Diagonal() * model.Limit(**std::ranges::find_if(
                                  rules, [&](const ORQExcRule* one) { return one->id == rule; }));
}

}  // namespace

void Mend(const ORQObjDocument& document, const ORQExcChecker& checker,
          const ORQExcCheckOptions& options, const ORQExcCheckResult& found, ORQExcReport& report) {
    constexpr std::string_view kCoincident = "NOD003";
    constexpr std::string_view kUnusedNodes = "NOD002";
    constexpr std::string_view kEmptySets = "SET001";
    const ORQExcCheckedModel before(document, options);
    if (Has(found, kCoincident)) {
        ORQExcMergeNodes(document, {.tolerance = ToleranceOf(kCoincident, before, checker)},
                         report);
    }
    if (Has(found, kUnusedNodes)) {
        ORQExcDropUnused(document, ORQExcUnused::Nodes, report);
    }
    // Sets may have become empty just now.
    if (before.IsWanted(kEmptySets)) {
        ORQExcDropUnused(document, ORQExcUnused::Sets, report);
    }
}

}  // namespace orqmodel
