#include "ExportCommand.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <optional>

#include "LossReport.h"
#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "OpenModel.h"
#include "export/BulkDataExport.h"
#include "export/ExodusExport.h"
#include "export/StagedFile.h"
#include "export/VtuExport.h"
#include "mesh/ModelReader.h"
#include "mesh/ResultReader.h"

namespace orqmodel {
namespace {

struct OutputFormat {
    const char* name;
    std::vector<std::string_view> endings;
    void (*write)(const ModelReader&, const ResultReader&, const std::filesystem::path&,
                  LossReport&);
    bool hasFolder = false;  // of files, that the one with the output's name lists
};

void WriteMeshAsBulkData(const ModelReader& model, const ResultReader& results,
                         const std::filesystem::path& file, LossReport& report) {
    WriteBulkData(model, file, report);
    if (!results.Frames().empty())
        report.Drop("times", "", static_cast<std::int64_t>(results.Frames().size()),
                    "bulk data has no results");
}

const std::array<OutputFormat, 4>& OutputFormats() {
    static const std::array<OutputFormat, 4> formats = {{
        {"Exodus II", {".e", ".ex2", ".exo", ".exodus", ".g", ".gen"}, WriteExodus},
        {"NASTRAN bulk data", {".bdf", ".dat", ".nas"}, WriteMeshAsBulkData},
        {"VTK unstructured grid", {".vtu"}, WriteVtu},
        {"VTK unstructured grids by time", {".pvd"}, nullptr, true},
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
    const ModelReader model{ORQObjDocument(OpenModel(options.database))};
    const ResultReader results(model.Document());
    LossReport report;
    std::optional<StagedFile> folder;
    if (format.hasFolder) {
        std::filesystem::path place = options.output;
        place.replace_extension(".times");
        folder.emplace(place, options.force);
        folder->MakeFolder();
        WriteVtuCollection(model, results, file.Path(), folder->Path(), place.filename().string(),
                           report);
    } else {
        format.write(model, results, file.Path(), report);
    }
    const bool is_refused = options.strict && report.HasDrops();
    if (!is_refused) {
        if (folder)
            folder->PutIntoPlace();
        file.PutIntoPlace();
    }
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
