#include "import/MeshImporter.h"

#include <utility>

#include "ORQSimTransaction.h"
#include "mesh/MeshWriter.h"

namespace orqmodel {

MeshImporter::MeshImporter(std::unique_ptr<MeshSource> source) : m_source(std::move(source)) {
    m_source->CheckLabels();
}

LossReport MeshImporter::Write(const ORQSimDatabase& database,
                               const ImportSettings& settings) const {
    LossReport report;
    ORQSimTransaction transaction(database.ContextID());
    WriteMesh(*m_source, database, transaction,
              {settings.chunk_nodes, kElementsPerChunk, settings.progress}, report);
    transaction.Commit();
    return report;
}

}  // namespace orqmodel
