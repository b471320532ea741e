#include "ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <fstream>
#include <thread>
#include <utility>

#include "Harness.h"

namespace storage_benchmark {

namespace {

struct Pipe {
    Pipe() {
        std::array<int, 2> ends{};
        Require(pipe2(ends.data(), O_CLOEXEC) == 0, "no pipe can be made");
        read = ends[0];
        write = ends[1];
    }
    int read;
    int write;
};

// The line "RssAnon: N kB" of the process; 0 when it has ended.
double AnonymousMebibytes(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string word; status >> word;) {
        if (word == "RssAnon:") {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes / 1024;
        }
    }
    return 0;
}

}  // namespace

ChildProcess::ChildProcess(std::vector<std::string> command) : m_name(command.front()) {
    std::vector<char*> words;
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    const Pipe in;
    const Pipe out;
    posix_spawn_file_actions_t ends;
    posix_spawn_file_actions_init(&ends);
    posix_spawn_file_actions_adddup2(&ends, in.read, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&ends, out.write, STDOUT_FILENO);
    // posix_spawn and not fork: a copy of this process, even for a moment, would count with this
    // one's memory.
    const int failure = posix_spawn(&m_process, words[0], &ends, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&ends);
    Require(failure == 0, m_name + ": cannot be started");
    close(in.read);
    close(out.write);
    m_input = fdopen(in.write, "w");
    m_output = fdopen(out.read, "r");
}

ChildProcess::~ChildProcess() {
    std::fclose(m_input);
    std::fclose(m_output);
    if (m_process > 0) {
        waitpid(m_process, nullptr, 0);
    }
}

void ChildProcess::Say(const std::string& line) {
    std::fputs((line + "\n").c_str(), m_input);
    std::fflush(m_input);
}

std::string ChildProcess::Hear() {
    std::string line;
    for (int c = std::fgetc(m_output); c != EOF && c != '\n'; c = std::fgetc(m_output)) {
        line += static_cast<char>(c);
    }
    return line;
}

void ChildProcess::CheckStatus(int status) const {
    Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, m_name + ": failed");
}

void ChildProcess::Finish() {
    int status = 0;
    waitpid(std::exchange(m_process, -1), &status, 0);
    CheckStatus(status);
}

double ChildProcess::FinishAndWatchMemory() {
    double most = 0;
    int status = 0;
    while (waitpid(m_process, &status, WNOHANG) == 0) {
        most = std::max(most, AnonymousMebibytes(m_process));
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    m_process = -1;
    CheckStatus(status);
    return most;
}

}  // namespace storage_benchmark
