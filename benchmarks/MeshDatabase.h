// Ours: a model database with elements of eight nodes, written and read through the services.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "ORQSimDatabase.h"
#include "ORQSimPosition.h"

namespace storage_benchmark {

class MeshDatabase {
  public:
    // A standard model with nodes and no elements, committed; what was there is removed.
    static MeshDatabase Create(const std::filesystem::path& path, int nNodes);
    // A new standard model with these nodes, three numbers each, and elements, in one transaction, and
    // closed; what was there is removed.
    static void WriteWhole(const std::filesystem::path& path, std::span<const double> coordinates,
                           std::span<const int> connectivity);
    // One that is there, for reading.
    explicit MeshDatabase(const std::filesystem::path& path);

    // Adds elements with these nodes in one transaction.
    void Append(std::span<const int> connectivity);
    // The connectivity of all elements.
    void Read(std::span<int> connectivity) const;

    // Empty surfaces, members 0 to count - 1 of the regions, in one transaction.
    void AddSurfaces(int count);
    // How many areas of nodes are stored.
    std::int64_t NumNodalAreas() const;

    ORQSimPosition Model() const;
    ORQSimPosition Mesh() const;

  private:
    explicit MeshDatabase(ORQSimDatabase database);

    ORQSimDatabase m_database;
};

}  // namespace storage_benchmark
