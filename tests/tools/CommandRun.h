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

/// The name of the model that a test calls by this path: the path, or the URL of a model in the store
/// that ORQ_TEST_STORE names. There all commands below get these names for paths that end in .orq and
/// have no directory; an import makes a new model each time, whatever was there, and --force, by which
/// a directory is replaced, is left out.
std::string ModelAt(const std::filesystem::path& path);

/// Copies a model, in a store by way of a directory.
void CopyModel(const std::string& from, const std::string& to);

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
