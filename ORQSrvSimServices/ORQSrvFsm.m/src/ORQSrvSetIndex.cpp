#include "ORQSrvSetIndex.h"

#include <algorithm>
#include <cstdint>

ORQSrvSetIndex::ORQSrvSetIndex(const std::vector<ORQSimCSet>& sets) {
    for (std::size_t place = 0; place < sets.size(); ++place) {
        const ORQSimIntRange bounds = sets[place].Bounds();
        if (!bounds.IsEmpty() && IsRun(sets[place])) {
            m_runs.push_back({bounds.First(), bounds.Last(), static_cast<int>(place)});
        } else if (!bounds.IsEmpty()) {
            m_runs.clear();
            FillTable(sets);
            return;
        }
    }
    std::ranges::sort(m_runs, {}, &Run::first);
    const auto meets = [](const Run& run, const Run& next) { return next.first <= run.last; };
    if (std::ranges::adjacent_find(m_runs, meets) != m_runs.end()) {
        m_runs.clear();
        FillTable(sets);
    }
}

bool ORQSrvSetIndex::IsRun(const ORQSimCSet& set) {
    const ORQSimIntRange bounds = set.Bounds();
    return std::int64_t{bounds.Last()} - bounds.First() + 1 == set.Size();
}

// Without the negative members that ordered sets may have: they number nothing.
std::vector<int> ORQSrvSetIndex::Ascending(const ORQSimCSet& set) {
    std::vector<int> members(static_cast<std::size_t>(set.Size()));
    set.Members(members.data());
    members.erase(members.begin(), std::ranges::lower_bound(members, 0));
    return members;
}

void ORQSrvSetIndex::FillTable(const std::vector<ORQSimCSet>& sets) {
    int highest = -1;
    for (const ORQSimCSet& set : sets) {
        highest = std::max(highest, set.Bounds().Last());
    }
    m_holder.assign(static_cast<std::size_t>(highest + 1), -1);
    for (std::size_t place = 0; place < sets.size(); ++place) {
        for (const int member : Ascending(sets[place])) {
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
    if (!members.IsEmpty()) {
        if (m_holder.empty()) {
            FindInRuns(members, answer);
        } else {
            FindInTable(members, answer);
        }
        std::ranges::sort(answer.places);
        const auto repeated = std::unique(answer.places.begin(), answer.places.end());
        answer.places.erase(repeated, answer.places.end());
    }
    return answer;
}

void ORQSrvSetIndex::FindInRuns(const ORQSimCSet& members, Answer& answer) const {
    const ORQSimIntRange bounds = members.Bounds();
    const std::vector<int> written = IsRun(members) ? std::vector<int>() : Ascending(members);
    auto run = std::ranges::lower_bound(m_runs, bounds.First(), {}, &Run::last);
    for (; run != m_runs.end() && run->first <= bounds.Last(); ++run) {
        const auto nCommon =
            written.empty()
                ? std::min(run->last, bounds.Last()) - std::max(run->first, bounds.First()) + 1
                : static_cast<int>(std::ranges::upper_bound(written, run->last) -
                                   std::ranges::lower_bound(written, run->first));
        if (nCommon > 0) {
            answer.nCovered += nCommon;
            answer.places.push_back(run->place);
        }
    }
}

void ORQSrvSetIndex::FindInTable(const ORQSimCSet& members, Answer& answer) const {
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
