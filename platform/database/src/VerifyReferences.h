// The rules that rows keep together: whatever a row names must be there.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "DatabaseState.h"
#include "storage/Salvage.h"

namespace orq::database {

// Something that breaks a rule.
struct Flaw {
    std::string text;
    // Takes it away, alone; that may leave flaws in what refers to it. Does nothing where it is
    // gone already or goes with another flaw.
    std::function<void()> remove;
    // Where it is a drawer: its distribution and number.
    std::int64_t distribution = 0;
    int drawer = 0;
    // Whether it mostly follows from another flaw, and goes with that.
    bool isLastResort = false;
};

// With a salvage from which the rows came, what it has lost a part of is a flaw too, also where the
// rest would pass for a whole. `goOn` is called all along; what it throws ends the search.
std::vector<Flaw> FindFlaws(DatabaseState& state, const storage::Salvage* salvage,
                            const std::function<void()>& goOn);

}  // namespace orq::database
