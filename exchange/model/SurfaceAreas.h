#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "ORQBasMap.h"
#include "ORQExcMeshSource.h"
#include "ORQExcShapes.h"

namespace orq::exchange {

/// The side sets of a mesh and the tributary areas of their nodes, gathered while the mesh passes
/// by on its way into a database: first all side sets, then the connectivity, of which only the
/// nodes of the sides are kept, then the coordinates, of which only those of these nodes are kept.
/// So nothing is read back that was just written, and nothing is read twice from the file.
///
/// Takes 12 bytes for each side, 4 for each of its nodes and 28 for each node of all surfaces.
class SurfaceAreas {
  public:
    /// Sides of one surface that have the same number within their elements.
    struct Group {
        std::vector<int> elements;  ///< ascending, each once
        /// The nodes of the sides, element by element, in runs of elements of the same shape.
        std::vector<std::pair<const ORQExcShape::Side*, std::vector<int>>> nodes = {};
    };
    struct Surface {
        std::int64_t nSides = 0;     ///< as the source names them
        std::int64_t nRepeated = 0;  ///< of these, those that were named before
        std::map<int, Group> bySide = {};
    };

    /// Reads the side sets. Throws what ReadSideSet throws.
    explicit SurfaceAreas(ORQExcMeshSource& source);

    /// The surfaces in the order of the source's side sets.
    const Surface& At(std::size_t surface) const { return m_surfaces[surface]; }

    /// Elements from an ordinal on, all of one shape: [elements][nodes of the shape]. REQUIRES: the
    /// elements before them have passed.
    void PassConnectivity(const ORQExcShape& shape, int firstElement,
                          std::span<const int> connectivity);
    /// Nodes from an ordinal on: [nodes][dimension]. REQUIRES: all connectivity has passed.
    void PassCoordinates(int firstNode, std::span<const double> coordinates);

    /// The area of each node in the square of the model's length unit; the length for an edge.
    /// REQUIRES: all coordinates have passed.
    ORQBasMap<int, double> AreasOf(std::size_t surface) const;

  private:
    /// A side that waits for its element to pass.
    struct Waiting {
        int element;
        int side;
        Group* group;
    };

    void CollectNodes();
    std::size_t PlaceOf(int node) const;

    std::vector<Surface> m_surfaces;
    std::vector<Waiting> m_waiting;  // by element
    std::size_t m_nPassed = 0;       // of m_waiting
    std::size_t m_dimension;
    std::vector<int> m_nodes;      // of all surfaces, ascending
    std::vector<double> m_points;  // three coordinates for each of them
};

}  // namespace orq::exchange
