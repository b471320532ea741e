#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "ORQExcImporter.h"
#include "ORQExcLayupFile.h"
#include "ORQExcMeshWriter.h"
#include "ORQExcReport.h"
#include "ORQExcResultsMap.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"
#include "commands/Arguments.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"
#include "terminal/ReportJson.h"

namespace orqmodel {
namespace {

struct ImportOptions {
    std::filesystem::path input;
    std::filesystem::path output;
    std::filesystem::path layup;       // Puts sections on the mesh; empty for none.
    std::filesystem::path resultsMap;  // Says what names of results do not; empty for none.
    int chunkNodes = kNodesPerChunk;   // At least 1.
    bool force = false;                // Replace a model database that has the name.
    bool strict = false;               // Import nothing when something would be dropped.
    bool json = false;
};

ORQExcReport Build(const ORQExcImporter& importer, const std::string& directory,
                   const ORQExcImportSettings& settings) {
    ORQSimDatabase database = ORQSimDatabase::Create(directory);
    ORQExcReport report = importer.Write(database, settings);
    database.Close();
    return report;
}

void Print(const ImportOptions& options, const ORQExcImporter& importer, const ORQExcReport& report,
           bool isImported, const Console& console) {
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "import"},
                                {"input", options.input.string()},
                                {"format", importer.Format()},
                                {"output", options.output.string()},
                                {"imported", isImported},
                                {"report", ReportToJson(report)}});
        return;
    }
    console.out << ORQExcPrintable(options.input.string()) << " (" << importer.Format() << ") -> "
                << ORQExcPrintable(options.output.string()) << '\n';
    console.IsVerbose() ? report.Print(console.out) : report.PrintSummary(console.out);
}

/// Imports a file into a new model database and prints what was kept, changed and dropped. On any
/// failure, when interrupted, and when `strict` finds a drop (ExitStatus::Findings), the output's
/// name is as it was before. Throws ORQExcImportError, ORQBasFailure and Interrupted.
ExitStatus RunImport(const ImportOptions& options, const Console& console) {
    // A name that cannot be had is refused before the file is read.
    ORQExcStagedTarget target(options.output, options.force);
    const auto importer = ORQExcOpenImporter(options.input);
    std::optional<ORQExcLayupFile> layup;
    if (!options.layup.empty()) {
        layup.emplace(options.layup);
    }
    std::optional<ORQExcResultsMap> resultsMap;
    if (!options.resultsMap.empty()) {
        resultsMap.emplace(options.resultsMap);
    }
    const InterruptGuard interrupts;
    ORQExcReport report;
    {
        ProgressBar bar(console, "importing");
        const auto show = [&](double done) {
            interrupts.Check();
            bar.Show(done);
        };
        report = Build(*importer, target.Begin(),
                       {options.chunkNodes, show, layup ? &*layup : nullptr,
                        resultsMap ? &*resultsMap : nullptr});
    }
    // A signal since the last progress; from PutIntoPlace on, there is no way back.
    interrupts.Check();
    // Only the whole import shows what would be dropped; a refused one is removed with its folder.
    const bool isRefused = options.strict && (report.HasDrops() || report.HasFindings());
    if (!isRefused) {
        target.PutIntoPlace();
    }
    if (options.json || !console.IsQuiet()) {
        Print(options, *importer, report, !isRefused, console);
    }
    if (isRefused) {
        console.err << "orqmodel: nothing was imported: --strict, and some content "
                    << (report.HasDrops() ? "would be dropped" : "is wrong in the file") << '\n';
    }
    return isRefused || report.HasFindings() ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareImport(CLI::App& command) {
    const auto options = std::make_shared<ImportOptions>();
    command.add_option("FILE", options->input, "The mesh file")->required();
    command.add_option("-o,--output", options->output, "The model database to make, NAME.orq")
        ->required();
    command.add_option("--layup", options->layup,
                       "A layup file (JSON) that puts layered sections on the mesh");
    command.add_option("--results-map", options->resultsMap,
                       "A file (JSON) that says which results are points and layers of one field");
    command
        .add_option("--chunk-nodes", options->chunkNodes,
                    "The most nodes whose coordinates are stored as one piece")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
    command.add_flag("--force", options->force, "Replace a model database of that name");
    command.add_flag("--strict", options->strict,
                     "Import nothing, and exit with status 1, when content would be dropped");
    AddJson(command, options->json);
    return Running(options, RunImport);
}

}  // namespace orqmodel
