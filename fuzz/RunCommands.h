#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "commands/CommandLine.h"

/// Where this process keeps its files: in memory.
inline const std::filesystem::path& FuzzFolder() {
    static const std::filesystem::path folder =
        std::filesystem::path("/dev/shm") / ("orq_fuzz_" + std::to_string(getpid()));
    return folder;
}

inline void PutFile(const std::filesystem::path& file, const std::string& bytes) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
}

inline std::string GetFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// Thrown where the program would end itself; see Invariants.cpp.
struct BrokenInvariant {};

/// Runs a command; ends the process when it ends in a way that is not documented for files.
inline int RunCommand(const std::vector<std::string>& arguments) {
    constexpr int kBroken = 70;
    std::ostringstream out;
    std::ostringstream err;
    int status = kBroken;
    try {
        status = orqmodel::RunCommandLine(arguments, {out, err, false});
    } catch (const BrokenInvariant&) {
    }
    const bool reliesOnStorageAlone =
        arguments.back() == "--storage" || arguments[0] == "verify" || arguments[0] == "recover";
    if (status < 0 || (status > 3 && status != kBroken) ||
        (status == kBroken && reliesOnStorageAlone)) {
        std::fprintf(stderr, "%s: status %d: %s\n", arguments[0].c_str(), status,
                     err.str().c_str());
        std::abort();
    }
    return status;
}

/// Runs the commands that read a database.
inline void RunReadingCommands(const std::filesystem::path& database) {
    const std::filesystem::path& folder = FuzzFolder();
    RunCommand({"info", database});
    RunCommand({"info", database, "--storage"});
    RunCommand({"verify", database});
    RunCommand({"layers", database});
    RunCommand({"materials", database});
    RunCommand({"export", database, "-o", folder / "m.e", "--force"});
    RunCommand({"export", database, "-o", folder / "m.bdf", "--force"});
    RunCommand({"draw", database, "-o", folder / "m.png", "--size", "64x64", "--force"});
}
