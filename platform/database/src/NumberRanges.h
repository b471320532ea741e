#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

namespace orq::database {

/// Ascending ranges of numbers that do not touch. Made for the numbers that undone transaction
/// levels gave out: one range a level, and since numbers only grow, each new one lies above or
/// around the last ones.
class NumberRanges {
  public:
    /// Makes room, so that so many calls of Add take no memory.
    void ReserveFor(std::size_t count) {
        if (m_ranges.capacity() - m_ranges.size() < count) {
            m_ranges.reserve(2 * m_ranges.size() + count);
        }
    }

    /// Adds [begin, end). REQUIRES: `end` is at least that of every range added before.
    void Add(std::int64_t begin, std::int64_t end) {
        // An outer level takes in what its inner ones gave out.
        while (!m_ranges.empty() && m_ranges.back().end >= begin) {
            begin = std::min(begin, m_ranges.back().begin);
            m_ranges.pop_back();
        }
        if (begin < end) {
            m_ranges.push_back({begin, end});
        }
    }

    bool IsEmpty() const { return m_ranges.empty(); }
    bool Contains(std::int64_t number) const {
        const auto after = std::ranges::upper_bound(m_ranges, number, {}, &Range::begin);
        return after != m_ranges.begin() && number < std::prev(after)->end;
    }

  private:
    struct Range {
        std::int64_t begin;
        std::int64_t end;
    };
    std::vector<Range> m_ranges;
};

}  // namespace orq::database
