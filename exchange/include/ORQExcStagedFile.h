#pragma once

#include <filesystem>

#include "ORQBasExport.h"

/// A file, or a folder of files, beside the output's place that is removed unless it is put into
/// that place.
class ORQ_EXPORT ORQExcStagedFile {
  public:
    /// Throws Usage when something has the output's name already, unless `force`.
    ORQExcStagedFile(const std::filesystem::path& output, bool force);
    ~ORQExcStagedFile();
    ORQExcStagedFile(const ORQExcStagedFile&) = delete;
    ORQExcStagedFile& operator=(const ORQExcStagedFile&) = delete;

    const std::filesystem::path& Path() const { return m_staged; }

    /// Makes the place that is staged a folder.
    void MakeFolder() const;
    /// Syncs what is staged and gives it the output's name, in place of what had it; throws
    /// ORQExcExportError.
    void PutIntoPlace();

  private:
    void Sync(const std::filesystem::path& path) const;

    std::filesystem::path m_output;
    std::filesystem::path m_staged;
};
