#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcOutcomes.h"
#include "ORQExcReport.h"

namespace {

constexpr std::size_t kMostReasons = 5;  // of a kind and outcome

/// Entries of one outcome and kind, and of one reason where reasons count.
struct Group {
    std::string kind;
    std::string reason;
    std::string name;  // of the first entry
    std::int64_t nEntries = 0;
    std::int64_t nObjects = 0;
    std::int64_t nMembers = 0;

    void Add(const ORQExcReportEntry& entry) {
        ++nEntries;
        nObjects += entry.name.empty() ? entry.count : 1;
        nMembers += entry.count;
    }
    std::string Cell() const {
        return nEntries == 0          ? ""
               : nObjects == nMembers ? fmt::to_string(nObjects)
                                      : fmt::format("{} ({})", nObjects, nMembers);
    }
    std::string Line() const {
        const std::string what =
            nEntries > 1   ? fmt::format("{}, {} of them: {}", kind, nEntries, nMembers)
            : name.empty() ? fmt::format("{}: {}", kind, nMembers)
                           : fmt::format("{} \"{}\": {}", kind, name, nMembers);
        return reason.empty() ? what : fmt::format("{} ({})", what, reason);
    }
};

bool HasAny(const ORQExcReport& report, ORQExcOutcome outcome) {
    return std::ranges::count(report.Entries(), outcome, &ORQExcReportEntry::outcome) != 0;
}

/// The group of a kind, which is made where there is none.
Group& GroupOf(std::vector<Group>& groups, const std::string& kind) {
    const auto found = std::ranges::find(groups, kind, &Group::kind);
    if (found != groups.end()) {
        return *found;
    }
    groups.push_back({kind, {}, {}});
    return groups.back();
}

/// Rows of as many cells each, in columns as wide as need be.
void PrintColumns(const std::vector<std::vector<std::string>>& rows, std::ostream& out) {
    std::vector<std::size_t> widths(rows[0].size(), 0);
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += fmt::format("  {:<{}}", row[i], widths[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

void PrintCounts(const ORQExcReport& report, std::ostream& out) {
    std::vector<std::vector<std::string>> rows = {{"kind"}};
    std::vector<Group> kinds;
    for (const ORQExcReportEntry& entry : report.Entries()) {
        GroupOf(kinds, entry.kind).Add(entry);
    }
    for (const Group& kind : kinds) {
        rows.push_back({kind.kind});
    }
    for (const auto& [outcome, heading] : kORQExcOutcomes) {
        if (!HasAny(report, outcome)) {
            continue;
        }
        std::vector<Group> cells;
        for (const Group& kind : kinds) {
            cells.push_back({kind.kind, {}, {}});
        }
        for (const ORQExcReportEntry& entry : report.Entries()) {
            if (entry.outcome == outcome) {
                GroupOf(cells, entry.kind).Add(entry);
            }
        }
        rows[0].push_back(heading);
        for (std::size_t i = 0; i < cells.size(); ++i) {
            rows[i + 1].push_back(cells[i].Cell());
        }
    }
    PrintColumns(rows, out);
}

/// Groups of equal kind and reason, in the order in which they came; the rest of a kind is one
/// group.
std::vector<Group> Reasons(const ORQExcReport& report, ORQExcOutcome outcome) {
    std::vector<std::pair<Group, std::vector<Group>>> kinds;  // each with its reasons
    for (const ORQExcReportEntry& entry : report.Entries()) {
        if (entry.outcome != outcome) {
            continue;
        }
        auto kind = std::ranges::find_if(
            kinds, [&](const auto& known) { return known.first.kind == entry.kind; });
        if (kind == kinds.end()) {
            kind = kinds.insert(kind, {{entry.kind, {}, {}}, {}});
        }
        auto& [rest, reasons] = *kind;
        auto group = std::ranges::find(reasons, entry.reason, &Group::reason);
        if (group == reasons.end() && reasons.size() < kMostReasons) {
            group = reasons.insert(group, {entry.kind, entry.reason, entry.name});
        }
        (group == reasons.end() ? rest : *group).Add(entry);
    }
    std::vector<Group> lines;
    for (auto& [rest, reasons] : kinds) {
        lines.insert(lines.end(), reasons.begin(), reasons.end());
        if (rest.nEntries > 0) {
            rest.reason = "for other reasons, which the whole report names";
            lines.push_back(rest);
        }
    }
    return lines;
}

}  // namespace

void ORQExcReport::PrintSummary(std::ostream& out) const {
    PrintCounts(*this, out);
    for (const auto& [outcome, heading] : kORQExcOutcomes) {
        if (outcome == ORQExcOutcome::Kept || !HasAny(*this, outcome)) {
            continue;
        }
        out << heading << '\n';
        for (const Group& reason : Reasons(*this, outcome)) {
            out << "  " << reason.Line() << '\n';
        }
    }
}
