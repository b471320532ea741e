#pragma once

#include <functional>
#include <string>
#include <vector>

namespace orqmodel {

/// Runs what only reads databases. A library that refuses what was read, or finds an invariant
/// broken, cannot know why: where verifying finds one of the databases damaged, ORQBasFailure of
/// the kind Damaged, with the first finding, takes the place of the exception.
void RunTellingDamage(const std::vector<std::string>& databases, const std::function<void()>& run);

}  // namespace orqmodel
