#include "CommandRun.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>

#include "ExodusFile.h"
#include "Files.h"
#include "NewDatabase.h"
#include "commands/CommandLine.h"

namespace {

std::string& ModelInStoreAt(const std::string& path) {
    static std::map<std::string, std::string> models;
    return models.try_emplace(path, NewModelInStore()).first->second;
}

bool IsModelToMap(const std::string& name) {
    return name.ends_with(".orq") && !std::filesystem::exists(name);
}

// As ModelAt says.
Arguments WithModels(Arguments arguments) {
    if (std::getenv("ORQ_TEST_STORE") == nullptr || arguments.empty()) {
        return arguments;
    }
    const bool imports = arguments.front() == "import";
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (IsModelToMap(arguments[i])) {
            std::string& model = ModelInStoreAt(arguments[i]);
            if (imports && arguments[i - 1] == "-o") {
                model = NewModelInStore();
            }
            arguments[i] = model;
        }
    }
    if (imports) {
        std::erase(arguments, "--force");
    }
    return arguments;
}

}  // namespace

std::string ModelAt(const std::filesystem::path& path) {
    return std::getenv("ORQ_TEST_STORE") != nullptr && IsModelToMap(path) ? ModelInStoreAt(path)
                                                                          : path.string();
}

void CopyModel(const std::string& from, const std::string& to) {
    const std::string source = ModelAt(from);
    if (source == from) {
        std::filesystem::copy(from, to, std::filesystem::copy_options::recursive);
        return;
    }
    const std::string between = to + ".pulled";
    for (const Arguments& step :
         {Arguments{"pull", source, between}, Arguments{"push", between, ModelAt(to)}}) {
        if (const CommandResult result = RunHere(step); result.status != 0) {
            throw std::runtime_error(result.err);
        }
    }
    std::filesystem::remove_all(between);
}

CommandResult RunHere(const Arguments& arguments) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = orqmodel::RunCommandLine(WithModels(arguments), {out, err, false});
    return {status, out.str(), err.str()};
}

pid_t StartProgram(const std::filesystem::path& program, const Arguments& arguments,
                   const std::filesystem::path& out, const std::filesystem::path& err,
                   const std::function<void()>& prepare) {
    std::vector<char*> words;
    words.push_back(const_cast<char*>(program.c_str()));
    const Arguments given = WithModels(arguments);
    for (const auto& argument : given) {
        words.push_back(const_cast<char*>(argument.c_str()));
    }
    words.push_back(nullptr);
    const pid_t process = fork();
    if (process < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (process == 0) {
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), STDOUT_FILENO);
        dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666), STDERR_FILENO);
        prepare();
        execv(program.c_str(), words.data());
        _exit(127);
    }
    return process;
}

pid_t Start(const Arguments& arguments, const std::filesystem::path& out,
            const std::filesystem::path& err, const std::function<void()>& prepare) {
    return StartProgram(ORQ_PROGRAM, arguments, out, err, prepare);
}

int StatusOf(pid_t process) {
    int status = 0;
    if (waitpid(process, &status, 0) != process) {
        throw std::runtime_error("cannot wait");
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

CommandResult RunProgram(const Arguments& arguments, const std::function<void()>& prepare) {
    const exodus_file::ScratchFolder folder;
    const int status = StatusOf(Start(arguments, folder / "out", folder / "err", prepare));
    return {status, Bytes(folder / "out"), Bytes(folder / "err")};
}
