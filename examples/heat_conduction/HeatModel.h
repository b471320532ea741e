#pragma once

#include <Eigen/Dense>
#include <stdexcept>
#include <string>
#include <vector>

#include "HeatElement.h"
#include "ORQObjDocument.h"
#include "ORQSimCSet.h"
#include "ORQSrvInverseConnectivity.h"

namespace heat {

/// What keeps an analysis from going on; the text says what and where in the model.
class HeatError : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The solid mesh of a model database, read by the services. Nodes and elements are member numbers.
class HeatModel {
  public:
    /// The elements of one block, all of one shape.
    struct Block {
        std::string name;
        const Element* element;
        std::vector<int> elements;
        std::vector<int> nodes;  ///< [elements][nodes of the shape]
    };

    /// Throws HeatError when there are no coordinates or no solid elements.
    explicit HeatModel(const ORQObjDocument& document);

    const ORQSimCSet& Nodes() const { return m_nodes; }
    int NumNodes() const { return m_nodes.Size(); }
    int NumElements() const { return m_nElements; }  ///< those of left out blocks too
    /// A column for each node, in the model's length unit.
    const Eigen::Matrix3Xd& Coordinates() const { return m_coordinates; }
    const std::vector<Block>& Blocks() const { return m_blocks; }
    /// "NAME (SHAPE)" of the blocks whose shape this analysis does not know.
    const std::vector<std::string>& LeftOut() const { return m_leftOut; }
    /// Which elements use a node, and as which of their nodes.
    const ORQSrvInverseConnectivity& Uses() const { return m_uses; }

    /// The members of a node set. Throws HeatError when the model has none of that name.
    std::vector<int> NodesOf(const std::string& set) const;

  private:
    void ReadCoordinates();
    void ReadBlocks();

    ORQObjDocument m_document;
    ORQSimCSet m_nodes;
    int m_nElements = 0;
    Eigen::Matrix3Xd m_coordinates;
    std::vector<Block> m_blocks;
    std::vector<std::string> m_leftOut;
    ORQSrvInverseConnectivity m_uses;
};

}  // namespace heat
