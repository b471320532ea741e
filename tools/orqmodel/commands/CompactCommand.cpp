#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <string>

#include "ORQBasFailure.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "queries/DiskUse.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"

namespace orqmodel {
namespace {

struct CompactOptions {
    std::string database;
    bool json = false;
};

std::int64_t StateOf(const std::string& database) {
    return ORQSimDatabase::Open(database, ORQSimDatabase::Mode::ReadOnly).Generation();
}

/// Gives freed space back: builds the database anew beside it, and exchanges the two in one step.
/// On any failure, when interrupted and when killed it is as it was. Throws ORQBasFailure: Damaged
/// where anything would be lost, Busy while somebody writes and where somebody wrote meanwhile;
/// and Interrupted.
ExitStatus RunCompact(const CompactOptions& options, const Console& console) {
    const std::int64_t before = DirectoryBytes(options.database);
    const std::int64_t state = StateOf(options.database);
    // Throws Busy while somebody writes, before anything is built.
    ORQExcStagedTarget target(options.database, true);
    const InterruptGuard interrupts;
    ORQSimDatabase::Recovery rebuilt;
    const std::string made = target.Begin();
    {
        ProgressBar bar(console, "compacting");
        rebuilt = ORQSimDatabase::Recover(options.database, made, [&](double done) {
            interrupts.Check();
            bar.Show(done);
        });
    }
    // Recovering leaves out what is lost. In place of a damaged database, the new one would look
    // intact.
    if (!rebuilt.damage.empty() || !rebuilt.lost.empty()) {
        throw ORQBasFailure(
            ORQBasFailureKind::Damaged,
            fmt::format("{}: is damaged, and was left as it is: {} (orqmodel recover makes a new "
                        "one of what is whole)",
                        options.database,
                        rebuilt.damage.empty() ? rebuilt.lost[0] : rebuilt.damage[0]));
    }
    const std::int64_t after = DirectoryBytes(made);
    interrupts.Check();
    // Nothing keeps a writer out during the long rebuild: what it committed is not in the new one.
    target.PutIntoPlace(state);
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "compact"},
                                {"path", options.database},
                                {"bytes_before", before},
                                {"bytes_after", after}});
    } else if (!console.IsQuiet()) {
        console.out << fmt::format("{}: {} before, {} now\n", ORQExcPrintable(options.database),
                                   BytesText(before), BytesText(after));
    }
    return ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareCompact(CLI::App& command) {
    const auto options = std::make_shared<CompactOptions>();
    AddDatabase(command, options->database);
    AddJson(command, options->json);
    return Running(options, RunCompact);
}

}  // namespace orqmodel
