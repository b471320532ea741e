#include "queries/Extent.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ORQSimArray.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSrvNodalCoordinates.h"

namespace orqmodel {
namespace {

/// Whether the service for coordinates takes those of the mesh: it ends the process for others.
bool HasCoordinates(const ORQObjMesh& mesh) {
    const ORQSimDistribution distribution(mesh.GetCoordinates().GetDistribution());
    const ORQSimCollectionID nodes = mesh.GetNodeCollection().GetCollection();
    if (distribution.IsNull() || nodes.IsNull() || distribution.NumDimensions() != 2 ||
        distribution.RangeType().ScalarType() != ORQSimScalarDouble ||
        distribution.NumDrawers() == 0) {
        return false;
    }
    const auto drawers = distribution.QueryDrawers();
    return std::all_of(drawers.begin(), drawers.end(), [&](const auto& drawer) {
        return drawer.Compartment().Position(nodes) == 0;
    });
}

/// Takes one block of coordinates into the extent.
void Take(Extent& extent, const std::vector<double>& values) {
    const auto dimension = static_cast<std::size_t>(extent.dimension);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) {
            ++extent.coordinatesNotFinite;
            continue;
        }
        if (!extent.box) {
            constexpr double kInfinity = std::numeric_limits<double>::infinity();
            extent.box = BoundingBox{std::vector<double>(dimension, kInfinity),
                                     std::vector<double>(dimension, -kInfinity)};
        }
        double& lowest = extent.box->lowest[i % dimension];
        double& highest = extent.box->highest[i % dimension];
        lowest = std::min(lowest, values[i]);
        highest = std::max(highest, values[i]);
    }
}

}  // namespace

Extent ReadExtent(const ORQObjMesh& mesh, const std::function<void(double)>& progress) {
    Extent extent;
    if (!HasCoordinates(mesh)) {
        return extent;
    }
    // Three doubles for each node: 2.4 MB, whatever the size of the mesh.
    constexpr int kBlockNodes = 100'000;
    const ORQSrvNodalCoordinates coordinates(mesh.GetCoordinates(), kBlockNodes);
    const ORQSimCSet nodes = coordinates.Nodes();
    const ORQSimCSet components = coordinates.Components();
    const ORQSimCollection collection(nodes.CollectionID());
    extent.dimension = components.Size();
    extent.nodesWithCoordinates = nodes.Size();
    std::vector<double> values;
    const int last = nodes.Bounds().Last();
    for (int begin = std::max(0, nodes.Bounds().First()); begin <= last;) {
        progress(static_cast<double>(begin) / std::max(1, last));
        const int count = std::min(kBlockNodes, last - begin + 1);
        const ORQSimCSet block =
            collection.CreateVolatileCSetStrided(begin, count, 1, 1).Intersection(nodes);
        values.resize(static_cast<std::size_t>(block.Size()) *
                      static_cast<std::size_t>(components.Size()));
        coordinates.Read(block, components, values.data());
        Take(extent, values);
        // Ends here and not by the condition above: begin + kBlockNodes could exceed the largest
        // int.
        if (last - begin < kBlockNodes) {
            break;
        }
        begin += kBlockNodes;
    }
    return extent;
}

}  // namespace orqmodel
