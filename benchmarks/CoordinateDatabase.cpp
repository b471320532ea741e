#include "CoordinateDatabase.h"

#include <utility>

#include "Harness.h"
#include "ORQObjDocument.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimTransaction.h"

namespace storage_benchmark {

CoordinateDatabase::CoordinateDatabase(ORQSimDatabase database)
    : m_database(std::move(database)),
      m_coordinates(ORQObjMesh(ORQObjDocument(m_database).GetMesh()).GetCoordinates(),
                    kChunkNodes) {}

CoordinateDatabase::CoordinateDatabase(const std::filesystem::path& path)
    : CoordinateDatabase(ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadOnly)) {}

CoordinateDatabase CoordinateDatabase::Create(const std::filesystem::path& path) {
    std::filesystem::remove_all(path);
    ORQSimDatabase database = ORQSimDatabase::Create(path.string());
    ORQSimTransaction transaction(database.ContextID());
    ORQObjModelBuilder builder(database);
    transaction.Commit();
    return CoordinateDatabase(std::move(database));
}

void CoordinateDatabase::Append(std::span<const double> values) {
    ORQSimTransaction transaction(m_database.ContextID());
    const ORQObjModelBuilder builder(m_database);
    const ORQSimCSetID nodes = builder.AddNodes(static_cast<int>(values.size() / 3));
    m_coordinates.Append(transaction, nodes, builder.SpatialDirections(3), values.data());
    transaction.Commit();
}

void CoordinateDatabase::Read(std::span<double> values) const {
    const ORQSimCSet nodes = m_coordinates.Nodes();
    Require(values.size() == static_cast<std::size_t>(nodes.Size()) * 3,
            "the database holds another number of nodes");
    Read(nodes, values.data());
}

ORQSimCSet CoordinateDatabase::Pick(std::span<const int> ascendingNodes) const {
    const ORQSimCollection nodes(m_coordinates.Nodes().CollectionID());
    return nodes.CreateVolatileCSet(ascendingNodes.data(), static_cast<int>(ascendingNodes.size()),
                                    true);
}

void CoordinateDatabase::Read(const ORQSimCSet& nodes, double* values) const {
    m_coordinates.Read(nodes, m_coordinates.Components(), values);
}

}  // namespace storage_benchmark
