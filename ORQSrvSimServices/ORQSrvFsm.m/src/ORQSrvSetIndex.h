#pragma once

#include <utility>
#include <vector>

#include "ORQSimCSet.h"

/// Finds which of many sets of one collection hold given members. For the services' own sources.
///
/// Made for the elements of a mesh, divided into hundreds of sets, each class of which is asked for
/// once: sets that are runs of consecutive members, none of which meet, cost a comparison each and
/// no look at their members; else each member of all sets is looked at once, and 4 bytes are kept
/// for each up to the highest. Example, sets {0..9}, {10..14}, {20}:
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
    struct Run {
        int first;
        int last;  // included
        int place;
    };

    static bool IsRun(const ORQSimCSet& set);
    static std::vector<int> Ascending(const ORQSimCSet& set);
    void FillTable(const std::vector<ORQSimCSet>& sets);
    void FindInRuns(const ORQSimCSet& members, Answer& answer) const;
    void FindInTable(const ORQSimCSet& members, Answer& answer) const;

    std::vector<Run> m_runs;    // ascending, none meets another; none of them when there is a table
    std::vector<int> m_holder;  // by member: the first set that holds it, -1 for none
    std::vector<std::pair<int, int>> m_further;  // (member, further set that holds it), ascending
};
