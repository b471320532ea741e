#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct RecoverOptions {
    std::string database;
    std::filesystem::path output;
    bool json = false;
};

void Print(const RecoverOptions& options, const ORQSimDatabase::Recovery& recovery,
           std::ostream& out) {
    for (const std::string& text : recovery.damage) {
        out << "damaged: " << ORQExcPrintable(text) << '\n';
    }
    for (const std::string& text : recovery.lost) {
        out << "lost: " << ORQExcPrintable(text) << '\n';
    }
    out << ORQExcPrintable(options.database) << " -> " << ORQExcPrintable(options.output.string())
        << '\n'
        << fmt::format(
               "recovered: {} objects with {} links, {} sets, {} drawers of values and {} tables, "
               "{} bytes of bulk data\n",
               recovery.objects, recovery.links, recovery.sets, recovery.drawers, recovery.tables,
               recovery.bulkBytes);
    if (recovery.unreachable > 0) {
        out << fmt::format("of the objects, {} are kept though no link leads to them\n",
                           recovery.unreachable);
    }
    if (recovery.lost.empty()) {
        out << "nothing is lost\n";
    }
}

void PrintAsJson(const RecoverOptions& options, const ORQSimDatabase::Recovery& recovery,
                 std::ostream& out) {
    PrintJson(out, {{"schema_version", 1},
                    {"command", "recover"},
                    {"path", options.database},
                    {"output", options.output.string()},
                    {"damage", recovery.damage},
                    {"lost", recovery.lost},
                    {"recovered",
                     {{"objects", recovery.objects},
                      {"unreachable", recovery.unreachable},
                      {"links", recovery.links},
                      {"sets", recovery.sets},
                      {"drawers", recovery.drawers},
                      {"tables", recovery.tables},
                      {"bulk_bytes", recovery.bulkBytes}}}});
}

/// Makes a new model database of what is whole in a damaged one, and lists what is lost.
/// ExitStatus::Findings when anything is. On any failure, and when interrupted, nothing is left
/// under the output's name. Throws ORQBasFailure and Interrupted.
ExitStatus RunRecover(const RecoverOptions& options, const Console& console) {
    const InterruptGuard interrupts;
    ORQSimDatabase::Recovery recovery;
    {
        // The bar ends with this block, before results are printed over it.
        ProgressBar bar(console, "recovering");
        recovery =
            ORQSimDatabase::Recover(options.database, options.output.string(), [&](double done) {
                interrupts.Check();
                bar.Show(done);
            });
    }
    if (options.json) {
        PrintAsJson(options, recovery, console.out);
    } else if (!console.IsQuiet() || !recovery.lost.empty()) {
        Print(options, recovery, console.out);
    }
    return recovery.lost.empty() ? ExitStatus::Done : ExitStatus::Findings;
}

}  // namespace

SubcommandRun DeclareRecover(CLI::App& command) {
    const auto options = std::make_shared<RecoverOptions>();
    command.footer(
        "The damaged database stays as it is. Sets, drawers of values, tables and data sets\n"
        "that are damaged in part are left out whole, and links to them; objects to which no\n"
        "link leads any more are kept. Exit status 1 when anything is lost.");
    command.add_option("DATABASE", options->database, "The damaged model database")->required();
    command.add_option("-o,--output", options->output, "The model database to make, NAME.orq")
        ->required();
    AddJson(command, options->json);
    return Running(options, RunRecover);
}

}  // namespace orqmodel
