#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "ORQExcCheck.h"

namespace orq::exchange {

/// The letters of an identifier.
inline std::string_view GroupOf(std::string_view rule) {
    return rule.substr(0, rule.find_first_of("0123456789"));
}

/// Elements that are read at a time; bounds the memory.
inline constexpr int kElementsAtOnce = 1 << 15;

/// All checks of the library, in the order in which they report.
std::vector<ORQExcCheck> AllChecks();

/// For the `begin` of a check: makes a run that is constructed with the model.
template <class Run>
std::unique_ptr<ORQExcCheckRun> BeginRun(const ORQExcCheckedModel& model) {
    return std::make_unique<Run>(model);
}

}  // namespace orq::exchange
