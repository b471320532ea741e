#include "formats/MeshImporter.h"

#include <fmt/format.h>

#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcLayupFile.h"
#include "ORQExcMeshWriter.h"
#include "ORQExcModel.h"
#include "ORQSimTransaction.h"
#include "model/LayersOfResults.h"

namespace orq::exchange {

MeshImporter::MeshImporter(std::unique_ptr<ORQExcMeshSource> source,
                           const std::filesystem::path& file)
    : m_source(std::move(source)) {
    m_source->CheckLabels(file);
}

ORQExcReport MeshImporter::Write(const ORQSimDatabase& database,
                                 const ORQExcImportSettings& settings) const {
    const ORQExcLayup* const own = m_source->Sections();
    if (settings.layup != nullptr && own != nullptr && !own->sections.empty()) {
        ORQBasThrowUsage(fmt::format("layup {}: the mesh has sections of its own, {} of them",
                                     settings.layup->Path().string(), own->sections.size()));
    }
    ORQExcReport report;
    ORQSimTransaction transaction(database.ContextID());
    ORQExcWriteMesh(
        *m_source, database, transaction,
        {settings.chunkNodes, kElementsPerChunk, settings.progress, settings.resultsMap}, report);
    const ORQObjDocument document(database);
    if (settings.layup != nullptr) {
        ORQExcWriteSections(settings.layup->Over(ORQExcModel(document)), document, report);
    }
    FindLayersAboveSections(document, report);
    transaction.Commit();
    return report;
}

}  // namespace orq::exchange
