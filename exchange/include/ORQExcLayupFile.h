#pragma once

#include <filesystem>
#include <memory>

#include "ORQBasExport.h"
#include "ORQExcLayup.h"
#include "ORQExcModel.h"

namespace orq::exchange {
struct JsonText;
}

/// A file that puts layered sections on a mesh; docs/layup-file.md says how.
class ORQ_EXPORT ORQExcLayupFile {
  public:
    /// Throws ORQExcImportError as ReadJsonText does.
    explicit ORQExcLayupFile(std::filesystem::path file);

    const std::filesystem::path& Path() const { return m_file; }
    /// The layup over the sets of a mesh. Throws ORQExcImportError with all that is wrong in the
    /// file, each with its JSON pointer; from the 21st on only their number.
    ORQExcLayup Over(const ORQExcModel& mesh) const;

  private:
    std::filesystem::path m_file;
    std::shared_ptr<const orq::exchange::JsonText> m_text;
};
