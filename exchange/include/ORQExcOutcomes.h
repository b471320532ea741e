#pragma once

#include <array>
#include <utility>

#include "ORQExcReport.h"

/// The outcomes in the order of reports, with their headings, which are also the members of JSON
/// reports.
inline constexpr std::array<std::pair<ORQExcOutcome, const char*>, 5> kORQExcOutcomes = {{
    {ORQExcOutcome::Kept, "kept"},
    {ORQExcOutcome::Noted, "noted"},
    {ORQExcOutcome::Found, "findings"},
    {ORQExcOutcome::Changed, "changed"},
    {ORQExcOutcome::Dropped, "dropped"},
}};
