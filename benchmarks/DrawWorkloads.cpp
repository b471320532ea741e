#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "ChildProcess.h"
#include "ImportedMesh.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// How many of the faces of hexahedra are there once: each is put into a table of their hashes, and
// taken out by its second element.
class FaceTable {
  public:
    explicit FaceTable(std::size_t nFaces) : m_slots(std::bit_ceil(2 * nFaces), 0) {}

    void Toggle(std::uint64_t hash) {
        std::size_t place = hash & (m_slots.size() - 1);
        while (m_slots[place] != 0 && m_slots[place] != hash) {
            place = (place + 1) & (m_slots.size() - 1);
        }
        // A second face stays as a stone over which others are found.
        m_nOnce += m_slots[place] == 0 ? 1 : -1;
        m_slots[place] = hash;
    }
    std::int64_t NumOnce() const { return m_nOnce; }

  private:
    std::vector<std::uint64_t> m_slots;
    std::int64_t m_nOnce = 0;
};

std::uint64_t HashOf(std::array<int, 4> nodes) {
    std::ranges::sort(nodes);
    std::uint64_t hash = 0;
    for (const int node : nodes) {
        hash = (hash ^ static_cast<std::uint64_t>(node)) * 0x9E3779B97F4A7C15U;
        hash ^= hash >> 29U;
    }
    return hash | 1U;  // 0 is an empty slot.
}

std::int64_t NumOuterFaces(const std::vector<int>& connectivity) {
    static constexpr std::array<std::array<std::size_t, 4>, 6> kFaces = {
        {{0, 1, 5, 4}, {1, 2, 6, 5}, {2, 3, 7, 6}, {0, 4, 7, 3}, {0, 3, 2, 1}, {4, 5, 6, 7}}};
    FaceTable table(connectivity.size() / 8 * 3);
    for (std::size_t element = 0; element < connectivity.size(); element += 8) {
        for (const auto& [a, b, c, d] : kFaces) {
            table.Toggle(HashOf({connectivity[element + a], connectivity[element + b],
                                 connectivity[element + c], connectivity[element + d]}));
        }
    }
    return table.NumOnce();
}

// The program draws the mesh, from its start to the file; beside it, what nobody can do without:
// reading the mesh and finding its outer faces.
std::vector<Row> Draw(const Settings& settings) {
    const std::filesystem::path model =
        ImportMesh(settings, StructuredMesh(settings.nSide), "drawn");
    const std::filesystem::path picture = settings.directory / "drawn.png";
    std::int64_t nOuter = 0;
    std::vector<Row> rows = {Measure(
        settings, "draw", 3.0,
        {{.name = "ours",
          .prepare = [&] { std::filesystem::remove(picture); },
          .run =
              [&] {
                  ChildProcess({ORQ_PROGRAM, "draw", model.string(), "-o", picture.string()})
                      .Finish();
              },
          .check = [&] { Require(std::filesystem::file_size(picture) > 1000, "no picture"); }},
         {.name = "read and hash faces",
          .run =
              [&] { nOuter = NumOuterFaces(ReadMesh(ORQExcModel(OpenMesh(model))).connectivity); },
          .check =
              [&] {
                  Require(nOuter == 6LL * settings.nSide * settings.nSide,
                          "the number of outer faces is wrong");
              }}})};
    std::filesystem::remove(picture);
    std::filesystem::remove_all(model);
    return rows;
}

}  // namespace

std::vector<Workload> DrawWorkloads() {
    return {{"draw", Draw}};
}

}  // namespace storage_benchmark
