#include <fmt/format.h>

#include <algorithm>
#include <ostream>
#include <utility>

#include "ORQExcOutcomes.h"
#include "ORQExcReport.h"
#include "ORQExcTexts.h"

namespace {

std::string Line(const ORQExcReportEntry& entry) {
    auto line = entry.kind;
    if (!entry.name.empty()) {
        line += fmt::format(" \"{}\"", entry.name);
    }
    line += fmt::format(": {}", entry.count);
    if (!entry.reason.empty()) {
        line += fmt::format(" ({})", entry.reason);
    }
    return line;
}

}  // namespace

void ORQExcReport::Keep(std::string_view kind, std::string_view name, std::int64_t count) {
    Add(ORQExcOutcome::Kept, kind, name, count, "");
}

void ORQExcReport::Note(std::string_view kind, std::string_view name, std::int64_t count,
                        std::string_view reason) {
    Add(ORQExcOutcome::Noted, kind, name, count, reason);
}

void ORQExcReport::Find(std::string_view kind, std::string_view name, std::int64_t count,
                        std::string_view reason) {
    Add(ORQExcOutcome::Found, kind, name, count, reason);
}

void ORQExcReport::Change(std::string_view kind, std::string_view name, std::int64_t count,
                          std::string_view reason) {
    Add(ORQExcOutcome::Changed, kind, name, count, reason);
}

void ORQExcReport::Drop(std::string_view kind, std::string_view name, std::int64_t count,
                        std::string_view reason) {
    Add(ORQExcOutcome::Dropped, kind, name, count, reason);
}

void ORQExcReport::Append(const ORQExcReport& other) {
    m_entries.insert(m_entries.end(), other.m_entries.begin(), other.m_entries.end());
}

void ORQExcReport::Add(ORQExcOutcome outcome, std::string_view kind, std::string_view name,
                       std::int64_t count, std::string_view reason) {
    m_entries.push_back(
        {outcome, ORQExcPrintable(kind), ORQExcPrintable(name), count, ORQExcPrintable(reason)});
}

bool ORQExcReport::Has(ORQExcOutcome outcome) const {
    return std::ranges::any_of(
        m_entries, [&](const ORQExcReportEntry& entry) { return entry.outcome == outcome; });
}

void ORQExcReport::Print(std::ostream& out) const {
    for (const auto& [outcome, heading] : kORQExcOutcomes) {
        bool isFirst = true;
        for (const auto& entry : m_entries) {
            if (entry.outcome != outcome) {
                continue;
            }
            if (std::exchange(isFirst, false)) {
                out << heading << '\n';
            }
            out << "  " << Line(entry) << '\n';
        }
    }
}
