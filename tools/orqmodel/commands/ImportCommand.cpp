#include "commands/ImportCommand.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "ORQExcImporter.h"
#include "ORQExcLayupFile.h"
#include "ORQExcReport.h"
#include "ORQExcStagedTarget.h"
#include "ORQSimDatabase.h"
#include "terminal/InterruptGuard.h"
#include "terminal/ProgressBar.h"
#include "terminal/ReportJson.h"
#include "terminal/ReportText.h"

namespace orqmodel {
namespace {

ORQExcReport Build(const ORQExcImporter& importer, const std::string& directory,
                   const ORQExcImportSettings& settings) {
    ORQSimDatabase database = ORQSimDatabase::Create(directory);
    ORQExcReport report = importer.Write(database, settings);
    database.Close();
    return report;
}

void Print(const ImportOptions& options, const ORQExcImporter& importer, const ORQExcReport& report,
           bool isImported, std::ostream& out) {
    if (options.json) {
        PrintJson(out, {{"schema_version", 1},
                        {"command", "import"},
                        {"input", options.input.string()},
                        {"format", importer.Format()},
                        {"output", options.output.string()},
                        {"imported", isImported},
                        {"report", ToJson(report)}});
        return;
    }
    out << ORQExcPrintable(options.input.string()) << " (" << importer.Format() << ") -> "
        << ORQExcPrintable(options.output.string()) << '\n';
    PrintReport(report, options.verbose, out);
}

}  // namespace

ExitStatus RunImport(const ImportOptions& options, const Console& console) {
    ORQExcStagedTarget target(options.output, options.force);
    const auto importer = ORQExcOpenImporter(options.input);
    std::optional<ORQExcLayupFile> layup;
    if (!options.layup.empty()) {
        layup.emplace(options.layup);
    }
    const InterruptGuard interrupts;
    ORQExcReport report;
    {
        ProgressBar bar(console, "importing");
        const auto show = [&](double done) {
            interrupts.Check();
            bar.Show(done);
        };
        report =
            Build(*importer, target.Begin(), {options.chunkNodes, show, layup ? &*layup : nullptr});
    }
    interrupts.Check();
    const bool isRefused = options.strict && (report.HasDrops() || report.HasFindings());
    if (!isRefused) {
        target.PutIntoPlace();
    }
    Print(options, *importer, report, !isRefused, console.out);
    if (isRefused) {
        console.err << "orqmodel: nothing was imported: --strict, and some content "
                    << (report.HasDrops() ? "would be dropped" : "is wrong in the file") << '\n';
    }
    return isRefused || report.HasFindings() ? ExitStatus::Findings : ExitStatus::Done;
}

}  // namespace orqmodel
