#pragma once

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace orq::exchange {

/// Finds ordinals by label, one at a time or in ranges. Takes 8 bytes for each.
class LabelIndex {
  public:
    LabelIndex() = default;
    /// Pairs of label and ordinal, by label, each label once.
    explicit LabelIndex(std::vector<std::pair<int, int>> sorted) : m_sorted(std::move(sorted)) {}

    std::optional<int> Find(int label) const {
        const auto found = std::ranges::lower_bound(m_sorted, std::pair(label, 0));
        return found != m_sorted.end() && found->first == label ? std::optional(found->second)
                                                                : std::nullopt;
    }
    /// The ordinals of labels first, first + step, ..., last, as far as there are such, by label.
    std::vector<int> FindRange(int first, int last, int step) const {
        std::vector<int> ordinals;
        for (auto at = std::ranges::lower_bound(m_sorted, std::pair(first, 0));
             at != m_sorted.end() && at->first <= last; ++at) {
            if ((at->first - first) % step == 0) {
                ordinals.push_back(at->second);
            }
        }
        return ordinals;
    }

  private:
    std::vector<std::pair<int, int>> m_sorted;
};

}  // namespace orq::exchange
