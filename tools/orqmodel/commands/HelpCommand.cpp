#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "commands/Arguments.h"
#include "commands/Manual.h"

namespace orqmodel {
namespace {

struct HelpOptions {
    const CLI::App* program;
    std::string subcommand;  // Empty for the program.
    bool manual = false;
};

/// Prints the help of the program or a subcommand, or the manual page of all.
ExitStatus RunHelp(const HelpOptions& options, const Console& console) {
    if (options.manual) {
        console.out << ManualPage(*options.program);
    } else {
        // From App::help() would come the help of the running subcommand, which is this one.
        const CLI::App* const explained = options.subcommand.empty()
                                              ? options.program
                                              : options.program->get_subcommand(options.subcommand);
        const std::string& name = options.program->get_name();
        console.out << options.program->get_formatter()->make_help(
            explained, options.subcommand.empty() ? name : name + " " + options.subcommand,
            CLI::AppFormatMode::Normal);
    }
    return ExitStatus::Done;
}

struct CompletionOptions {
    const CLI::App* program;
    std::string shell;
};

ExitStatus RunCompletion(const CompletionOptions& options, const Console& console) {
    console.out << BashCompletion(*options.program);
    return ExitStatus::Done;
}

std::vector<std::string> SubcommandNames() {
    std::vector<std::string> names;
    for (const Subcommand& row : Subcommands()) {
        names.emplace_back(row.name);
    }
    return names;
}

}  // namespace

SubcommandRun DeclareHelp(CLI::App& command) {
    const auto options = std::make_shared<HelpOptions>();
    options->program = command.get_parent();
    command
        .add_option("SUBCOMMAND", options->subcommand, "What to explain; without it, the program")
        ->check(OneOf(SubcommandNames()));
    command.add_flag("--manual", options->manual, "Print the manual page, for man -l");
    return Running(options, RunHelp);
}

SubcommandRun DeclareCompletion(CLI::App& command) {
    const auto options = std::make_shared<CompletionOptions>();
    options->program = command.get_parent();
    command.add_option("SHELL", options->shell, "The shell")->required()->check(OneOf({"bash"}));
    command.footer("For one session: eval \"$(orqmodel completion bash)\"");
    return Running(options, RunCompletion);
}

}  // namespace orqmodel
