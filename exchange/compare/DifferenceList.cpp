#include "compare/DifferenceList.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace orq::exchange {

std::string NumberText(double value) {
    return std::isnan(value) ? "none" : fmt::format("{}", value);
}

bool DifferenceList::AreEqual(double a, double b) const {
    // Equal infinities are equal although their difference is NaN.
    return a == b || (std::isnan(a) && std::isnan(b)) ||
           IsNoDistance(std::abs(a - b), std::abs(a), std::abs(b));
}

bool DifferenceList::IsNoDistance(double distance, double a, double b) const {
    return distance <= m_options.absolute || distance <= m_options.relative * std::max(a, b);
}

ORQExcDifference& DifferenceList::Add(DifferenceKind kind, ORQExcDifference::Change change,
                                      const std::string& name) {
    ORQExcDifference& added = m_all.emplace_back();
    added.kind = kind;
    added.change = change;
    added.name = name;
    return added;
}

void DifferenceList::AddMembers(DifferenceKind kind, ORQExcDifference::Change change,
                                const std::string& name, const std::string& what,
                                std::vector<ORQExcDifference::Member> members) {
    if (!members.empty()) {
        std::ranges::sort(members, {}, [](const ORQExcDifference::Member& member) {
            return std::pair(member.instance, member.label);
        });
        ORQExcDifference& added = Add(kind, change, name);
        added.what = what;
        added.count = static_cast<std::int64_t>(members.size());
        added.amount = std::ranges::max(members, {}, &ORQExcDifference::Member::amount).amount;
        added.members = std::move(members);
    }
}

void DifferenceList::Compare(DifferenceKind kind, const std::string& name, const std::string& what,
                             const std::string& before, const std::string& after) {
    if (before == after) {
        return;
    }
    ORQExcDifference& added = Add(kind, ORQExcDifference::Change::Changed, name);
    added.what = what;
    added.before = before;
    added.after = after;
}

void DifferenceList::Compare(DifferenceKind kind, const std::string& name, const std::string& what,
                             double before, double after) {
    if (!AreEqual(before, after)) {
        Compare(kind, name, what, NumberText(before), NumberText(after));
    }
}

}  // namespace orq::exchange
