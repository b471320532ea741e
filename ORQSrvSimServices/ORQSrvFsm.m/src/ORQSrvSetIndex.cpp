#include "ORQSrvSetIndex.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

ORQSrvSetIndex::ORQSrvSetIndex(const std::vector<ORQSimCSet>& sets) : m_sets(sets) {
    std::vector<Run> spans;
    for (std::size_t place = 0; place < m_sets.size(); ++place) {
        const ORQSimIntRange bounds = m_sets[place].Bounds();
        if (!bounds.IsEmpty()) {
            spans.push_back({bounds.First(), bounds.Last(), static_cast<int>(place)});
            m_highest = std::max(m_highest, bounds.Last());
        }
    }
    // Three cases, since a table takes four bytes for each member that there is: separate runs need
    // no table, separate sets are mostly looked up whole, and only what is left needs one.
    std::ranges::sort(spans, {}, &Run::first);
    const auto meets = [](const Run& run, const Run& next) { return next.first <= run.last; };
    m_isOfRuns = std::ranges::all_of(m_sets, IsRun) &&
                 std::ranges::adjacent_find(spans, meets) == spans.end();
    if (m_isOfRuns) {
        m_runs = std::move(spans);
    } else if (AreApart()) {
        m_spans = std::move(spans);
    }
}

bool ORQSrvSetIndex::AreApart() const {
    // A bit for each member is enough to decide this, and is freed afterwards.
    std::vector<bool> isHeld(static_cast<std::size_t>(m_highest) + 1, false);
    for (const ORQSimCSet& set : m_sets) {
        for (const int member : Ascending(set)) {
            if (isHeld[static_cast<std::size_t>(member)]) {
                return false;
            }
            isHeld[static_cast<std::size_t>(member)] = true;
        }
    }
    return true;
}

bool ORQSrvSetIndex::IsRun(const ORQSimCSet& set) {
    const ORQSimIntRange bounds = set.Bounds();
    return std::int64_t{bounds.Last()} - bounds.First() + 1 == set.Size();
}

// Ascending members without the negative ones that ordered sets may have: they number nothing.
const std::vector<int>& ORQSrvSetIndex::Ascending(const ORQSimCSet& set) const {
    m_members.resize(static_cast<std::size_t>(set.Size()));
    set.Members(m_members.data());
    m_members.erase(m_members.begin(), std::ranges::lower_bound(m_members, 0));
    return m_members;
}

void ORQSrvSetIndex::FillTable() const {
    m_holder.assign(static_cast<std::size_t>(m_highest) + 1, -1);
    for (std::size_t place = 0; place < m_sets.size(); ++place) {
        for (const int member : Ascending(m_sets[place])) {
            int& holder = m_holder[static_cast<std::size_t>(member)];
            if (holder < 0) {
                holder = static_cast<int>(place);
            } else {
                m_further.emplace_back(member, static_cast<int>(place));
            }
        }
    }
    std::ranges::sort(m_further);
}

ORQSrvSetIndex::Answer ORQSrvSetIndex::Find(const ORQSimCSet& members) const {
    Answer answer;
    if (members.IsEmpty() || m_highest < 0) {
        return answer;
    }
    if (m_isOfRuns) {
        FindInRuns(members, answer);
    } else if (!FindSame(members, answer)) {
        FindInTable(members, answer);
    }
    std::ranges::sort(answer.places);
    const auto repeated = std::unique(answer.places.begin(), answer.places.end());
    answer.places.erase(repeated, answer.places.end());
    return answer;
}

// Where no two sets meet, the only one that can be the same begins with the same member.
bool ORQSrvSetIndex::FindSame(const ORQSimCSet& members, Answer& answer) const {
    const int lowest = members.Bounds().First();
    const auto span = std::ranges::lower_bound(m_spans, lowest, {}, &Run::first);
    if (span == m_spans.end() || span->first != lowest ||
        !m_sets[static_cast<std::size_t>(span->place)].SameMembers(members)) {
        return false;
    }
    answer = {members.Size(), {span->place}};
    return true;
}

void ORQSrvSetIndex::FindInRuns(const ORQSimCSet& members, Answer& answer) const {
    const ORQSimIntRange bounds = members.Bounds();
    const bool isRun = IsRun(members);
    const std::span<const int> written =
        isRun ? std::span<const int>() : std::span<const int>(Ascending(members));
    auto run = std::ranges::lower_bound(m_runs, bounds.First(), {}, &Run::last);
    for (; run != m_runs.end() && run->first <= bounds.Last(); ++run) {
        const auto nCommon =
            isRun ? std::min(run->last, bounds.Last()) - std::max(run->first, bounds.First()) + 1
                  : static_cast<int>(std::ranges::upper_bound(written, run->last) -
                                     std::ranges::lower_bound(written, run->first));
        if (nCommon > 0) {
            answer.nCovered += nCommon;
            answer.places.push_back(run->place);
        }
    }
}

void ORQSrvSetIndex::FindInTable(const ORQSimCSet& members, Answer& answer) const {
    // Made when it is first needed: lookups of whole sets do without.
    if (m_holder.empty()) {
        FillTable();
    }
    const auto nHeld = static_cast<int>(m_holder.size());
    int last = -1;
    for (const int member : Ascending(members)) {
        const int holder = member < nHeld ? m_holder[static_cast<std::size_t>(member)] : -1;
        if (holder < 0) {
            continue;
        }
        ++answer.nCovered;
        if (holder != last) {
            answer.places.push_back(holder);
            last = holder;
        }
        if (!m_further.empty()) {
            auto further =
                std::ranges::lower_bound(m_further, member, {}, &std::pair<int, int>::first);
            for (; further != m_further.end() && further->first == member; ++further) {
                answer.places.push_back(further->second);
            }
        }
    }
}
