#include "ExportCommand.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "LossReport.h"
#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "export/ExodusExport.h"
#include "export/StagedFile.h"
#include "export/VtuExport.h"
#include "mesh/ModelReader.h"

namespace orqmodel {
namespace {

struct OutputFormat {
    const char* name;
    std::vector<std::string_view> endings;
    void (*write)(const ModelReader&, const std::filesystem::path&, LossReport&);
};

const std::array<OutputFormat, 2>& OutputFormats() {
    static const std::array<OutputFormat, 2> formats = {{
        {"Exodus II", {".e", ".ex2", ".exo", ".exodus", ".g", ".gen"}, WriteExodus},
        {"VTK unstructured grid", {".vtu"}, WriteVtu},
    }};
    return formats;
}

const OutputFormat& FormatOf(const std::filesystem::path& file) {
    const std::string ending = file.extension().string();
    std::string known;
    for (const OutputFormat& format : OutputFormats()) {
        for (const auto candidate : format.endings) {
            if (candidate == ending)
                return format;
            known.append(" ").append(candidate);
        }
    }
    throw ORQBasFailure(ORQBasFailureKind::Usage,
                        file.string() + ": is of no format that can be written; endings:" + known);
}

}  // namespace

ExitStatus RunExport(const ExportOptions& options, const Console& console) {
    const OutputFormat& format = FormatOf(options.output);
    StagedFile file(options.output, options.force);
    const ModelReader model{
        ORQObjDocument(ORQSimDatabase::Open(options.database, ORQSimDatabase::Mode::ReadOnly))};
    LossReport report;
    format.write(model, file.Path(), report);
    const bool is_refused = options.strict && report.HasDrops();
    if (!is_refused)
        file.PutIntoPlace();
    if (options.json) {
        PrintJson(console.out, {{"schema_version", 1},
                                {"command", "export"},
                                {"input", options.database},
                                {"format", format.name},
                                {"output", options.output.string()},
                                {"exported", !is_refused},
                                {"report", report.ToJson()}});
    } else {
        console.out << Printable(options.database) << " -> " << Printable(options.output.string())
                    << " (" << format.name << ")\n";
        report.Print(console.out);
    }
    if (is_refused)
        console.err << "orqmodel: nothing was exported: --strict, and some content would be "
                       "dropped\n";
    return is_refused ? ExitStatus::kFindings : ExitStatus::kDone;
}

}  // namespace orqmodel
