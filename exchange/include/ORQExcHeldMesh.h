#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcLayup.h"
#include "ORQExcMeshSource.h"

/// A mesh that is held whole: by hosts that make models of their own, who add its parts and write it
/// with ORQExcWriteMesh, and by formats whose files cannot be read in pieces, which fill the arrays.
///
///   ORQExcHeldMesh mesh("plate");
///   mesh.AddNodes({0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}, {1, 2, 3, 4});
///   mesh.AddBlock("plate", "SHELL4", {0, 1, 2, 3}, {1});
///   mesh.AddNodeSet("root", {0, 3});
///
/// Nodes and elements are named by ordinals, from 0 in the order in which they were added. What
/// breaks a rule throws ORQBasFailure (Usage), naming the value and its place, and adds nothing.
class ORQ_EXPORT ORQExcHeldMesh : public ORQExcMeshSource {
  public:
    /// `dimension` is the number of coordinates of a node, 2 or 3.
    explicit ORQExcHeldMesh(std::string title = {}, int dimension = 3);

    /// Coordinates [nodes][dimension], finite; a label for each node, at least 1, or none for those
    /// behind the highest. That each is given once is checked as the mesh is written.
    void AddNodes(std::span<const double> coordinates, std::span<const int> labels = {});
    /// Elements of one shape of ORQExcShapes, by its name: connectivity [elements][nodes of the shape]
    /// in the order of ORQExcShape, labels as for nodes. Nodes come before the elements that have
    /// them. A set of the block's elements has the block's name too.
    void AddBlock(const std::string& name, std::string_view shape,
                  std::span<const int> connectivity, std::span<const int> labels = {});
    void AddNodeSet(const std::string& name, std::vector<int> nodes);
    void AddElementSet(const std::string& name, std::vector<int> elements);
    /// Sides of elements, by their places in the shape's sides.
    void AddSurface(const std::string& name, std::vector<Side> sides);
    /// Layered sections over the blocks and element sets, in place of those that were set before.
    void SetSections(ORQExcLayup layup) { m_layup = std::move(layup); }

    std::string_view Format() const override { return "mesh in memory"; }
    void ReadCoordinates(int begin, int end, std::span<double> coordinates) override;
    void ReadLabels(ORQObjLabelerType type, int begin, int end, std::span<int> labels) override;
    void ReadConnectivity(int block, int begin, int end, std::span<int> nodes) override;
    void ReadAttributes(int block, int begin, int end, std::span<double> values) override;
    std::vector<int> ReadSet(ORQObjLabelerType type, int set) override;
    std::vector<Side> ReadSideSet(int set) override;
    const ORQExcLayup* Sections() const override { return m_layup ? &*m_layup : nullptr; }

  protected:
    std::vector<double> m_coordinates;  // [nodes][dimension]
    std::vector<int> m_nodeLabels;
    std::vector<int> m_elementLabels;               // in element order
    std::vector<std::vector<int>> m_connectivity;   // by block, [elements][nodes], our node order
    std::vector<std::vector<double>> m_attributes;  // by block, [elements][attributes]
    std::vector<std::vector<int>> m_nodeSetMembers;
    std::vector<std::vector<int>> m_elementSetMembers;
    std::vector<std::vector<Side>> m_sides;  // by side set

  private:
    const ORQExcShape& ShapeOf(int element) const;

    int m_highestNodeLabel = 0;  // of those that were added
    int m_highestElementLabel = 0;
    std::optional<ORQExcLayup> m_layup;
};
