#pragma once

#include "import/ExodusReader.h"
#include "import/Importer.h"

namespace orqmodel {

/// Takes title, nodes, coordinates and node labels from an Exodus II file, as the one instance
/// PART-1; all else that the file holds is dropped. A model in one dimension lies along x in the
/// plane. Holds about 3 MB of coordinates at a time, and some 24 bytes for each label.
class ExodusImporter : public Importer {
  public:
    /// Throws for a file that cannot be read and for a label given twice.
    explicit ExodusImporter(const std::filesystem::path& file);

    std::string_view Format() const override { return "Exodus II"; }
    LossReport Write(const ORQSimDatabase& database, const ImportSettings& settings) const override;

  private:
    ExodusReader reader_;
};

}  // namespace orqmodel
