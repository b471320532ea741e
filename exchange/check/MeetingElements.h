#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "ORQExcModel.h"
#include "ORQSimCollection.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {

/// Calls use(block, element, nodes) for some solids and shells, ascending, that stand in no block twice.
template <class Use>
void ForEachOf(const ORQExcModel& model, const std::vector<int>& elements, const Use& use) {
    for (const ORQExcModel::Block& block : model.Blocks()) {
        std::vector<int> ofBlock;
        for (const int element : elements) {
            if (block.shape->dimension >= 2 && block.elements.SeekMember(element) >= 0) {
                ofBlock.push_back(element);
            }
        }
        if (ofBlock.empty()) {
            continue;
        }
        const auto nEach = static_cast<std::size_t>(block.shape->nNodes);
        std::vector<int> nodes(ofBlock.size() * nEach);
        model.ReadConnectivity(
            block, OrdinalSet(ORQSimCollection(block.elements.CollectionID()), ofBlock), nodes);
        for (std::size_t i = 0; i < ofBlock.size(); ++i) {
            use(block, ofBlock[i], std::span<const int>(nodes).subspan(i * nEach, nEach));
        }
    }
}

}  // namespace orq::exchange
