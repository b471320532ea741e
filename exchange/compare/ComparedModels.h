#pragma once

#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQObjDocument.h"
#include "compare/DifferenceList.h"
#include "compare/Matching.h"

namespace orq::exchange {

/// Two models side by side, what they have in common, and what is found to differ.
struct ComparedModels {
    static constexpr int kChunk = 1 << 16;  ///< nodes or elements that are read at once

    ComparedModels(const ORQObjDocument& first, const ORQObjDocument& second,
                   const ORQExcComparison& options)
        : before(first),
          after(second),
          nodes(first, before.NumNodes(), second, after.NumNodes(), ORQObjLabelerType::Node,
                instances),
          elements(first, before.NumElements(), second, after.NumElements(),
                   ORQObjLabelerType::Element, instances),
          differences(options) {}

    /// Lists what has no partner in the other model.
    void AddUnmatched(DifferenceKind kind, Matching& matching);

    std::vector<std::string> instances;
    ORQExcModel before;
    ORQExcModel after;
    Matching nodes;
    Matching elements;
    DifferenceList differences;
};

/// "name value, name value"
std::string PropertiesText(const ORQExcModel::Properties& properties);

// What each of them adds to the differences:

/// Title, dimension and instances.
void CompareOutlines(ComparedModels& models);
/// Nodes that were removed, added or moved.
void CompareNodes(ComparedModels& models);
/// Elements that were removed or added, or have another shape, connectivity, attribute or block.
void CompareElements(ComparedModels& models);
void CompareBlocks(ComparedModels& models);
/// Node sets, element sets and surfaces.
void CompareSets(ComparedModels& models);
/// Sections with their layers, orientations, and the sections of elements.
void CompareSections(ComparedModels& models);
void CompareMaterials(ComparedModels& models);
/// Steps, and fields at the times that both models have.
void CompareResults(ComparedModels& models);
/// What is kept for exports to the format of a file. Comes last: kept text repeats objects of the
/// model, and only what it has beside them is a difference.
void CompareKept(ComparedModels& models);

}  // namespace orq::exchange
