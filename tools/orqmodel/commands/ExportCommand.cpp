#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "ORQExcFormats.h"
#include "ORQObjDocument.h"
#include "commands/Arguments.h"
#include "queries/OpenModel.h"
#include "terminal/ProgressBar.h"
#include "terminal/ReportJson.h"
#include "terminal/ReportText.h"

namespace orqmodel {
namespace {

struct ExportOptions {
    std::string database;
    std::filesystem::path output;  // Its ending names the format.
    bool force = false;            // Replace a file that has the name.
    bool strict = false;           // Write nothing when something would be dropped.
    bool json = false;
};

/// Exports a model database to a file and prints what was kept, changed and dropped. On any
/// failure, and when `strict` finds a drop (ExitStatus::Findings), the output's name is as it was
/// before. Throws ORQExcExportError and ORQBasFailure.
ExitStatus RunExport(const ExportOptions& options, const Console& console) {
    ORQExcExporter exporter(options.output, options.force);
    const ORQExcModel model{ORQObjDocument(OpenModel(options.database))};
    const ORQExcReport report = WhileShown(console, "exporting", [&] {
        return exporter.Write(model, ORQExcResults(model.Document()));
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
        PrintReport(report, console.IsVerbose(), console.out);
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
    command.add_flag("--force", options->force, "Replace a file of that name");
    command.add_flag("--strict", options->strict,
                     "Write nothing, and exit with status 1, when content would be dropped");
    AddJson(command, options->json);
    return Reading(options, RunExport, &ExportOptions::database);
}

}  // namespace orqmodel
