#pragma once

#include <vector>

#include "ORQExcCheck.h"

namespace orq::exchange {

/// All checks of the library, in the order in which they report.
std::vector<ORQExcCheck> AllChecks();

/// For the `begin` of a check: makes a run that is constructed with the model.
template <class Run>
std::unique_ptr<ORQExcCheckRun> BeginRun(const ORQExcCheckedModel& model) {
    return std::make_unique<Run>(model);
}

}  // namespace orq::exchange
