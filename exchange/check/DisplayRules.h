#pragma once

#include <string>
#include <vector>

#include "ORQExcCheck.h"

namespace orq::exchange {

/// What the model checker's findings mean. The titles are patterns of its texts, with * for names,
/// numbers and lists; they are compared in this order, and the last one matches every finding.
const std::vector<ORQExcRule>& DisplayRules();

/// The rule that a finding of the model checker breaks.
const ORQExcRule& DisplayRuleOf(const std::string& finding);

}  // namespace orq::exchange
