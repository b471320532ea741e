#include "model/Numbering.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

namespace orq::exchange {

int Numbers::Unique(int number) {
    if (number < 1 || m_taken.contains(number)) {
        number = m_taken.empty() ? 1 : *m_taken.rbegin() + 1;
    }
    m_taken.insert(number);
    return number;
}

void CompleteLabels(std::vector<int>& labels, std::string_view what, ORQExcReport& report) {
    if (labels.empty()) {
        return;
    }
    int last = *std::ranges::max_element(labels);
    std::int64_t nNew = 0;
    for (int& label : labels) {
        if (label == 0) {
            label = ++last;
            ++nNew;
        }
    }
    if (nNew > 0) {
        report.Change(fmt::format("{} labels", what), "", nNew, "they had none");
    }
}

}  // namespace orq::exchange
