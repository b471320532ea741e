#include "StructuredMesh.h"

#include <exodusII.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>

#include "Harness.h"

namespace storage_benchmark {

namespace {

constexpr int kBlock = 1;

// A file of the Exodus library; every call is checked.
class Exodus {
  public:
    explicit Exodus(int id) : m_id(Checked(id)) {}
    ~Exodus() { ex_close(m_id); }
    Exodus(const Exodus&) = delete;
    Exodus& operator=(const Exodus&) = delete;

    int Id() const { return m_id; }
    static int Checked(int status) {
        Require(status >= 0, "the Exodus library failed");
        return status;
    }

  private:
    int m_id;
};

std::vector<int> LabelsFromOne(int count) {
    std::vector<int> labels(static_cast<std::size_t>(count));
    std::iota(labels.begin(), labels.end(), 1);
    return labels;
}

}  // namespace

StructuredMesh::StructuredMesh(int nSide)
    : nNodes((nSide + 1) * (nSide + 1) * (nSide + 1)),
      nElements(nSide * nSide * nSide),
      m_nNodesOnEdge(nSide + 1) {
    connectivity.reserve(static_cast<std::size_t>(nElements) * kNodesPerElement);
    const int row = m_nNodesOnEdge;
    const int layer = row * row;
    for (int k = 0; k < nSide; ++k) {
        for (int j = 0; j < nSide; ++j) {
            for (int i = 0; i < nSide; ++i) {
                for (const int corner : {i + j * row + k * layer, i + j * row + (k + 1) * layer}) {
                    connectivity.insert(connectivity.end(),
                                        {corner, corner + 1, corner + 1 + row, corner + row});
                }
            }
        }
    }
}

std::vector<double> StructuredMesh::Coordinates() const {
    std::vector<double> coordinates;
    coordinates.reserve(static_cast<std::size_t>(nNodes) * 3);
    const int layer = m_nNodesOnEdge * m_nNodesOnEdge;
    for (const auto& [divisor, count] : {std::pair{1, m_nNodesOnEdge},
                                         {m_nNodesOnEdge, m_nNodesOnEdge},
                                         {layer, m_nNodesOnEdge}}) {
        for (int node = 0; node < nNodes; ++node) {
            coordinates.push_back(0.125 * (node / divisor % count));
        }
    }
    return coordinates;
}

void WriteExodus(const StructuredMesh& mesh, const std::filesystem::path& path) {
    int callerBytes = sizeof(double);
    int storedBytes = sizeof(double);
    const Exodus file(ex_create(path.c_str(), EX_CLOBBER, &callerBytes, &storedBytes));
    Exodus::Checked(ex_put_init(file.Id(), "cube", 3, mesh.nNodes, mesh.nElements, 1, 0, 0));
    const std::vector<double> coordinates = mesh.Coordinates();
    const double* x = coordinates.data();
    Exodus::Checked(ex_put_coord(file.Id(), x, x + mesh.nNodes, x + 2 * std::int64_t{mesh.nNodes}));
    Exodus::Checked(ex_put_block(file.Id(), EX_ELEM_BLOCK, kBlock, "HEX8", mesh.nElements,
                                 StructuredMesh::kNodesPerElement, 0, 0, 0));
    std::vector<int> nodes = mesh.connectivity;
    std::ranges::for_each(nodes, [](int& node) { ++node; });
    Exodus::Checked(ex_put_conn(file.Id(), EX_ELEM_BLOCK, kBlock, nodes.data(), nullptr, nullptr));
    Exodus::Checked(ex_put_id_map(file.Id(), EX_NODE_MAP, LabelsFromOne(mesh.nNodes).data()));
    Exodus::Checked(ex_put_id_map(file.Id(), EX_ELEM_MAP, LabelsFromOne(mesh.nElements).data()));
}

ExodusArrays::ExodusArrays(const std::filesystem::path& path) {
    int callerBytes = sizeof(double);
    int storedBytes = 0;
    float version = 0;
    const Exodus file(ex_open(path.c_str(), EX_READ, &callerBytes, &storedBytes, &version));
    ex_init_params sizes{};
    Exodus::Checked(ex_get_init_ext(file.Id(), &sizes));
    const auto nNodes = static_cast<std::size_t>(sizes.num_nodes);
    const auto nElements = static_cast<std::size_t>(sizes.num_elem);
    coordinates.resize(nNodes * 3);
    connectivity.resize(nElements * StructuredMesh::kNodesPerElement);
    nodeLabels.resize(nNodes);
    elementLabels.resize(nElements);
    double* x = coordinates.data();
    Exodus::Checked(ex_get_coord(file.Id(), x, x + nNodes, x + 2 * nNodes));
    Exodus::Checked(
        ex_get_conn(file.Id(), EX_ELEM_BLOCK, kBlock, connectivity.data(), nullptr, nullptr));
    Exodus::Checked(ex_get_id_map(file.Id(), EX_NODE_MAP, nodeLabels.data()));
    Exodus::Checked(ex_get_id_map(file.Id(), EX_ELEM_MAP, elementLabels.data()));
}

void ExodusArrays::Write(const std::filesystem::path& path) const {
    {
        int callerBytes = sizeof(double);
        int storedBytes = sizeof(double);
        const Exodus file(
            ex_create(path.c_str(), EX_CLOBBER | EX_LARGE_MODEL, &callerBytes, &storedBytes));
        const auto nNodes = std::ssize(nodeLabels);
        Exodus::Checked(
            ex_put_init(file.Id(), "cube", 3, nNodes, std::ssize(elementLabels), 1, 0, 0));
        const double* x = coordinates.data();
        Exodus::Checked(ex_put_coord(file.Id(), x, x + nNodes, x + 2 * nNodes));
        Exodus::Checked(ex_put_block(file.Id(), EX_ELEM_BLOCK, kBlock, "HEX8",
                                     std::ssize(elementLabels), StructuredMesh::kNodesPerElement, 0,
                                     0, 0));
        Exodus::Checked(
            ex_put_conn(file.Id(), EX_ELEM_BLOCK, kBlock, connectivity.data(), nullptr, nullptr));
        Exodus::Checked(ex_put_id_map(file.Id(), EX_NODE_MAP, nodeLabels.data()));
        Exodus::Checked(ex_put_id_map(file.Id(), EX_ELEM_MAP, elementLabels.data()));
    }
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    fsync(descriptor);
    close(descriptor);
}

std::size_t ExodusArrays::NumBytes() const {
    return coordinates.size() * sizeof(double) +
           (connectivity.size() + nodeLabels.size() + elementLabels.size()) * sizeof(int);
}

}  // namespace storage_benchmark
