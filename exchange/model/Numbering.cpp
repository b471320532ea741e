#include "model/Numbering.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <numeric>

namespace orq::exchange {

int Numbers::Unique(int number) {
    if (number < m_least || m_taken.contains(number)) {
        number = m_taken.empty() ? m_least : *m_taken.rbegin() + 1;
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

void MakeLabelsUnique(std::vector<int>& labels, std::string_view what, ORQExcReport& report) {
    CompleteLabels(labels, what, report);
    MakeLabelsDistinct(labels, what, report);
}

void MakeLabelsDistinct(std::vector<int>& labels, std::string_view what, ORQExcReport& report) {
    if (std::ranges::adjacent_find(labels, std::greater_equal<>()) == labels.end()) {
        return;  // most models have labels in ascending order
    }
    std::vector<int> sorted = labels;
    std::ranges::sort(sorted);
    const auto twice = std::adjacent_find(std::ranges::upper_bound(sorted, 0), sorted.end());
    if (twice != sorted.end()) {
        report.Change(fmt::format("{} labels", what), "", std::ssize(labels),
                      fmt::format("numbered anew from 1: label {} is given twice, in several "
                                  "instances",
                                  *twice));
        std::iota(labels.begin(), labels.end(), 1);
    }
}

}  // namespace orq::exchange
