#include "MeshDatabase.h"

#include <string>
#include <utility>

#include "CoordinateDatabase.h"
#include "Harness.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvNodalCoordinates.h"
#include "StructuredMesh.h"

namespace storage_benchmark {

namespace {

constexpr int kChunkElements = 100000;
constexpr int kPlaces = StructuredMesh::kNodesPerElement;

}  // namespace

MeshDatabase::MeshDatabase(ORQSimDatabase database) : m_database(std::move(database)) {}

MeshDatabase::MeshDatabase(const std::filesystem::path& path)
    : MeshDatabase(ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadOnly)) {}

MeshDatabase MeshDatabase::Create(const std::filesystem::path& path, int nNodes) {
    std::filesystem::remove_all(path);
    ORQSimDatabase database = ORQSimDatabase::Create(path.string());
    ORQSimTransaction transaction(database.ContextID());
    ORQObjModelBuilder(database).AddNodes(nNodes);
    transaction.Commit();
    return MeshDatabase(std::move(database));
}

void MeshDatabase::WriteWhole(const std::filesystem::path& path,
                              std::span<const double> coordinates,
                              std::span<const int> connectivity) {
    std::filesystem::remove_all(path);
    MeshDatabase made(ORQSimDatabase::Create(path.string()));
    ORQSimTransaction transaction(made.m_database.ContextID());
    const ORQObjModelBuilder builder(made.m_database);
    const ORQSimCSetID nodes = builder.AddNodes(static_cast<int>(coordinates.size() / 3));
    ORQSrvNodalCoordinates(builder.Coordinates(), kChunkNodes)
        .Append(transaction, nodes, builder.SpatialDirections(3), coordinates.data());
    made.Append(connectivity);
    transaction.Commit();
}

void MeshDatabase::Append(std::span<const int> connectivity) {
    ORQSimTransaction transaction(m_database.ContextID());
    const ORQObjModelBuilder builder(m_database);
    const ORQSimCSetID elements =
        builder.AddElements(static_cast<int>(connectivity.size() / kPlaces));
    ORQSrvElementConnectivity(builder.Connectivity(), kChunkElements)
        .Append(transaction, builder.AddElementSpec("HEX8").ID(), elements,
                builder.NodePlaces(kPlaces), connectivity.data());
    transaction.Commit();
}

void MeshDatabase::Read(std::span<int> connectivity) const {
    const ORQObjMesh mesh(Mesh());
    const ORQSimCollection elements(mesh.GetElementCollection().GetCollection());
    Require(connectivity.size() == static_cast<std::size_t>(elements.Space()) * kPlaces,
            "the database holds another number of elements");
    const ORQSimCollection places(
        Mesh().GetPosition(ORQSimSchema::Mesh_elementNodePlaces).GetCollection());
    ORQSrvElementConnectivity(mesh.GetConnectivity(), kChunkElements)
        .Read(elements.CreateVolatileCSetStrided(0, elements.Space(), 1, 1),
              places.CreateVolatileCSetStrided(0, kPlaces, 1, 1), connectivity.data());
}

void MeshDatabase::AddSurfaces(int count) {
    ORQSimTransaction transaction(m_database.ContextID());
    const ORQObjModelBuilder builder(m_database);
    for (int i = 0; i < count; ++i) {
        builder.AddSurface("Surface-" + std::to_string(i), i, {});
    }
    transaction.Commit();
}

std::int64_t MeshDatabase::NumNodalAreas() const {
    const ORQSimDistribution areas(ORQObjMesh(Mesh()).GetSurfaceNodalAreas().GetDistribution());
    return areas.QueryDrawers().ConstGet(0).DataSizeItems();
}

ORQSimPosition MeshDatabase::Model() const {
    return ORQObjDocument(m_database).GetModel();
}

ORQSimPosition MeshDatabase::Mesh() const {
    return ORQObjDocument(m_database).GetMesh();
}

}  // namespace storage_benchmark
