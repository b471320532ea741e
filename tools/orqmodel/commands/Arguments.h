/// What subcommands declare alike.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "commands/RunTellingDamage.h"
#include "commands/Subcommands.h"
#include "queries/NamedObject.h"

namespace orqmodel {

inline void AddDatabase(CLI::App& command, std::string& database) {
    command.add_option("DATABASE", database, "The model database")->required();
}

inline void AddJson(CLI::App& command, bool& isSet) {
    command.add_flag("--json", isSet, "Report as one JSON object");
}

/// Accepts one of some words; for others names those that are near.
CLI::Validator OneOf(std::vector<std::string> words);

inline void AddScope(CLI::App& command, ScopedName& name) {
    command.add_option("--instance", name.instance, "The instance that the name belongs to");
    command
        .add_option("--separator", name.separator,
                    "What stands between instance and name in a name")
        ->capture_default_str();
}

/// Runs with the options as the parser leaves them.
template <class Options>
SubcommandRun Running(std::shared_ptr<Options> options,
                      ExitStatus (*run)(const Options&, const Console&)) {
    return [options, run](const Console& console) { return run(*options, console); };
}

/// The same of what only reads the databases that these of the options name: see RunTellingDamage.
template <class Options, class... Names>
SubcommandRun Reading(std::shared_ptr<Options> options,
                      ExitStatus (*run)(const Options&, const Console&), Names... databases) {
    return [options, run, databases...](const Console& console) {
        ExitStatus status = ExitStatus::Done;
        RunTellingDamage({(*options).*databases...}, [&] { status = run(*options, console); });
        return status;
    };
}

}  // namespace orqmodel
