#include "InterruptGuard.h"

namespace orqmodel {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t noted_signal = 0;

void Note(int signal) {
    noted_signal = signal;
}

}  // namespace

InterruptGuard::InterruptGuard() {
    noted_signal = 0;
    struct sigaction action {};
    action.sa_handler = Note;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], &action, &before_[i]);
        if (before_[i].sa_handler == SIG_IGN)  // As under nohup.
            sigaction(kSignals[i], &before_[i], nullptr);
    }
}

InterruptGuard::~InterruptGuard() {
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        sigaction(kSignals[i], &before_[i], nullptr);
}

void InterruptGuard::Check() const {
    if (noted_signal != 0)
        throw Interrupted{noted_signal};
}

}  // namespace orqmodel
