#include "BarModel.h"

#include <array>
#include <numeric>
#include <vector>

#include "HeatModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimTransaction.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvEltClassificationBuilder.h"
#include "ORQSrvNodalCoordinates.h"

namespace heat {
namespace {

constexpr int kChunk = 100000;

// The corners of a cell by their places along x, y and z, in the order of HEX8.
using Corner = std::array<int, 3>;
constexpr std::array<Corner, 8> kCorners = {
    {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}};

// The elements of a cell by its corners.
std::vector<std::vector<int>> ElementsOfCell(const std::string& shape) {
    if (shape == "HEX8") {
        return {{0, 1, 2, 3, 4, 5, 6, 7}};
    }
    if (shape == "WEDGE6") {
        return {{0, 1, 2, 4, 5, 6}, {0, 2, 3, 4, 6, 7}};
    }
    if (shape == "TET4") {  // around the diagonal from corner 0 to corner 6
        return {{0, 1, 2, 6}, {0, 2, 3, 6}, {0, 3, 7, 6}, {0, 7, 4, 6}, {0, 4, 5, 6}, {0, 5, 1, 6}};
    }
    throw HeatError("a bar cannot be made of \"" + shape + "\"");
}

std::vector<int> Labels(int count) {
    std::vector<int> labels(static_cast<std::size_t>(count));
    std::iota(labels.begin(), labels.end(), 1);
    return labels;
}

// Nodes are numbered along z, then y, then x.
class Grid {
  public:
    explicit Grid(const Bar& bar) : m_bar(bar), m_nAcross(bar.cellsAcross + 1) {}

    int NumNodes() const { return (m_bar.cells + 1) * m_nAcross * m_nAcross; }
    int NodeAt(int x, int y, int z) const { return (x * m_nAcross + y) * m_nAcross + z; }
    std::vector<int> NodesAt(int x) const {
        std::vector<int> nodes(static_cast<std::size_t>(m_nAcross * m_nAcross));
        std::iota(nodes.begin(), nodes.end(), NodeAt(x, 0, 0));
        return nodes;
    }

    std::vector<double> Coordinates() const {
        std::vector<double> coordinates;
        for (int node = 0; node < NumNodes(); ++node) {
            const int across = node % (m_nAcross * m_nAcross);
            coordinates.push_back(m_bar.length * (node / (m_nAcross * m_nAcross)) / m_bar.cells);
            coordinates.push_back(m_bar.width * (across / m_nAcross) / m_bar.cellsAcross);
            coordinates.push_back(m_bar.width * (across % m_nAcross) / m_bar.cellsAcross);
        }
        return coordinates;
    }

    // [elements][nodes of the shape]
    std::vector<int> Connectivity() const {
        const auto elements = ElementsOfCell(m_bar.shape);
        const int nCells = m_bar.cells * m_bar.cellsAcross * m_bar.cellsAcross;
        std::vector<int> nodes;
        for (int cell = 0; cell < nCells; ++cell) {
            const int x = cell / (m_bar.cellsAcross * m_bar.cellsAcross);
            const int y = cell / m_bar.cellsAcross % m_bar.cellsAcross;
            const int z = cell % m_bar.cellsAcross;
            for (const std::vector<int>& element : elements) {
                for (const int corner : element) {
                    const Corner& at = kCorners[static_cast<std::size_t>(corner)];
                    nodes.push_back(NodeAt(x + at[0], y + at[1], z + at[2]));
                }
            }
        }
        return nodes;
    }

  private:
    const Bar& m_bar;
    int m_nAcross;
};

}  // namespace

void WriteBar(const Bar& bar, const std::string& path) {
    if (bar.cells < 1 || bar.cellsAcross < 1) {
        throw HeatError("a bar needs a cell");
    }
    const Grid grid(bar);
    const std::vector<int> connectivity = grid.Connectivity();
    const int nPlaces = static_cast<int>(ElementsOfCell(bar.shape).front().size());
    const int nElements = static_cast<int>(connectivity.size()) / nPlaces;

    const ORQSimDatabase database = ORQSimDatabase::Create(path);
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    builder.SetTitle("A bar for heat conduction");
    const ORQSimPosition part = builder.AddInstance("PART-1");

    const ORQSimCSetID nodes = builder.AddNodes(grid.NumNodes());
    builder.SetLabels(ORQObjLabelerType::Node, part, nodes, Labels(grid.NumNodes()).data());
    ORQSrvNodalCoordinates(builder.Coordinates(), kChunk)
        .Append(transaction, nodes, builder.SpatialDirections(3), grid.Coordinates().data());

    const ORQSimCSetID elements = builder.AddElements(nElements);
    builder.SetLabels(ORQObjLabelerType::Element, part, elements, Labels(nElements).data());
    const ORQSimPosition spec = builder.AddElementSpec(bar.shape);
    ORQSrvElementConnectivity(builder.Connectivity(), kChunk)
        .Append(transaction, spec.ID(), elements, builder.NodePlaces(nPlaces), connectivity.data());
    builder.AssignElementSpecs({{spec, elements}});
    builder.SetLogicalSectionClassification(
        ORQSrvEltClassificationBuilder(builder.Document().Focus())
            .BuildEltClassification(ORQSrvEltClassificationType::Shape));
    builder.AddBlock("BAR", 1, bar.shape, bar.shape, elements);
    builder.AddElementSet("BAR", 1, elements);

    const ORQSimCollection collection(ORQSimCSet(nodes).CollectionID());
    const auto addNodeSet = [&](const char* name, int number, const std::vector<int>& members) {
        builder.AddNodeSet(
            name, number,
            collection.CreateTempCSet(members.data(), static_cast<int>(members.size()), true));
    };
    addNodeSet("LEFT", 1, grid.NodesAt(0));
    addNodeSet("RIGHT", 2, grid.NodesAt(bar.cells));
    transaction.Commit();
}

}  // namespace heat
