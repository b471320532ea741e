#pragma once

#include <set>
#include <string_view>
#include <vector>

#include "ORQExcReport.h"

namespace orq::exchange {

/// Numbers of one kind of object: each once, and none below a least one.
class Numbers {
  public:
    explicit Numbers(int least = 1) : m_least(least) {}

    int Unique(int number);

  private:
    int m_least;
    std::set<int> m_taken;
};

/// Gives labels above all others to what has none (0), and reports that. `what` is "node" or
/// "element".
void CompleteLabels(std::vector<int>& labels, std::string_view what, ORQExcReport& report);

/// Completes labels as CompleteLabels does, for formats with one numbering: labels that several
/// instances give to different members are all numbered anew, from 1, and that is reported.
void MakeLabelsUnique(std::vector<int>& labels, std::string_view what, ORQExcReport& report);

/// The same, for formats in which a member may have no label (0), and keeps none.
void MakeLabelsDistinct(std::vector<int>& labels, std::string_view what, ORQExcReport& report);

}  // namespace orq::exchange
