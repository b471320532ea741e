#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "ORQExcImporter.h"
#include "ORQExcModel.h"
#include "ORQExcReport.h"
#include "ORQExcResults.h"
#include "files/Output.h"

namespace orq::exchange {

/// One file format. A new one is a folder with its reader or writer, and a row of the table.
struct FormatRow {
    std::string_view name;
    std::vector<std::string_view> endings;     ///< in lower case, with the dot
    std::vector<std::string_view> beginnings;  ///< of the contents, for files of other endings
    /// Null for a format that is not read. Throws ORQExcImportError.
    std::unique_ptr<ORQExcImporter> (*open)(const std::filesystem::path& file);
    /// Null for a format that is not written. Throws ORQExcExportError.
    void (*write)(const ORQExcModel& model, const ORQExcResults& results, const Output& output,
                  ORQExcReport& report);
    bool hasFolder = false;  ///< whether it is written with an Output::folder
};

std::span<const FormatRow> FormatTable();

}  // namespace orq::exchange
