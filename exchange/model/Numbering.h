#pragma once

#include <set>
#include <string_view>
#include <vector>

#include "ORQExcReport.h"

namespace orq::exchange {

/// Numbers of one kind of object: from 1, each once.
class Numbers {
  public:
    int Unique(int number);

  private:
    std::set<int> m_taken;
};

/// Gives labels above all others to what has none (0), and reports that. `what` is "node" or
/// "element".
void CompleteLabels(std::vector<int>& labels, std::string_view what, ORQExcReport& report);

/// As CompleteLabels, for formats with one numbering: labels that several instances give to
/// different members are all numbered anew, from 1, and that is reported.
void MakeLabelsUnique(std::vector<int>& labels, std::string_view what, ORQExcReport& report);

}  // namespace orq::exchange
