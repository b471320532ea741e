// Importing and exporting files of other programs.
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ModelHandle.h"
#include "ORQExcFormats.h"
#include "ORQExcImporter.h"
#include "ORQExcLayupFile.h"
#include "ORQExcMeshWriter.h"
#include "ORQExcOutcomes.h"
#include "ORQExcResultsMap.h"
#include "ORQExcStagedTarget.h"

namespace orqmodel {
namespace {

struct ImportOptions {
    std::string layup;
    std::string resultsMap;
};

const char* NameOf(ORQExcOutcome outcome) {
    for (const auto& [known, name] : kORQExcOutcomes) {
        if (known == outcome) {
            return name;
        }
    }
    return "";
}

ORQExcOutcome OutcomeNamed(const std::string& name) {
    for (const auto& [outcome, known] : kORQExcOutcomes) {
        if (known == name) {
            return outcome;
        }
    }
    throw py::value_error("there is no outcome \"" + name + "\"");
}

/// (outcome, kind, name, count, reason)
using ReportRow = std::tuple<std::string, std::string, std::string, std::int64_t, std::string>;

/// A ReportRow of every entry.
py::list ToPython(const ORQExcReport& report) {
    py::list list;
    for (const ORQExcReportEntry& entry : report.Entries()) {
        list.append(py::make_tuple(NameOf(entry.outcome), entry.kind, entry.name, entry.count,
                                   entry.reason));
    }
    return list;
}

/// Rows of ToPython on one screen.
std::string SummaryOf(const std::vector<ReportRow>& rows) {
    ORQExcReport report;
    for (const auto& [outcome, kind, name, count, reason] : rows) {
        report.Add(OutcomeNamed(outcome), kind, name, count, reason);
    }
    std::ostringstream text;
    report.PrintSummary(text);
    return text.str();
}

ORQExcReport Import(const std::string& input, const ORQSimDatabase& database,
                    const ImportOptions& options, const std::function<void(double)>& progress) {
    const auto importer = ORQExcOpenImporter(input);
    std::optional<ORQExcLayupFile> layup;
    if (!options.layup.empty()) {
        layup.emplace(options.layup);
    }
    std::optional<ORQExcResultsMap> map;
    if (!options.resultsMap.empty()) {
        map.emplace(options.resultsMap);
    }
    return importer->Write(
        database, {kNodesPerChunk, progress, layup ? &*layup : nullptr, map ? &*map : nullptr});
}

/// Makes a database of a file. With `strict` it has no name in the end where something was dropped
/// or is wrong; the answer is whether it has.
std::pair<bool, py::list> ImportInto(const std::string& input, const std::string& output,
                                     const ImportOptions& options, bool strict, bool mayReplace,
                                     const py::object& progress) {
    bool isMade = false;
    const ORQExcReport report = InLibrary([&] {
        const auto show = ProgressTo(progress);
        ORQExcStagedTarget target(output, mayReplace);
        ORQSimDatabase database = ORQSimDatabase::Create(target.Begin());
        ORQExcReport made = Import(input, database, options, show);
        database.Close();
        isMade = !strict || !(made.HasDrops() || made.HasFindings());
        if (isMade) {
            target.PutIntoPlace();
        }
        return made;
    });
    return {isMade, ToPython(report)};
}

/// Writes an open model to a file; as ImportInto.
std::pair<bool, py::list> ExportFrom(ModelHandle& handle, const std::string& output, bool strict,
                                     bool mayReplace, const py::object& progress) {
    bool isMade = false;
    const ORQExcReport report = InLibrary([&] {
        const ModelHandle::InUse inUse(handle);
        ORQExcExporter exporter(output, mayReplace);
        ORQExcReport made =
            exporter.Write(handle.Model(), handle.Results(), {}, ProgressTo(progress));
        isMade = !strict || !made.HasDrops();
        if (isMade) {
            exporter.PutIntoPlace();
        }
        return made;
    });
    return {isMade, ToPython(report)};
}

/// A model in memory of a file.
std::pair<HandlePtr, py::list> ImportToMemory(const std::string& input,
                                              const ImportOptions& options,
                                              const py::object& progress) {
    ORQExcReport report;
    HandlePtr handle = InLibrary([&] {
        const ORQSimDatabase database = ORQSimDatabase::CreateInMemory();
        report = Import(input, database, options, ProgressTo(progress));
        return HandlePtr(new ModelHandle(database));
    });
    return {std::move(handle), ToPython(report)};
}

/// (name, endings, whether it is read, written) of every format.
py::list Formats() {
    py::list list;
    for (const ORQExcFormat& format : ORQExcFormats()) {
        py::list endings;
        for (const std::string_view ending : format.endings) {
            endings.append(py::str(std::string(ending)));
        }
        list.append(py::make_tuple(std::string(format.name), py::tuple(endings), format.isRead,
                                   format.isWritten));
    }
    return list;
}

}  // namespace

void DefineConvert(py::module_& module) {
    module.def("formats", &Formats);
    module.def("report_summary", &SummaryOf);
    module.def("import_into", [](const std::string& input, const std::string& output,
                                 const std::string& layup, const std::string& resultsMap,
                                 bool strict, bool mayReplace, const py::object& progress) {
        return ImportInto(input, output, {layup, resultsMap}, strict, mayReplace, progress);
    });
    module.def("import_to_memory", [](const std::string& input, const std::string& layup,
                                      const std::string& resultsMap, const py::object& progress) {
        return ImportToMemory(input, {layup, resultsMap}, progress);
    });
    module.def("export_from", &ExportFrom);
}

}  // namespace orqmodel
