#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ostream>
#include <utility>

#include "ORQExcReport.h"
#include "ORQExcTexts.h"

namespace {

constexpr std::array<std::pair<ORQExcOutcome, const char*>, 4> kHeadings = {{
    {ORQExcOutcome::kKept, "kept"},
    {ORQExcOutcome::kNoted, "noted"},
    {ORQExcOutcome::kChanged, "changed"},
    {ORQExcOutcome::kDropped, "dropped"},
}};

std::string Line(const ORQExcReportEntry& entry) {
    auto line = entry.kind;
    if (!entry.name.empty())
        line += fmt::format(" \"{}\"", entry.name);
    line += fmt::format(": {}", entry.count);
    if (!entry.reason.empty())
        line += fmt::format(" ({})", entry.reason);
    return line;
}

}  // namespace

void ORQExcReport::Keep(std::string_view kind, std::string_view name, std::int64_t count) {
    Add(ORQExcOutcome::kKept, kind, name, count, "");
}

void ORQExcReport::Note(std::string_view kind, std::string_view name, std::int64_t count,
                        std::string_view reason) {
    Add(ORQExcOutcome::kNoted, kind, name, count, reason);
}

void ORQExcReport::Change(std::string_view kind, std::string_view name, std::int64_t count,
                          std::string_view reason) {
    Add(ORQExcOutcome::kChanged, kind, name, count, reason);
}

void ORQExcReport::Drop(std::string_view kind, std::string_view name, std::int64_t count,
                        std::string_view reason) {
    Add(ORQExcOutcome::kDropped, kind, name, count, reason);
}

void ORQExcReport::Append(const ORQExcReport& other) {
    entries_.insert(entries_.end(), other.entries_.begin(), other.entries_.end());
}

void ORQExcReport::Add(ORQExcOutcome outcome, std::string_view kind, std::string_view name,
                       std::int64_t count, std::string_view reason) {
    entries_.push_back(
        {outcome, ORQExcPrintable(kind), ORQExcPrintable(name), count, ORQExcPrintable(reason)});
}

bool ORQExcReport::HasDrops() const {
    return std::any_of(entries_.begin(), entries_.end(),
                       [](const auto& entry) { return entry.outcome == ORQExcOutcome::kDropped; });
}

void ORQExcReport::Print(std::ostream& out) const {
    for (const auto& [outcome, heading] : kHeadings) {
        bool is_first = true;
        for (const auto& entry : entries_) {
            if (entry.outcome != outcome)
                continue;
            if (std::exchange(is_first, false))
                out << heading << '\n';
            out << "  " << Line(entry) << '\n';
        }
    }
}
