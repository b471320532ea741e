#include "LossReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <ostream>
#include <utility>

#include "Console.h"

namespace orqmodel {
namespace {

constexpr std::array<std::pair<Outcome, const char*>, 3> kHeadings = {{
    {Outcome::kKept, "kept"},
    {Outcome::kChanged, "changed"},
    {Outcome::kDropped, "dropped"},
}};

std::string Line(const LossEntry& entry) {
    auto line = entry.kind;
    if (!entry.name.empty())
        line += fmt::format(" \"{}\"", entry.name);
    line += fmt::format(": {}", entry.count);
    if (!entry.reason.empty())
        line += fmt::format(" ({})", entry.reason);
    return line;
}

}  // namespace

void LossReport::Keep(std::string_view kind, std::string_view name, std::int64_t count,
                      std::string_view oddity) {
    Add(Outcome::kKept, kind, name, count, oddity);
}

void LossReport::Change(std::string_view kind, std::string_view name, std::int64_t count,
                        std::string_view reason) {
    Add(Outcome::kChanged, kind, name, count, reason);
}

void LossReport::Drop(std::string_view kind, std::string_view name, std::int64_t count,
                      std::string_view reason) {
    Add(Outcome::kDropped, kind, name, count, reason);
}

void LossReport::Append(const LossReport& other) {
    entries_.insert(entries_.end(), other.entries_.begin(), other.entries_.end());
}

void LossReport::Add(Outcome outcome, std::string_view kind, std::string_view name,
                     std::int64_t count, std::string_view reason) {
    entries_.push_back({outcome, Printable(kind), Printable(name), count, Printable(reason)});
}

bool LossReport::HasDrops() const {
    return std::any_of(entries_.begin(), entries_.end(),
                       [](const auto& entry) { return entry.outcome == Outcome::kDropped; });
}

void LossReport::Print(std::ostream& out) const {
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

nlohmann::json LossReport::ToJson() const {
    nlohmann::json report;
    for (const auto& [outcome, heading] : kHeadings) {
        auto& list = report[heading] = nlohmann::json::array();
        for (const auto& entry : entries_) {
            if (entry.outcome != outcome)
                continue;
            list.push_back({{"kind", entry.kind}, {"name", entry.name}, {"count", entry.count}});
            if (!entry.reason.empty())
                list.back()["reason"] = entry.reason;
        }
    }
    return report;
}

}  // namespace orqmodel
