#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "commands/CommandLine.h"
#include "terminal/ExitWatch.h"

namespace {

/// A file may ask for more memory than there is: then taking it fails, and the program says so,
/// where the system would else end this process or another one.
void KeepToMemory() {
#ifndef ORQMODEL_SANITIZED  // which take memory far beyond what there is
    struct sysinfo system {};
    struct rlimit limit {};
    if (sysinfo(&system) != 0 || getrlimit(RLIMIT_DATA, &limit) != 0) {
        return;
    }
    const rlim_t memory = (rlim_t{system.totalram} + system.totalswap) * system.mem_unit;
    if (limit.rlim_cur > memory) {
        limit.rlim_cur = memory;
        setrlimit(RLIMIT_DATA, &limit);
    }
#endif
}

}  // namespace

int main(int argc, char** argv) {
    KeepToMemory();
    orqmodel::WatchForEarlyExit();
    std::signal(SIGXFSZ, SIG_IGN);  // A limit on file sizes is an error of the write, with a text.
    orqmodel::Console console{std::cout, std::cerr, isatty(STDERR_FILENO) != 0};
    if (winsize size{}; ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        console.width = size.ws_col;
        console.height = size.ws_row;
    }
    const int status = orqmodel::RunCommandLine({argv + 1, argv + argc}, console);
    orqmodel::EndWatch();
    return status;
}
