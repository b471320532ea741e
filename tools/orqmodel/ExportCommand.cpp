#include "ExportCommand.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "LossReport.h"
#include "ORQBasFailure.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "export/BulkDataExport.h"
#include "export/ExodusExport.h"
#include "export/ExportError.h"
#include "export/VtuExport.h"
#include "mesh/ModelReader.h"

namespace orqmodel {
namespace {

struct OutputFormat {
    const char* name;
    std::vector<std::string_view> endings;
    void (*write)(const ModelReader&, const std::filesystem::path&, LossReport&);
};

const std::array<OutputFormat, 3>& OutputFormats() {
    static const std::array<OutputFormat, 3> formats = {{
        {"Exodus II", {".e", ".ex2", ".exo", ".exodus", ".g", ".gen"}, WriteExodus},
        {"NASTRAN bulk data", {".bdf", ".dat", ".nas"}, WriteBulkData},
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

/// A file beside the output's place that is removed unless it is put into that place.
class StagedFile {
  public:
    StagedFile(const std::filesystem::path& output, bool force) : output_(output) {
        if (!force && std::filesystem::exists(std::filesystem::symlink_status(output)))
            throw ORQBasFailure(ORQBasFailureKind::Usage,
                                output.string() + ": exists already; --force replaces it");
        staged_ = output;
        staged_ += ".export-" + std::to_string(getpid());
    }
    ~StagedFile() {
        std::error_code ignored;
        std::filesystem::remove(staged_, ignored);
    }
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    const std::filesystem::path& Path() const { return staged_; }

    void PutIntoPlace() {
        const int file = open(staged_.c_str(), O_RDONLY | O_CLOEXEC);
        const bool is_safe = file >= 0 && fsync(file) == 0;
        if (file >= 0)
            close(file);
        if (!is_safe)
            throw ExportError(output_.string() + ": cannot be synced");
        std::filesystem::rename(staged_, output_);
    }

  private:
    std::filesystem::path output_;
    std::filesystem::path staged_;
};

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
