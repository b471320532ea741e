#pragma once

#include <cstdint>

/// The reference counter behind one pair of module entry points.
///
/// The caller's tally moves by one each time the module becomes live or dead, so a chain of
/// calls counts how many modules it brought up or down. A Leave() too many is not caught: the
/// counter wraps to the largest value and the module counts as live. For use by one thread at a
/// time.
class ORQBasModule {
  public:
    /// True when this call made the module live.
    bool Enter(int& callersTally) {
        const bool becameLive = m_references++ == 0;
        callersTally += becameLive ? 1 : 0;
        return becameLive;
    }

    /// True when this call made the module dead.
    bool Leave(int& callersTally) {
        const bool becameDead = m_references-- == 1;
        callersTally -= becameDead ? 1 : 0;
        return becameDead;
    }

  private:
    std::uint32_t m_references = 0;
};
