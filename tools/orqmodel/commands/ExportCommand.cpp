#include "commands/ExportCommand.h"

#include <nlohmann/json.hpp>

#include "ORQExcFormats.h"
#include "ORQObjDocument.h"
#include "queries/OpenModel.h"
#include "terminal/ReportJson.h"
#include "terminal/ReportText.h"

namespace orqmodel {

ExitStatus RunExport(const ExportOptions& options, const Console& console) {
    ORQExcExporter exporter(options.output, options.force);
    const ORQExcModel model{ORQObjDocument(OpenModel(options.database))};
    const ORQExcReport report = exporter.Write(model, ORQExcResults(model.Document()));
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
                                {"report", ToJson(report)}});
    } else {
        console.out << ORQExcPrintable(options.database) << " -> "
                    << ORQExcPrintable(options.output.string()) << " (" << exporter.Format()
                    << ")\n";
        PrintReport(report, options.verbose, console.out);
    }
    if (isRefused) {
        console.err << "orqmodel: nothing was exported: --strict, and some content would be "
                       "dropped\n";
    }
    return isRefused ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace orqmodel
