#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "ORQBasFailure.h"
#include "ORQExcFormats.h"
#include "ORQObjDocument.h"
#include "commands/Arguments.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"
#include "terminal/ReportJson.h"

namespace orqmodel {
namespace {

struct ExportOptions {
    std::string database;
    std::filesystem::path output;  // Its ending names the format.
    std::string at;                // As stored when empty; else centroid or nodes.
    bool acrossBorders = false;    // Of values at nodes.
    bool force = false;            // Replace a file that has the name.
    bool strict = false;           // Write nothing when something would be dropped.
    bool json = false;
};

ORQExcCarrying CarryingFrom(const ExportOptions& options) {
    ORQExcCarrying carrying{{}, options.acrossBorders};
    if (options.at == "nodes") {
        carrying.to = ORQExcElementValues::To::Nodes;
    } else if (options.at == "centroid") {
        carrying.to = ORQExcElementValues::To::Middles;
    }
    if (options.acrossBorders && options.at != "nodes") {
        ORQBasThrowUsage("--across-borders: only values --at nodes are averaged");
    }
    return carrying;
}

/// Exports a model database to a file and prints what was kept, changed and dropped. On any
/// failure, and when `strict` finds a drop (ExitStatus::Findings), the output's name is as it was
/// before. Throws ORQExcExportError and ORQBasFailure.
ExitStatus RunExport(const ExportOptions& options, const Console& console) {
    const ORQExcCarrying carrying = CarryingFrom(options);
    ORQExcExporter exporter(options.output, options.force);
    const ORQExcModel model{ORQObjDocument(OpenModel(options.database))};
    const ORQExcReport report = WhileShown(console, "exporting", [&] {
        return exporter.Write(model, ORQExcResults(model.Document()), carrying);
    });
    const bool isRefused = options.strict && report.HasDrops();
    if (!isRefused) {
        exporter.PutIntoPlace();
    }
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "export"},
                                {"input", options.database},
                                {"format", exporter.Format()},
                                {"output", options.output.string()},
                                {"exported", !isRefused},
                                {"report", ReportToJson(report)}});
    } else if (!console.IsQuiet()) {
        console.out << ORQExcPrintable(options.database) << " -> "
                    << ORQExcPrintable(options.output.string()) << " (" << exporter.Format()
                    << ")\n";
        console.IsVerbose() ? report.Print(console.out) : report.PrintSummary(console.out);
    }
    if (isRefused) {
        console.err << "orqmodel: nothing was exported: --strict, and some content would be "
                       "dropped\n";
    }
    return isRefused ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace

SubcommandRun DeclareExport(CLI::App& command) {
    const auto options = std::make_shared<ExportOptions>();
    AddDatabase(command, options->database);
    command
        .add_option("-o,--output", options->output,
                    "The file to write; its ending names the format")
        ->required();
    command
        .add_option("--at", options->at,
                    "Values of elements: points as stored; centroid or nodes: extrapolated, at "
                    "nodes averaged over the elements of a block and section, and fields of nodes")
        ->check(OneOf({"points", "centroid", "nodes"}));
    command.add_flag("--across-borders", options->acrossBorders,
                     "With --at nodes: one average over all blocks and sections");
    command.add_flag("--force", options->force, "Replace a file of that name");
    command.add_flag("--strict", options->strict,
                     "Write nothing, and exit with status 1, when content would be dropped");
    AddJson(command, options->json);
    return Reading(options, RunExport, &ExportOptions::database);
}

}  // namespace orqmodel
