#include "queries/MemberRange.h"

#include <algorithm>
#include <limits>

#include "ORQSimCollection.h"

namespace orqmodel {
namespace {

std::vector<int> Unique(std::vector<int> members) {
    std::ranges::sort(members);
    members.erase(std::unique(members.begin(), members.end()), members.end());
    return members;
}

ORQSimCSet SetOf(const ORQSimCSet& all, const std::vector<int>& ascending) {
    return ORQSimCollection(all.CollectionID())
        .CreateVolatileCSet(ascending.data(), static_cast<int>(ascending.size()), true);
}

}  // namespace

ORQSimCSet MembersAt(const ORQSimCSet& set, int begin, int end) {
    const ORQSimCollection collection(set.CollectionID());
    if (begin == 0 && end == set.Size()) {
        return set;
    }
    const int first = set[begin];
    // Members ascend: as many as the numbers from first to last means that none is left out.
    if (set[end - 1] - first == end - begin - 1) {
        return collection.CreateVolatileCSetStrided(first, end - begin, 1, 1);
    }
    std::vector<int> members;
    for (int location = begin; location < end; ++location) {
        members.push_back(set[location]);
    }
    return SetOf(set, members);
}

ElementParts::ElementParts(const ORQExcModel& model, const ORQSimCSet& elements) : m_model(model) {
    for (const ORQExcModel::Block& block : model.Blocks()) {
        const ORQSimCSet some = block.elements.Intersection(elements);
        if (!some.IsEmpty()) {
            m_blocks.push_back(block);
            m_blocks.back().elements = some;
            m_nElements += some.Size();
        }
    }
}

const ElementParts::Part* ElementParts::Next(int mostElements) {
    if (m_block < m_blocks.size() && m_at >= m_blocks[m_block].elements.Size()) {
        ++m_block;
        m_at = 0;
    }
    if (m_block >= m_blocks.size()) {
        return nullptr;
    }
    const ORQExcModel::Block& block = m_blocks[m_block];
    const int end = std::min(block.elements.Size(), m_at + mostElements);
    m_part.block = &block;
    m_part.elements = MembersAt(block.elements, m_at, end);
    m_part.nodes.resize(static_cast<std::size_t>(end - m_at) *
                        static_cast<std::size_t>(block.shape->nNodes));
    m_model.ReadConnectivity(block, m_at, end, m_part.nodes);
    m_nPassed += end - m_at;
    m_at = end;
    return &m_part;
}

double ElementParts::Done() const {
    return m_nElements == 0 ? 1 : static_cast<double>(m_nPassed) / static_cast<double>(m_nElements);
}

ORQSimCSet NodesOf(const ORQExcModel& model, const ORQSimCSet& elements) {
    // A bit for each node takes less memory than a sorted list of the nodes of all elements, where
    // most nodes occur several times.
    std::vector<bool> isUsed(static_cast<std::size_t>(model.NumNodes()));
    ElementParts parts(model, elements);
    while (const ElementParts::Part* part = parts.Next(100'000)) {
        for (const int node : part->nodes) {
            isUsed[static_cast<std::size_t>(node)] = true;
        }
    }
    std::vector<int> nodes;
    for (int node = 0; node < model.NumNodes(); ++node) {
        if (isUsed[static_cast<std::size_t>(node)]) {
            nodes.push_back(node);
        }
    }
    return SetOf(model.Nodes(), nodes);
}

std::vector<double> CoordinatesOf(const ORQExcModel& model, std::span<const int> nodes) {
    const std::vector<int> unique = Unique({nodes.begin(), nodes.end()});
    const auto dimension = static_cast<std::size_t>(model.Dimension());
    std::vector<double> read(unique.size() * dimension);
    if (dimension > 0) {
        model.ReadCoordinates(SetOf(model.Nodes(), unique), read);
    }
    std::vector<double> coordinates(nodes.size() * 3);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const auto at =
            static_cast<std::size_t>(std::ranges::lower_bound(unique, nodes[i]) - unique.begin());
        std::copy_n(read.begin() + static_cast<std::ptrdiff_t>(at * dimension), dimension,
                    coordinates.begin() + static_cast<std::ptrdiff_t>(i * 3));
    }
    return coordinates;
}

std::vector<double> MiddlesOf(const ORQExcModel& model, bool areNodes, const ORQSimCSet& members) {
    if (areNodes) {
        std::vector<int> nodes(static_cast<std::size_t>(members.Size()));
        members.Members(nodes.data());
        return CoordinatesOf(model, nodes);
    }
    std::vector<double> middles(3 * static_cast<std::size_t>(members.Size()),
                                std::numeric_limits<double>::quiet_NaN());
    ElementParts parts(model, members);
    while (const ElementParts::Part* part = parts.Next(members.Size())) {
        const ORQExcShape& shape = *part->block->shape;
        const std::vector<double> corners = CoordinatesOf(model, part->nodes);
        for (int i = 0; i < part->elements.Size(); ++i) {
            const ORQExcMeasure measure = ORQExcMeasureOf(
                shape, std::span(corners).subspan(3 * static_cast<std::size_t>(i * shape.nNodes),
                                                  3 * static_cast<std::size_t>(shape.nCorners)));
            std::ranges::copy(measure.centroid,
                              middles.begin() + 3 * members.SeekMember(part->elements[i]));
        }
    }
    return middles;
}

}  // namespace orqmodel
