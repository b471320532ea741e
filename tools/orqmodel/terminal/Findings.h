#pragma once

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <vector>

#include "ORQExcCheck.h"

namespace orqmodel {

/// What checking a database found, with the rules that its findings name.
struct Findings {
    std::string database;
    std::vector<const ORQExcRule*> rules;
    ORQExcCheckResult result;

    const ORQExcRule& RuleOf(const ORQExcFinding& finding) const;
    std::size_t Count(ORQExcLevel level) const;
};

/// Findings by rule, errors first: how many there are, the first `limit` of each with as many
/// members, and how to mend them.
void PrintFindings(const Findings& findings, std::size_t limit, std::ostream& out);

/// All findings with all members.
nlohmann::json FindingsToJson(const Findings& findings);
/// Findings as a log of the Static Analysis Results Interchange Format, version 2.1.0 (OASIS).
nlohmann::json FindingsToSarif(const Findings& findings);
/// Findings as XML in the form of JUnit's reports: a case for each rule, which fails by its errors
/// and warnings.
std::string FindingsToJUnit(const Findings& findings);

}  // namespace orqmodel
