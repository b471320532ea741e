#pragma once

#include <functional>

#include "ORQBasExport.h"
#include "ORQExcMeshSource.h"
#include "ORQExcReport.h"
#include "ORQExcResultsMap.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"

/// Multiples of 1024, so that whole chunks fill pages of 4096 bytes and can be mapped one behind the
/// other (ORQSimMapping).
inline constexpr int kNodesPerChunk = 102400;
inline constexpr int kElementsPerChunk = 102400;

struct ORQExcMeshWriterOptions {
    int nodesPerChunk = kNodesPerChunk;        ///< at least 1
    int elementsPerChunk = kElementsPerChunk;  ///< at least 1
    /// Called with numbers from 0 to 1; may throw to give up.
    std::function<void(double)> progress = [](double) {};
    const ORQExcResultsMap* resultsMap = nullptr;  ///< says more of names of results
};

/// Writes a whole mesh into an empty database, as the standard objects that readers expect: one
/// instance PART-1 with the labels, coordinates, one connectivity drawer for each element shape,
/// blocks and their element sets, element classes, node sets, element sets, surfaces and the
/// tributary areas of their nodes, sections and results. Bulk data passes in blocks through the
/// services.
///
/// What was kept, renamed or dropped is entered into the report. REQUIRES: an open transaction,
/// which can only be undone when this throws.
ORQ_EXPORT void ORQExcWriteMesh(ORQExcMeshSource& source, const ORQSimDatabase& database,
                                ORQSimTransaction& transaction,
                                const ORQExcMeshWriterOptions& options, ORQExcReport& report);

/// Adds a layup to a mesh that was written without one, and enters what it holds into the report.
/// REQUIRES and throws as ORQExcWriteLayup does.
ORQ_EXPORT void ORQExcWriteSections(const ORQExcLayup& layup, const ORQObjDocument& document,
                                    ORQExcReport& report);
