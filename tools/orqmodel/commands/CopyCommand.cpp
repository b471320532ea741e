#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "ORQBasFailure.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"
#include "ORQSimModelStore.h"
#include "commands/Arguments.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct CopyOptions {
    std::string command = "copy";
    std::string database;
    std::filesystem::path output;
    bool force = false;
    bool json = false;
};

/// Copies the state of a model database that was committed last, also while somebody writes to it.
/// On any failure, and when interrupted, what stood under the output's name is as it was. Throws
/// ORQBasFailure and Interrupted.
ExitStatus RunCopy(const CopyOptions& options, const Console& console) {
    // A name that cannot be had is refused before anything is copied.
    ORQExcStagedTarget target(options.output, options.force);
    const auto database = ORQSimDatabase::Open(options.database, ORQSimDatabase::Mode::ReadOnly);
    const InterruptGuard interrupts;
    {
        ProgressBar bar(console, "copying");
        database.CopyTo(target.Begin(), [&](double done) {
            interrupts.Check();
            bar.Show(done);
        });
    }
    // A signal since the last progress; from PutIntoPlace on, there is no way back.
    interrupts.Check();
    target.PutIntoPlace();
    const std::int64_t state = database.Generation();
    const std::int64_t bulk = database.Sizes().bulk;
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", options.command},
                                {"path", options.database},
                                {"output", options.output.string()},
                                {"generation", state},
                                {"bulk_bytes", bulk}});
    } else if (!console.IsQuiet()) {
        console.out << ORQExcPrintable(options.database) << " -> "
                    << ORQExcPrintable(options.output.string()) << '\n'
                    << fmt::format("copied: state {}, {} bytes of bulk data\n", state, bulk);
    }
    return ExitStatus::Done;
}

/// Throws ORQBasFailure, naming the command, where a name is of the wrong kind.
void RequireKind(const CopyOptions& options, const std::string& name, bool isUrl) {
    if (ORQSimModelStore::IsUrl(name) != isUrl) {
        ORQBasThrowUsage(options.command + ": " + name + " is " +
                         (isUrl ? "no URL of a model in a store" : "a URL, and no directory"));
    }
}

ExitStatus RunPush(const CopyOptions& options, const Console& console) {
    RequireKind(options, options.database, false);
    RequireKind(options, options.output.string(), true);
    return RunCopy(options, console);
}

ExitStatus RunPull(const CopyOptions& options, const Console& console) {
    RequireKind(options, options.database, true);
    RequireKind(options, options.output.string(), false);
    return RunCopy(options, console);
}

}  // namespace

SubcommandRun DeclarePush(CLI::App& command) {
    const auto options = std::make_shared<CopyOptions>();
    options->command = "push";
    AddDatabase(command, options->database);
    command.add_option("URL", options->output, "The model to make in a store")->required();
    AddJson(command, options->json);
    return Running(options, RunPush);
}

SubcommandRun DeclarePull(CLI::App& command) {
    const auto options = std::make_shared<CopyOptions>();
    options->command = "pull";
    command.add_option("URL", options->database, "The model in a store, or a state of it")
        ->required();
    command.add_option("COPY", options->output, "The model database to make, NAME.orq")->required();
    command.add_flag("--force", options->force, "Replace a model database of that name");
    AddJson(command, options->json);
    return Running(options, RunPull);
}

SubcommandRun DeclareCopy(CLI::App& command) {
    const auto options = std::make_shared<CopyOptions>();
    AddDatabase(command, options->database);
    command.add_option("COPY", options->output, "The model database to make, NAME.orq")->required();
    command.add_flag("--force", options->force, "Replace a model database of that name");
    AddJson(command, options->json);
    return Running(options, RunCopy);
}

}  // namespace orqmodel
