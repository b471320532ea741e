#include "ImportCommand.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "InterruptGuard.h"
#include "LossReport.h"
#include "ORQSimDatabase.h"
#include "ProgressBar.h"
#include "import/Importer.h"
#include "import/LayupFile.h"
#include "import/StagedTarget.h"

namespace orqmodel {
namespace {

LossReport Build(const Importer& importer, const std::string& directory,
                 const ImportSettings& settings) {
    ORQSimDatabase database = ORQSimDatabase::Create(directory);
    LossReport report = importer.Write(database, settings);
    database.Close();
    return report;
}

void Print(const ImportOptions& options, const Importer& importer, const LossReport& report,
           bool is_imported, std::ostream& out) {
    if (options.json) {
        PrintJson(out, {{"schema_version", 1},
                        {"command", "import"},
                        {"input", options.input.string()},
                        {"format", importer.Format()},
                        {"output", options.output.string()},
                        {"imported", is_imported},
                        {"report", report.ToJson()}});
        return;
    }
    out << Printable(options.input.string()) << " (" << importer.Format() << ") -> "
        << Printable(options.output.string()) << '\n';
    report.Print(out);
}

}  // namespace

ExitStatus RunImport(const ImportOptions& options, const Console& console) {
    StagedTarget target(options.output, options.force);
    const auto importer = OpenImporter(options.input);
    std::optional<LayupFile> layup;
    if (!options.layup.empty())
        layup.emplace(options.layup);
    const InterruptGuard interrupts;
    LossReport report;
    {
        ProgressBar bar(console, "importing");
        const auto show = [&](double done) {
            interrupts.Check();
            bar.Show(done);
        };
        report = Build(*importer, target.Begin(),
                       {options.chunk_nodes, show, layup ? &*layup : nullptr});
    }
    interrupts.Check();
    const bool is_refused = options.strict && report.HasDrops();
    if (!is_refused)
        target.PutIntoPlace();
    Print(options, *importer, report, !is_refused, console.out);
    if (is_refused)
        console.err << "orqmodel: nothing was imported: --strict, and some content would be "
                       "dropped\n";
    return is_refused ? ExitStatus::kFindings : ExitStatus::kDone;
}

}  // namespace orqmodel
