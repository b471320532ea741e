#pragma once

#include <filesystem>

#include "import/JsonText.h"
#include "mesh/Layup.h"
#include "mesh/ModelReader.h"

namespace orqmodel {

/// A file that puts layered sections on a mesh; docs/layup-file.md says how.
class LayupFile {
  public:
    /// Throws ImportError as ReadJsonText does.
    explicit LayupFile(std::filesystem::path file);

    const std::filesystem::path& Path() const { return m_file; }
    /// The layup over the sets of a mesh. Throws ImportError with all that is wrong in the file,
    /// each with its JSON pointer; from the 21st on only their number.
    Layup Over(const ModelReader& mesh) const;

  private:
    std::filesystem::path m_file;
    JsonText m_text;
};

}  // namespace orqmodel
