// Ours: a model database with the coordinates of nodes, written and read through the service.
#pragma once

#include <filesystem>
#include <span>

#include "ORQSimCSet.h"
#include "ORQSimDatabase.h"
#include "ORQSrvNodalCoordinates.h"

namespace storage_benchmark {

inline constexpr int kChunkNodes = 100000;

class CoordinateDatabase {
  public:
    // An empty standard model, committed; what was there is removed.
    static CoordinateDatabase Create(const std::filesystem::path& path);
    // One that is there, for reading.
    explicit CoordinateDatabase(const std::filesystem::path& path);

    // Adds nodes with these coordinates in one transaction.
    void Append(std::span<const double> values);
    int NumNodes() const { return m_coordinates.NumberNodes(); }
    void Read(std::span<double> values) const;
    ORQSimCSet Pick(std::span<const int> ascendingNodes) const;
    void Read(const ORQSimCSet& nodes, double* values) const;

  private:
    explicit CoordinateDatabase(ORQSimDatabase database);

    ORQSimDatabase m_database;
    ORQSrvNodalCoordinates m_coordinates;
};

}  // namespace storage_benchmark
