#include <unistd.h>

#include <csignal>
#include <iostream>

#include "CommandLine.h"
#include "ExitWatch.h"

int main(int argc, char** argv) {
    orqmodel::WatchForEarlyExit();
    std::signal(SIGXFSZ, SIG_IGN);  // A limit on file sizes is an error of the write, with a text.
    const int status = orqmodel::RunCommandLine({argv + 1, argv + argc},
                                                {std::cout, std::cerr, isatty(STDERR_FILENO) != 0});
    orqmodel::EndWatch();
    return status;
}
