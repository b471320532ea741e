#pragma once

#include <memory>

#include "ORQExcImporter.h"
#include "ORQExcMeshSource.h"

namespace orq::exchange {

/// Imports what a mesh source delivers, in one transaction.
class MeshImporter : public ORQExcImporter {
  public:
    /// Throws ORQExcImportError for a label that is given twice.
    MeshImporter(std::unique_ptr<ORQExcMeshSource> source, const std::filesystem::path& file);

    std::string_view Format() const override { return m_source->Format(); }
    ORQExcReport Write(const ORQSimDatabase& database,
                       const ORQExcImportSettings& settings) const override;

  private:
    std::unique_ptr<ORQExcMeshSource> m_source;
};

}  // namespace orq::exchange
