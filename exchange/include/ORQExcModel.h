#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcMeshSource.h"
#include "ORQExcShapes.h"
#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "ORQSimCSet.h"

/// A model database as a mesh, for what exports, draws or looks up. Reads the names and sets of
/// blocks and regions at once, bulk data when it is asked for.
///
/// Ordinals are member numbers of the node and element collections; ranges are half-open. A model
/// without a mesh, or without coordinates, reads as an empty one. What names nodes, elements or
/// sides that do not exist is an ORQBasFailure of kind Damaged.
class ORQ_EXPORT ORQExcModel {
  public:
    using Properties = ORQExcMeshSource::Properties;
    struct Block {
        std::string name;
        int number;
        const ORQExcShape* shape;
        std::string shapeName;  ///< as its file spelt it
        ORQSimCSet elements;
        std::vector<std::string> attributes;
        Properties properties;
        std::string definition;  ///< as in ORQExcMeshSource::Block
        ORQSimPosition position;
    };
    struct Set {
        std::string name;
        int number;
        ORQSimCSet members;  ///< in the order of its file
        Properties properties;
    };
    struct Face {
        int element;
        int side;  ///< place in the shape's sides
    };
    /// An element that has a node, and where.
    struct Use {
        int element;
        int place;  ///< of the node in the element, from 0
        bool operator==(const Use&) const = default;
    };
    struct Instance {
        std::string name;
        std::vector<int> nodes;     ///< ordinals
        std::vector<int> elements;  ///< the same
    };
    using FaceNodes = std::vector<int>;  ///< in the order of ORQExcShape::Side::nodes
    struct Surface {
        std::string name;
        int number;
        std::vector<Face> faces;  ///< by side, then by element
        Properties properties;
        bool isAnalytical;  ///< a rigid shape of its own, which has no faces of elements
    };

    explicit ORQExcModel(const ORQObjDocument& document);

    const ORQObjDocument& Document() const { return m_document; }
    std::string Title() const;
    int Dimension() const { return m_dimension; }  ///< 2 or 3; 0 without coordinates
    int NumNodes() const { return m_nNodes; }
    int NumElements() const { return m_nElements; }
    ORQSimCSet Nodes() const;
    ORQSimCSet Elements() const;
    const std::vector<Block>& Blocks() const { return m_blocks; }
    const std::vector<Set>& NodeSets() const { return m_nodeSets; }
    const std::vector<Set>& ElementSets() const { return m_elementSets; }
    /// The element sets that do not stand for a block; each block has one of its name. The sets
    /// belong to the reader.
    std::vector<const Set*> ElementSetsBesideBlocks() const;
    std::vector<Surface> Surfaces() const;

    /// [end - begin][Dimension()]; 0 where a node has no coordinates.
    void ReadCoordinates(int begin, int end, std::span<double> coordinates) const;
    /// The same of any nodes, in the order of the set.
    void ReadCoordinates(const ORQSimCSet& nodes, std::span<double> coordinates) const;
    /// [end - begin][nodes of the shape], elements counted within the block.
    void ReadConnectivity(const Block& block, int begin, int end, std::span<int> nodes) const;
    /// The same of any elements of the block, in the order of the set.
    void ReadConnectivity(const Block& block, const ORQSimCSet& elements,
                          std::span<int> nodes) const;
    /// The nodes of each face, in the order of the faces.
    std::vector<FaceNodes> NodesOf(const std::vector<Face>& faces) const;
    /// All uses of a node, by drawer of the connectivity, then by element and place: the entries
    /// that ORQSrvInverseConnectivity has for it. Looks through the connectivity a few megabytes at
    /// a time, where inverting it holds all of it in memory, twice.
    std::vector<Use> UsesOf(int node) const;
    /// [end - begin][attributes], elements counted within the block.
    void ReadAttributes(const Block& block, int begin, int end, std::span<double> values) const;
    /// The same of any elements of the block, in the order of the set.
    void ReadAttributes(const Block& block, const ORQSimCSet& elements,
                        std::span<double> values) const;
    /// The instances that label nodes or elements.
    std::vector<Instance> Instances() const;
    /// The label of each node or element; 0 for what no instance labels. Labels of several
    /// instances may repeat.
    std::vector<int> NodeLabels() const;
    std::vector<int> ElementLabels() const;

  private:
    std::vector<int> Labels(ORQObjLabelerType type, int count) const;
    std::vector<Set> ReadSets(int mapSlot, int clusterSlot, const ORQSimPosition& collection) const;
    void ReadBlocks();

    ORQObjDocument m_document;
    int m_dimension = 0;
    int m_nNodes = 0;
    int m_nElements = 0;
    ORQSimCSet m_components;
    std::vector<Block> m_blocks;
    std::vector<Set> m_nodeSets;
    std::vector<Set> m_elementSets;
};
