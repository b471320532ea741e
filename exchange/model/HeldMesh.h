#pragma once

#include <span>
#include <vector>

#include "ORQExcMeshSource.h"

namespace orq::exchange {

/// A mesh that is held whole, for formats whose files cannot be read in pieces. A format fills the
/// arrays in its constructor.
class HeldMesh : public ORQExcMeshSource {
  public:
    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    void ReadAttributes(int block, int begin, int end, std::span<double> values) override;
    std::vector<int> ReadSet(ORQObjLabelerType type, int set) override;
    std::vector<Side> ReadSideSet(int set) override;

  protected:
    std::vector<double> m_coordinates;  // [nodes][dimension]
    std::vector<int> m_nodeLabels;
    std::vector<int> m_elementLabels;               // in element order
    std::vector<std::vector<int>> m_connectivity;   // by block, [elements][nodes], our node order
    std::vector<std::vector<double>> m_attributes;  // by block, [elements][attributes]
    std::vector<std::vector<int>> m_nodeSetMembers;
    std::vector<std::vector<int>> m_elementSetMembers;
    std::vector<std::vector<Side>> m_sides;  // by side set
};

}  // namespace orq::exchange
