#pragma once

#include <array>
#include <csignal>

namespace orqmodel {

/// Thrown where work ends early because a signal came.
struct Interrupted {
    int signal;
    const char* left = "nothing was changed";  ///< what the work leaves behind
};

/// While it lives, the first SIGINT, SIGTERM or SIGHUP is only noted, so that unfinished work can
/// be cleared away; a second one ends the process, and so do some seconds in which nobody checks.
/// One at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// Throws Interrupted when a signal was noted.
    void Check() const;

  private:
    std::array<struct sigaction, 3> m_before;
    struct sigaction m_alarmBefore;
};

}  // namespace orqmodel
