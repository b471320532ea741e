#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "ORQExcModel.h"
#include "ORQSimCSet.h"

namespace orqmodel {

/// The members at locations [begin, end) of an ascending set. A range of a contiguous set takes
/// constant time.
ORQSimCSet MembersAt(const ORQSimCSet& set, int begin, int end);

/// Elements of a model part by part: some of one block at a time, with their nodes.
class ElementParts {
  public:
    struct Part {
        const ORQExcModel::Block* block;
        ORQSimCSet elements;     ///< ascending
        std::vector<int> nodes;  ///< [elements][nodes of the shape]
    };

    ElementParts(const ORQExcModel& model, const ORQSimCSet& elements);

    /// The blocks that have any of the elements, with only those.
    const std::vector<ORQExcModel::Block>& Blocks() const { return m_blocks; }
    /// The next part, of at most so many elements; null after the last one. Valid until the next
    /// call.
    const Part* Next(int mostElements);
    double Done() const;

  private:
    const ORQExcModel& m_model;
    std::vector<ORQExcModel::Block> m_blocks;
    Part m_part;
    std::size_t m_block = 0;
    int m_at = 0;
    std::int64_t m_nPassed = 0;  ///< elements
    std::int64_t m_nElements = 0;
};

/// The nodes of elements.
ORQSimCSet NodesOf(const ORQExcModel& model, const ORQSimCSet& elements);

/// Coordinates, [nodes][3], of nodes in any order, each as often as it is named; the third is 0 in
/// a plane model.
std::vector<double> CoordinatesOf(const ORQExcModel& model, std::span<const int> nodes);

/// Where ascending nodes lie, or the middles of ascending elements (of their corners): [members][3]; not
/// a number for an element in no block.
std::vector<double> MiddlesOf(const ORQExcModel& model, bool areNodes, const ORQSimCSet& members);

}  // namespace orqmodel
