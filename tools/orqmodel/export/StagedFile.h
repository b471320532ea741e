#pragma once

#include <filesystem>

namespace orqmodel {

/// A file, or a folder of files, beside the output's place that is removed unless it is put into
/// that place.
class StagedFile {
  public:
    /// Throws Usage when something has the output's name already, unless `force`.
    StagedFile(const std::filesystem::path& output, bool force);
    ~StagedFile();
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;

    const std::filesystem::path& Path() const { return m_staged; }

    /// Makes the place that is staged a folder.
    void MakeFolder() const;
    /// Syncs what is staged and gives it the output's name, in place of what had it; throws
    /// ExportError.
    void PutIntoPlace();

  private:
    void Sync(const std::filesystem::path& path) const;

    std::filesystem::path m_output;
    std::filesystem::path m_staged;
};

}  // namespace orqmodel
