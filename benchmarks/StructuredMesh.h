// A cube of hexahedra, numbered row by row.
#pragma once

#include <cstddef>
#include <filesystem>
#include <vector>

namespace storage_benchmark {

struct StructuredMesh {
    static constexpr int kNodesPerElement = 8;

    explicit StructuredMesh(int nSide);  // elements along each edge

    int nNodes;
    int nElements;
    std::vector<int> connectivity;  // [n_elements][8]

    // [3][n_nodes]: along x, then y, then z.
    std::vector<double> Coordinates() const;

  private:
    int m_nNodesOnEdge;
};

// The mesh as the Exodus library writes it by default, one block, with coordinates and the labels
// 1, 2, 3, ...
void WriteExodus(const StructuredMesh& mesh, const std::filesystem::path& path);

// What a file of hexahedra holds in bulk, read by the library in one call for each array.
struct ExodusArrays {
    explicit ExodusArrays(const std::filesystem::path& path);
    // Written by the library in one call for each array, and flushed to the disk.
    void Write(const std::filesystem::path& path) const;
    std::size_t NumBytes() const;

    std::vector<double> coordinates;  // [3][n_nodes]
    std::vector<int> connectivity;    // nodes from 1
    std::vector<int> nodeLabels;
    std::vector<int> elementLabels;
};

}  // namespace storage_benchmark
