#pragma once

#include <utility>
#include <vector>

#include "ORQSimCSet.h"

/// Finds which of many sets of one collection hold given members. For the services' own sources.
///
/// Made for the elements of a mesh, divided into hundreds of sets, with one query for each class of
/// elements. Sets that are disjoint runs of consecutive members cost a comparison each, their
/// members are not read. Of other sets each member is read once, and 1 bit is kept for each up to
/// the highest; where they are disjoint, a query for exactly the members of one costs a comparison
/// of the two. Any other query then makes a table of 4 bytes for each member.
/// Example, sets {0..9}, {10..14}, {20}:
///
///   Find({8, 9, 12, 30})  ->  nCovered 3, places {0, 1}
class ORQSrvSetIndex {
  public:
    explicit ORQSrvSetIndex(const std::vector<ORQSimCSet>& sets);

    struct Answer {
        int nCovered = 0;         ///< how many of the members are in any set
        std::vector<int> places;  ///< of the sets that hold any of them, ascending
    };
    Answer Find(const ORQSimCSet& members) const;

  private:
    struct Run {  // the lowest and highest member of a set
        int first;
        int last;  // included
        int place;
    };

    static bool IsRun(const ORQSimCSet& set);
    const std::vector<int>& Ascending(const ORQSimCSet& set) const;
    bool AreApart() const;
    void FillTable() const;
    bool FindSame(const ORQSimCSet& members, Answer& answer) const;
    void FindInRuns(const ORQSimCSet& members, Answer& answer) const;
    void FindInTable(const ORQSimCSet& members, Answer& answer) const;

    std::vector<ORQSimCSet> m_sets;
    int m_highest = -1;        // member of all sets
    bool m_isOfRuns;           // that do not meet; only then there are runs
    std::vector<Run> m_runs;   // ascending
    std::vector<Run> m_spans;  // of sets of which no two meet and not all are runs, ascending

    mutable std::vector<int> m_members;  // what Ascending returns

    // The table, made when it is first needed.
    mutable std::vector<int> m_holder;  // by member: the first set that holds it, -1 for none
    mutable std::vector<std::pair<int, int>> m_further;  // (member, further set), ascending
};
