#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "ORQExcMeshSource.h"
#include "formats/gmsh/GmshResults.h"

namespace orq::exchange {

/// Reads a Gmsh mesh file: versions 2 to 2.2 and 4.1, ASCII and binary of either byte order,
/// sections in any order.
///
/// Elements of one entity and shape form a block, in the order in which they first appear;
/// physical groups become element sets, of which an element may be in several. Mesh and data are
/// held in memory, with no more room than the file's bytes can fill. Errors name file, section and
/// line (in binary files the byte).
class GmshReader : public ORQExcMeshSource {
  public:
    /// Reads the whole file.
    explicit GmshReader(const std::filesystem::path& file);

    std::string_view Format() const override { return "Gmsh"; }
    /// Sections of kinds that are not read.
    std::vector<ORQExcContentCount> Unread() const override { return m_unread; }
    void CheckLabels() override {}  // done in reading

    std::string Title() const override { return {}; }
    int Dimension() const override { return 3; }
    int NumNodes() const override { return static_cast<int>(m_nodeLabels.size()); }
    const std::vector<Block>& Blocks() const override { return m_blocks; }
    const std::vector<Set>& NodeSets() const override { return m_none; }
    const std::vector<Set>& ElementSets() const override { return m_groups; }
    const std::vector<Set>& SideSets() const override { return m_none; }

    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadNodeLabels(int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    void ReadElementLabels(int begin, int end, std::span<int> labels) override;
    void ReadAttributes(int, int, int, std::span<double>) override {}
    std::vector<int> ReadNodeSet(int) override { return {}; }
    std::vector<int> ReadElementSet(int set) override {
        return m_groupMembers[static_cast<std::size_t>(set)];
    }
    std::vector<Side> ReadSideSet(int) override { return {}; }
    ORQExcResultSource* Results() override { return &m_results; }

  private:
    class Parser;

    std::vector<double> m_coordinates;  // [n_nodes][3]
    std::vector<int> m_nodeLabels;
    std::vector<Block> m_blocks;
    std::vector<std::vector<int>> m_connectivity;  // by block, [n_elements][n_nodes], our order
    std::vector<int> m_elementLabels;              // in element order
    std::vector<Set> m_groups;
    std::vector<std::vector<int>> m_groupMembers;
    std::vector<Set> m_none;
    std::vector<ORQExcContentCount> m_unread;
    GmshResults m_results;
};

}  // namespace orq::exchange
