#include "terminal/ExitWatch.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

#include "terminal/Console.h"

namespace orqmodel {
namespace {

bool is_watching = false;

[[noreturn]] void EndBroken() {
    constexpr std::string_view kText =
        "orqmodel: ended before its work was done: an invariant inside the program is broken\n";
    // The text goes out by the system's call alone: streams may be half destroyed by now, or be
    // what is broken.
    [[maybe_unused]] const auto written = write(STDERR_FILENO, kText.data(), kText.size());
    // exit is already under way, and may not be called again.
    _exit(static_cast<int>(ExitStatus::BrokenInvariant));
}

void OnExit() {
    if (is_watching) {
        EndBroken();
    }
}

void OnAbort(int) {
    EndBroken();
}

}  // namespace

void WatchForEarlyExit() {
    is_watching = true;
    std::atexit(OnExit);
    std::signal(SIGABRT, OnAbort);
}

void EndWatch() {
    is_watching = false;
}

}  // namespace orqmodel
