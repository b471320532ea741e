#include "model/HeldMesh.h"

#include <algorithm>

namespace orq::exchange {
namespace {

/// Rows [begin, end) of a table.
template <class Value>
void CopyRows(const std::vector<Value>& table, int begin, int end, std::size_t rowSize,
              std::span<Value> rows) {
    const std::size_t first = static_cast<std::size_t>(begin) * rowSize;
    std::ranges::copy(
        std::span(table).subspan(first, static_cast<std::size_t>(end - begin) * rowSize),
        rows.begin());
}

}  // namespace

void HeldMesh::ReadCoordinates(int begin, int end, std::span<double> coordinates) {
    CopyRows(m_coordinates, begin, end, static_cast<std::size_t>(Dimension()), coordinates);
}

void HeldMesh::ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) {
    CopyRows(type == ORQObjLabelerType::Node ? m_nodeLabels : m_elementLabels, begin, end, 1,
             labels);
}

void HeldMesh::ReadConnectivity(int block, int begin, int end, std::span<int> nodes) {
    const auto place = static_cast<std::size_t>(block);
    CopyRows(m_connectivity[place], begin, end,
             static_cast<std::size_t>(Blocks()[place].shape->nNodes), nodes);
}

void HeldMesh::ReadAttributes(int block, int begin, int end, std::span<double> values) {
    const auto place = static_cast<std::size_t>(block);
    CopyRows(m_attributes[place], begin, end, Blocks()[place].attributes.size(), values);
}

std::vector<int> HeldMesh::ReadSet(ORQObjLabelerType type, int set) {
    return (type == ORQObjLabelerType::Node ? m_nodeSetMembers
                                            : m_elementSetMembers)[static_cast<std::size_t>(set)];
}

std::vector<ORQExcMeshSource::Side> HeldMesh::ReadSideSet(int set) {
    return m_sides[static_cast<std::size_t>(set)];
}

}  // namespace orq::exchange
