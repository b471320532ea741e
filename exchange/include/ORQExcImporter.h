#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string_view>

#include "ORQBasExport.h"
#include "ORQExcReport.h"

class ORQSimDatabase;

class ORQExcLayupFile;
class ORQExcResultsMap;

struct ORQExcImportSettings {
    int chunkNodes;  // At least 1: the most nodes whose coordinates are stored as one piece.
    std::function<void(double)> progress;  // Called with 0 to 1; may throw to give up.
    /// Puts sections on a mesh that has none; null for none. The caller keeps it.
    const ORQExcLayupFile* layup = nullptr;
    /// Says which results are points and layers of one field; null for none. The caller keeps it.
    const ORQExcResultsMap* resultsMap = nullptr;
};

/// An input file, opened and checked as far as that goes without reading all of it.
class ORQ_EXPORT ORQExcImporter {
  public:
    virtual ~ORQExcImporter() = default;

    /// For example "Exodus II".
    virtual std::string_view Format() const = 0;

    /// Writes the model into an empty database, in one transaction, and answers what became of each
    /// object. Throws ORQExcImportError about the file or the layup, and ORQBasFailure
    /// about the database and (Usage) about a layup for a file that has sections itself.
    virtual ORQExcReport Write(const ORQSimDatabase& database,
                               const ORQExcImportSettings& settings) const = 0;
};

/// Opens a file in the format that its ending names or, where that says nothing, its first bytes.
/// Throws ORQExcImportError.
ORQ_EXPORT std::unique_ptr<ORQExcImporter> ORQExcOpenImporter(const std::filesystem::path& file);
