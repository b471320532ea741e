#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

/// What a command left behind.
struct CommandResult {
    int status;  // The exit status; of a process that a signal ended, minus the signal.
    std::string out;
    std::string err;
};

using Arguments = std::vector<std::string>;

/// Runs a command in this process.
CommandResult RunHere(const Arguments& arguments);

/// Starts a program.
pid_t StartProgram(
    const std::filesystem::path& program, const Arguments& arguments,
    const std::filesystem::path& out, const std::filesystem::path& err,
    const std::function<void()>& prepare = [] {});
/// Starts the built program. `prepare` is called in the new process first.
pid_t Start(
    const Arguments& arguments, const std::filesystem::path& out, const std::filesystem::path& err,
    const std::function<void()>& prepare = [] {});
/// Waits for its end; answers as CommandResult::status.
int StatusOf(pid_t process);

/// Runs the built program to its end.
CommandResult RunProgram(
    const Arguments& arguments, const std::function<void()>& prepare = [] {});
