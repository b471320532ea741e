/// The file formats that models are read from and written to.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"
#include "ORQBasStaged.h"
#include "ORQExcCarriedResults.h"
#include "ORQExcImporter.h"
#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"

struct ORQExcFormat {
    std::string_view name;                  ///< for example "Exodus II"
    std::vector<std::string_view> endings;  ///< in lower case, with the dot
    bool isRead;
    bool isWritten;
};

/// All that are known. Names and endings live as long as the process.
ORQ_EXPORT std::vector<ORQExcFormat> ORQExcFormats();

namespace orq::exchange {
struct FormatRow;
}

/// Writes a model to a file, out of sight until it is whole.
///
///   ORQExcExporter exporter("wing.vtu", false);
///   const ORQExcReport report = exporter.Write(model, results);
///   exporter.PutIntoPlace();
class ORQ_EXPORT ORQExcExporter {
  public:
    /// The output's ending, in whatever case, chooses the format. Throws ORQBasFailure (Usage) for
    /// an ending of no format that is written, and when the name is taken, unless `mayReplace`.
    ORQExcExporter(const std::filesystem::path& output, bool mayReplace);

    /// The name of the format.
    std::string_view Format() const;
    /// Writes beside the output's place and answers what became of each object. Throws
    /// ORQExcExportError. `progress` is called with 0 to 1, between times at the least; what it
    /// throws ends the writing.
    ORQExcReport Write(
        const ORQExcModel& model, const ORQExcResults& results, ORQExcCarrying carrying = {},
        const std::function<void(double)>& progress = [](double) {});
    /// Gives what was written the output's name. Without this nothing is left. Throws ORQBasFailure
    /// (Io); what had the name is then still there.
    void PutIntoPlace();

  private:
    std::filesystem::path m_output;
    const orq::exchange::FormatRow& m_format;
    bool m_mayReplace;
    ORQBasStaged m_file;
    std::optional<ORQBasStaged> m_folder;  // of the formats with a file for each time
};
