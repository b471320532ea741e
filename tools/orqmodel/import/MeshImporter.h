#pragma once

#include <memory>

#include "import/Importer.h"
#include "mesh/MeshSource.h"

namespace orqmodel {

/// Imports what a mesh source delivers, in one transaction.
class MeshImporter : public Importer {
  public:
    /// Throws ImportError for a label that is given twice.
    explicit MeshImporter(std::unique_ptr<MeshSource> source);

    std::string_view Format() const override { return m_source->Format(); }
    LossReport Write(const ORQSimDatabase& database, const ImportSettings& settings) const override;

  private:
    std::unique_ptr<MeshSource> m_source;
};

}  // namespace orqmodel
