#include "ImportCommand.h"

#include <nlohmann/json.hpp>

#include "InterruptGuard.h"
#include "LossReport.h"
#include "ORQSimDatabase.h"
#include "ProgressBar.h"
#include "import/Importer.h"
#include "import/StagedTarget.h"

namespace orqmodel {
namespace {

LossReport Build(const Importer& importer, const std::string& directory, int chunk_nodes,
                 const std::function<void(double)>& progress) {
    ORQSimDatabase database = ORQSimDatabase::Create(directory);
    LossReport report = importer.Write(database, {chunk_nodes, progress});
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
    const InterruptGuard interrupts;
    LossReport report;
    {
        ProgressBar bar(console, "importing");
        report = Build(*importer, target.Begin(), options.chunk_nodes, [&](double done) {
            interrupts.Check();
            bar.Show(done);
        });
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
