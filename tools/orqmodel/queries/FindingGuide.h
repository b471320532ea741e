#pragma once

#include <span>
#include <string>
#include <vector>

namespace orqmodel {

/// One kind of finding of the model checker, in words for an analyst.
struct FindingKind {
    const char* check;
    const char* pattern;  // The finding's text, with * for names, numbers and lists.
    const char* meaning;
    const char* breaks;
    const char* mending;
};

/// All kinds, in the order of the checks.
std::span<const FindingKind> FindingKinds();

struct ExplainedFindings {
    const FindingKind* kind;
    std::vector<std::size_t> places;  // In the list of findings.
};

/// The findings by their kind, in the order of FindingKinds(); kinds without any are left out. A
/// finding of no kind belongs to the last one, "*".
std::vector<ExplainedFindings> Explain(const std::vector<std::string>& findings);

}  // namespace orqmodel
