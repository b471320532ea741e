#pragma once

/// The lowest and highest of some ints, both included; Last() < First() when there are none.
class ORQSimIntRange {
  public:
    constexpr ORQSimIntRange() = default;
    constexpr ORQSimIntRange(int first, int last) : m_first(first), m_last(last) {}
    constexpr int First() const { return m_first; }
    constexpr int Last() const { return m_last; }
    constexpr bool IsEmpty() const { return m_last < m_first; }
    friend constexpr bool operator==(ORQSimIntRange, ORQSimIntRange) = default;

  private:
    int m_first = 0;
    int m_last = -1;
};
