#include "ORQSrvSurfaceNodalAreas.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvAssert.h"

template class omi_SingletonBase<ORQSrvSurfaceNodalAreas>;
template class omi_Singleton<ORQSrvSurfaceNodalAreas>;

namespace {

constexpr const char* s_nodalAreasSource = ORQ_SRV_SOURCE("ORQSrvSurfaceNodalAreas");
// Smaller areas are stored as kStoredArea, never as zero.
constexpr double kSmallestArea = 1.0e-8;
constexpr double kStoredArea = 1.0e-7;

using SurfaceAreas = ORQBasMap<int, ORQBasMap<int, double>>;

// The three buffers of the sparse drawer, and the members of its dimensions.
struct SparseAreas {
    std::vector<int> surfaceIds;
    std::vector<int> nodes;  // ascending, each once
    std::vector<double> areas;
    std::vector<int> indices;
    std::vector<int> sparseMap = {0};
};

std::vector<int> UniqueNodes(const SurfaceAreas& surfaces) {
    // One sort of all nodes costs less than a set that grows by each.
    std::vector<int> nodes;
    for (const auto& [surface, nodeAreas] : surfaces) {
        for (const auto& [node, area] : nodeAreas) {
            nodes.push_back(node);
        }
    }
    std::ranges::sort(nodes);
    nodes.erase(std::unique(nodes.begin(), nodes.end()), nodes.end());
    return nodes;
}

SparseAreas LayOut(const SurfaceAreas& surfaces) {
    SparseAreas sparse;
    sparse.nodes = UniqueNodes(surfaces);
    for (const auto& [surface, nodeAreas] : surfaces) {
        sparse.surfaceIds.push_back(surface);
        // Nodes of a surface ascend, so each search begins where the last one ended.
        auto at = sparse.nodes.begin();
        for (const auto& [node, area] : nodeAreas) {
            at = std::lower_bound(at, sparse.nodes.end(), node);
            sparse.indices.push_back(static_cast<int>(at - sparse.nodes.begin()));
            sparse.areas.push_back(area < kSmallestArea ? kStoredArea : area);
        }
        sparse.sparseMap.push_back(static_cast<int>(sparse.areas.size()));
    }
    return sparse;
}

}  // namespace

void ORQSrvSurfaceNodalAreas::Initialize() {
    Clean();
}

void ORQSrvSurfaceNodalAreas::AppendSurfaceIdNodeArea(int& surfaceId,
                                                      ORQBasMap<int, double>& nodeAreas) {
    m_areas.InsertUnique(surfaceId, nodeAreas);
}

void ORQSrvSurfaceNodalAreas::Clean() {
    m_areas.Clear();
}

void ORQSrvSurfaceNodalAreas::WriteSurfaceNodalAreas(ORQSimPosition position) {
    if (m_areas.empty()) {
        return;
    }
    ORQSimTransaction transaction(position);
    const ORQObjDocument document{ORQSimDatabase(position)};
    const ORQObjMesh mesh(document.GetMesh());
    ORQSimCollection regions(
        ORQObjModel(document.GetModel()).GetRegionCollection().GetCollection());
    ORQSimCollection nodes(mesh.Position().GetPosition(ORQSimSchema::Mesh_nodes).GetCollection());

    const SparseAreas sparse = LayOut(m_areas);
    const auto numTotalNodes = sparse.areas.size();
    const auto numNodeBasedSurfaces = sparse.surfaceIds.size();
    const ORQSimCSetID nodeSet =
        nodes.CreateCSet(sparse.nodes.data(), static_cast<int>(sparse.nodes.size()), false);
    const ORQSimCSetID surfaceSet =
        regions.CreateOrderedCSet(sparse.surfaceIds.data(), static_cast<int>(numNodeBasedSurfaces));

    const ORQSimGrid grid({regions.ID(), nodes.ID()});
    const ORQSimPosition distribution = document.CreateTypedDistribution(
        grid, ORQSimSchema::SurfaceNodalAreas, ORQSimRangeType(ORQSimScalarDouble));
    ORQSimTransfer twrite{ORQSimDistribution(distribution.GetDistribution())};
    twrite.SetWrite()
        .SetMakeNewDrawer()
        .SetBufferPadding(false)
        .SetSparseNNonzero(static_cast<int>(numTotalNodes))
        .SetDim(0, surfaceSet)
        .SetDim(1, nodeSet)
        .SetSerialization(ORQSimSerializationType().SetSparse());
    twrite.CheckView();
    const auto required = [&](int buffer) {
        return static_cast<std::size_t>(twrite.RequiredBufferSize(buffer));
    };
    ORQSrvAssertThrown(required(ORQSimbufMain) == numTotalNodes * sizeof(double),
                       "twrite.RequiredBufferSize(ORQSimbufMain) == numTotalNodes * sizeof(double)",
                       s_nodalAreasSource, 177);
    ORQSrvAssertThrown(
        required(ORQSimbufIndicesNZ) == numTotalNodes * sizeof(int),
        "twrite.RequiredBufferSize(ORQSimbufIndicesNZ) == numTotalNodes * sizeof(int)",
        s_nodalAreasSource, 178);
    ORQSrvAssertThrown(required(ORQSimbufSparseMap) == (numNodeBasedSurfaces + 1) * sizeof(int),
                       "twrite.RequiredBufferSize(ORQSimbufSparseMap) == (numNodeBasedSurfaces + "
                       "1) * sizeof(int)",
                       s_nodalAreasSource, 179);
    const auto setBuffer = [&](int buffer, const auto& values) {
        twrite.SetBuffer(buffer, values.data(),
                         static_cast<std::int64_t>(values.size() * sizeof(values[0])));
    };
    setBuffer(ORQSimbufMain, sparse.areas);
    setBuffer(ORQSimbufIndicesNZ, sparse.indices);
    setBuffer(ORQSimbufSparseMap, sparse.sparseMap);
    twrite.ExecWrite();
    twrite.RelinquishBuffers();

    mesh.SetSurfaceNodalAreas(distribution);
    transaction.Commit();
    Clean();
}
