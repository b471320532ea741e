#include "import/MeshImporter.h"

#include <fmt/format.h>

#include <utility>

#include "ORQBasFailure.h"
#include "ORQSimTransaction.h"
#include "import/LayupFile.h"
#include "mesh/MeshWriter.h"
#include "mesh/ModelReader.h"

namespace orqmodel {

MeshImporter::MeshImporter(std::unique_ptr<MeshSource> source) : m_source(std::move(source)) {
    m_source->CheckLabels();
}

LossReport MeshImporter::Write(const ORQSimDatabase& database,
                               const ImportSettings& settings) const {
    const Layup* const own = m_source->Sections();
    if (settings.layup != nullptr && own != nullptr && !own->sections.empty()) {
        throw ORQBasFailure(ORQBasFailureKind::Usage,
                            fmt::format("--layup {}: the mesh has sections of its own, {} of them",
                                        settings.layup->Path().string(), own->sections.size()));
    }
    LossReport report;
    ORQSimTransaction transaction(database.ContextID());
    WriteMesh(*m_source, database, transaction,
              {settings.chunk_nodes, kElementsPerChunk, settings.progress}, report);
    if (settings.layup != nullptr) {
        const ORQObjDocument document(database);
        WriteSections(settings.layup->Over(ModelReader(document)), document, report);
    }
    transaction.Commit();
    return report;
}

}  // namespace orqmodel
