#include "terminal/InterruptGuard.h"

#include <unistd.h>

namespace orqmodel {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr unsigned kPatience = 5;  // seconds

volatile std::sig_atomic_t noted_signal = 0;

void Note(int signal) {
    noted_signal = signal;
    // One of the few calls that a signal's handler may make.
    alarm(kPatience);
}

/// Ends work that has not checked for signals in time, as a second signal would.
void GiveUp(int) {
    std::signal(noted_signal, SIG_DFL);
    std::raise(noted_signal);
}

}  // namespace

InterruptGuard::InterruptGuard() {
    noted_signal = 0;
    struct sigaction giveUp {};
    giveUp.sa_handler = GiveUp;
    sigaction(SIGALRM, &giveUp, &m_alarmBefore);
    struct sigaction action {};
    action.sa_handler = Note;
    // Reset, so that a second signal ends the process by itself; restart, so that no call to the
    // disk fails because of the first.
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &action, &m_before[i]);
        if (m_before[i].sa_handler == SIG_IGN) {  // As under nohup.
            sigaction(kSignals[i], &m_before[i], nullptr);
        }
    }
}

InterruptGuard::~InterruptGuard() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &m_before[i], nullptr);
    }
    alarm(0);
    sigaction(SIGALRM, &m_alarmBefore, nullptr);
}

void InterruptGuard::Check() const {
    if (noted_signal == 0) {
        return;
    }
    alarm(0);  // Cleaning up may take longer than the alarm allows.
    throw Interrupted{noted_signal};
}

}  // namespace orqmodel
