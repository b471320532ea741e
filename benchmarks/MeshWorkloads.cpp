#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <memory>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "AllocationPeak.h"
#include "BulkData.h"
#include "ChildProcess.h"
#include "CoordinateDatabase.h"
#include "MeshDatabase.h"
#include "ORQSrvInverseConnectivity.h"
#include "ORQSrvSurfaceNodalAreas.h"
#include "StructuredMesh.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr double kMebibyte = 1 << 20;

// The connectivity of a mesh, and where it goes.
struct MeshData : BulkData<int> {
    explicit MeshData(const Settings& settings)
        : MeshData(settings, StructuredMesh(settings.nSide)) {}
    MeshData(const Settings& settings, StructuredMesh&& mesh)
        : BulkData(settings, std::move(mesh.connectivity)),
          database(settings.directory / "ours.orq"),
          nNodes(mesh.nNodes) {}

    void StoreAll() const {
        MeshDatabase::Create(database, nNodes).Append(values);
        PlainFile(plain, PlainFile::Mode::CreateEmpty).Append(Bytes());
    }

    std::filesystem::path database;
    int nNodes;
};

// --- Connectivity --------------------------------------------------------------------------------

std::vector<Row> Write(const Settings& settings) {
    MeshData mesh(settings);
    std::optional<MeshDatabase> database;
    std::unique_ptr<PlainFile> plain;
    return {Measure(
        settings, "mesh-write", 0.9,
        {mesh.Writing(
             "ours", [&] { database = MeshDatabase::Create(mesh.database, mesh.nNodes); },
             [&] { database->Append(mesh.values); },
             [&] {
                 database.reset();
                 mesh.CheckStored<MeshDatabase>(mesh.database);
             }),
         mesh.Writing(
             "write+fsync",
             [&] { plain = std::make_unique<PlainFile>(mesh.plain, PlainFile::Mode::CreateEmpty); },
             [&] {
                 plain->Append(mesh.Bytes());
                 plain->SyncAll();
             },
             [&] { mesh.CheckPlain(); })})};
}

// Writes both arrays of the mesh into a database that is not there yet, and closes it.
std::vector<Row> WriteNew(const Settings& settings) {
    const StructuredMesh mesh(settings.nSide);
    std::vector<double> coordinates(static_cast<std::size_t>(mesh.nNodes) * 3);
    std::iota(coordinates.begin(), coordinates.end(), 0.5);
    const std::filesystem::path path = settings.directory / "new.orq";
    const std::filesystem::path plain = settings.directory / "new.bin";
    const auto bytes = std::as_bytes(std::span(coordinates));
    const auto elementBytes = std::as_bytes(std::span(mesh.connectivity));
    const auto leaveRoom = [&] {
        std::filesystem::remove_all(path);
        std::filesystem::remove(plain);
        LeaveRoomToWrite(settings.directory, bytes.size() + elementBytes.size());
    };
    return {
        Measure(settings, "write-new", 0.75,
                {{.name = "ours",
                  .prepare = leaveRoom,
                  .run = [&] { MeshDatabase::WriteWhole(path, coordinates, mesh.connectivity); },
                  .check =
                      [&] {
                          std::vector<double> nodes(coordinates.size());
                          CoordinateDatabase(path).Read(nodes);
                          std::vector<int> elements(mesh.connectivity.size());
                          MeshDatabase(path).Read(elements);
                          Require(nodes == coordinates && elements == mesh.connectivity,
                                  "what was read is not what was written");
                      }},
                 {.name = "write+fsync", .prepare = leaveRoom, .run = [&] {
                      PlainFile file(plain, PlainFile::Mode::CreateEmpty);
                      file.Append(bytes);
                      file.Append(elementBytes);
                      file.SyncAll();
                  }}})};
}

std::vector<Row> ReadFirst(const Settings& settings) {
    MeshData mesh(settings);
    mesh.StoreAll();
    return {Measure(settings, "mesh-read-first", 1.2,
                    {mesh.Reading("ours", [&] { MeshDatabase(mesh.database).Read(mesh.target); }),
                     mesh.ReadingFreshMap()})};
}

std::vector<Row> ReadAgain(const Settings& settings) {
    MeshData mesh(settings);
    mesh.StoreAll();
    const MeshDatabase database(mesh.database);
    database.Read(mesh.target);
    return {Measure(
        settings, "mesh-read-again", 1.15,
        {mesh.Reading("ours", [&] { database.Read(mesh.target); }), mesh.ReadingFreshMap()})};
}

// --- Adjacency -----------------------------------------------------------------------------------

// The two passes over connectivity that lies in memory: count, sum, fill.
struct PlainInverse {
    PlainInverse(std::span<const int> connectivity, int nNodes)
        : offsets(static_cast<std::size_t>(nNodes) + 1),
          entries(std::make_unique_for_overwrite<unsigned[]>(connectivity.size())) {
        for (const int node : connectivity) {
            ++offsets[static_cast<std::size_t>(node) + 1];
        }
        std::partial_sum(offsets.begin(), offsets.end(), offsets.begin());
        std::vector<int> cursor(offsets.begin(), offsets.end() - 1);
        constexpr unsigned kPlaces = StructuredMesh::kNodesPerElement;
        const int* node = connectivity.data();
        const auto nElements = static_cast<unsigned>(connectivity.size() / kPlaces);
        for (unsigned element = 0; element < nElements; ++element) {
            for (unsigned place = 0; place < kPlaces; ++place) {
                entries[static_cast<std::size_t>(cursor[static_cast<std::size_t>(*node++)]++)] =
                    element | place << 25;
            }
        }
    }
    bool Equals(const ORQSrvInverseConnectivity& ours) const {
        const auto total = static_cast<std::size_t>(offsets.back());
        return ours.m_total == offsets.back() &&
               std::equal(offsets.begin(), offsets.end(), ours.m_offsets) &&
               std::equal(entries.get(), entries.get() + total, ours.m_entries);
    }

    std::vector<int> offsets;
    std::unique_ptr<unsigned[]> entries;
};

// VTK in a process of its own, which has the mesh; null, said aloud, where it is absent.
std::unique_ptr<ChildProcess> StartVtk(const MeshData& mesh) {
    std::unique_ptr<ChildProcess> vtk;
    if (std::filesystem::exists(ORQ_PYTHON)) {
        vtk = std::make_unique<ChildProcess>(std::vector<std::string>{
            ORQ_PYTHON, ORQ_VTK_LINKS, mesh.plain.string(), std::to_string(mesh.nNodes)});
    }
    if (vtk == nullptr || vtk->Hear() != "ready") {
        std::cerr << "invert: VTK is not there, invert-vtk is skipped\n";
        return nullptr;
    }
    return vtk;
}

std::vector<Row> Invert(const Settings& settings) {
    MeshData mesh(settings);
    mesh.StoreAll();
    const PlainInverse expected(mesh.values, mesh.nNodes);
    const std::unique_ptr<ChildProcess> vtk = StartVtk(mesh);
    std::optional<MeshDatabase> database;
    std::unique_ptr<ORQSrvInverseConnectivity> inverse;
    std::unique_ptr<PlainInverse> plain;
    const auto check = [&] {
        Require(expected.Equals(*inverse), "the adjacency is wrong");
        inverse.reset();
    };
    const auto invert = [&] {
        inverse = std::make_unique<ORQSrvInverseConnectivity>(database->Mesh());
        inverse->Invert();
    };
    const Contender loop = {
        .name = "two-pass loop",
        .run = [&] { plain = std::make_unique<PlainInverse>(mesh.values, mesh.nNodes); },
        .check = [&] { plain.reset(); }};
    std::vector<Contender> again = {{.name = "ours", .run = invert, .check = check}, loop};
    if (vtk != nullptr) {
        again.push_back({.name = "VTK", .run = [&] {
                             vtk->Say("");
                             Require(vtk->Hear() == "done", "VTK failed");
                         }});
    }
    std::vector<Row> rows = {Measure(settings, "invert-first", 1.3,
                                     {{.name = "ours",
                                       .prepare = [&] { database.emplace(mesh.database); },
                                       .run = invert,
                                       .check = check},
                                      loop})};
    rows.push_back(Measure(settings, "invert", 1.15, again));
    if (vtk != nullptr) {
        const Row& row = rows.back();
        rows.push_back({"invert-vtk", "ms", row.ours, "VTK", row.peers[0].figure, 0.5, {}});
    }
    rows.push_back(
        {"invert-memory",
         "MiB",
         {PeakMebibytes(invert)},
         "connectivity and result",
         {static_cast<double>(2 * mesh.Bytes().size() + expected.offsets.size() * 4) / kMebibyte},
         1.13,
         {}});
    return rows;
}

// --- Surface areas -------------------------------------------------------------------------------

using SurfaceAreas = std::vector<ORQBasMap<int, double>>;

// Ten surfaces with at most half a million nodes together.
SurfaceAreas MakeSurfaces(int nNodes) {
    constexpr int kSurfaces = 10;
    constexpr int kNodesOfSurface = 50000;
    SurfaceAreas surfaces(kSurfaces);
    const int nOfSurface = std::min(kNodesOfSurface, nNodes / kSurfaces);
    const int stride = nNodes / (kSurfaces * nOfSurface);
    int node = 0;
    for (auto& surface : surfaces) {
        for (int i = 0; i < nOfSurface; ++i, node += stride) {
            surface.InsertUnique(node, 0.5 + node);
        }
    }
    return surfaces;
}

// The least that writing them takes: a walk for the set of the nodes, another for the arrays, and
// writing these.
void WritePlainAreas(const SurfaceAreas& surfaces, PlainFile& file) {
    std::set<int> nodes;
    for (const auto& surface : surfaces) {
        for (const auto& [node, area] : surface) {
            nodes.insert(node);
        }
    }
    std::vector<int> indices;
    std::vector<double> areas;
    for (const auto& surface : surfaces) {
        for (const auto& [node, area] : surface) {
            indices.push_back(node);
            areas.push_back(area);
        }
    }
    file.Append(std::as_bytes(std::span(areas)));
    file.Append(std::as_bytes(std::span(indices)));
    file.SyncAll();
}

std::vector<Row> Areas(const Settings& settings) {
    const int nNodes = StructuredMesh(settings.nSide).nNodes;
    SurfaceAreas surfaces = MakeSurfaces(nNodes);
    const std::filesystem::path path = settings.directory / "areas.orq";
    auto& service = omi_Singleton<ORQSrvSurfaceNodalAreas>::Instance();
    std::optional<MeshDatabase> database;
    std::unique_ptr<PlainFile> plain;
    const Row row = Measure(
        settings, "surface-areas", 1.5,
        {{.name = "ours",
          .prepare =
              [&] {
                  database = MeshDatabase::Create(path, nNodes);
                  database->AddSurfaces(static_cast<int>(surfaces.size()));
              },
          .run =
              [&] {
                  for (int i = 0; i < static_cast<int>(surfaces.size()); ++i) {
                      service.AppendSurfaceIdNodeArea(i, surfaces[static_cast<std::size_t>(i)]);
                  }
                  service.WriteSurfaceNodalAreas(database->Model());
              },
          .check =
              [&] {
                  Require(database->NumNodalAreas() ==
                              static_cast<std::int64_t>(surfaces.size()) * surfaces[0].Size(),
                          "the database holds another number of areas");
              }},
         {.name = "two walks, a set, write+fsync",
          .prepare =
              [&] {
                  plain = std::make_unique<PlainFile>(settings.directory / "plain.bin",
                                                      PlainFile::Mode::CreateEmpty);
              },
          .run = [&] { WritePlainAreas(surfaces, *plain); }}});
    omi_SingletonBase<ORQSrvSurfaceNodalAreas>::Finalize();
    return {row};
}

// --- Import --------------------------------------------------------------------------------------

void CheckImported(const std::filesystem::path& database, const StructuredMesh& mesh) {
    std::vector<int> nodes(mesh.connectivity.size());
    MeshDatabase(database).Read(nodes);
    Require(nodes == mesh.connectivity, "the connectivity is wrong");
    const auto nNodes = static_cast<std::size_t>(mesh.nNodes);
    std::vector<double> points(3 * nNodes);
    CoordinateDatabase(database).Read(points);
    const std::vector<double> expected = mesh.Coordinates();
    for (std::size_t i = 0; i < points.size(); ++i) {
        Require(points[i] == expected[i % 3 * nNodes + i / 3], "the coordinates are wrong");
    }
}

std::vector<Row> Import(const Settings& settings) {
    const StructuredMesh mesh(settings.nSide);
    const std::filesystem::path file = settings.directory / "cube.e";
    const std::filesystem::path imported = settings.directory / "imported.orq";
    WriteExodus(mesh, file);
    const auto start = [&] {
        return std::make_unique<ChildProcess>(std::vector<std::string>{
            ORQ_PROGRAM, "import", file.string(), "-o", imported.string()});
    };
    const auto removeImported = [&] { std::filesystem::remove_all(imported); };
    std::unique_ptr<PlainFile> plain;
    std::vector<Row> rows = {
        Measure(settings, "import", 2.0,
                {{.name = "ours",
                  .prepare = removeImported,
                  .run = [&] { start()->Finish(); },
                  .check = [&] { CheckImported(imported, mesh); }},
                 {.name = "Exodus library, then write+fsync",
                  .prepare =
                      [&] {
                          plain = std::make_unique<PlainFile>(settings.directory / "plain.bin",
                                                              PlainFile::Mode::CreateEmpty);
                      },
                  .run =
                      [&] {
                          const ExodusArrays arrays(file);
                          plain->Append(std::as_bytes(std::span(arrays.coordinates)));
                          plain->Append(std::as_bytes(std::span(arrays.connectivity)));
                          plain->Append(std::as_bytes(std::span(arrays.nodeLabels)));
                          plain->Append(std::as_bytes(std::span(arrays.elementLabels)));
                          plain->SyncAll();
                      }}})};
    removeImported();
    const ExodusArrays arrays(file);
    rows.push_back({"import-memory",
                    "MiB",
                    {start()->FinishAndWatchMemory()},
                    "the arrays of the mesh",
                    {static_cast<double>(arrays.NumBytes()) / kMebibyte},
                    1.5,
                    {}});
    return rows;
}

// --- Conversion ----------------------------------------------------------------------------------

// Takes an Exodus file through a model database to a file of another name.
std::vector<Row> Convert(const Settings& settings) {
    const std::filesystem::path file = settings.directory / "cube.e";
    const std::filesystem::path imported = settings.directory / "imported.orq";
    WriteExodus(StructuredMesh(settings.nSide), file);
    const ExodusArrays expected(file);
    const auto run = [](const std::vector<std::string>& command) {
        ChildProcess(command).Finish();
    };
    std::vector<Row> rows;
    for (const auto& [row, name] :
         {std::pair("convert-exodus", "converted.e"), std::pair("convert-vtu", "converted.vtu")}) {
        const std::filesystem::path converted = settings.directory / name;
        const std::filesystem::path copied = settings.directory / "copied.e";
        rows.push_back(Measure(
            settings, row, 2.0,
            {{.name = "ours",
              .prepare =
                  [&] {
                      std::filesystem::remove_all(imported);
                      std::filesystem::remove(converted);
                  },
              .run =
                  [&] {
                      run({ORQ_PROGRAM, "import", file.string(), "-o", imported.string()});
                      run({ORQ_PROGRAM, "export", imported.string(), "-o", converted.string()});
                  },
              .check =
                  [&] {
                      if (converted.extension() == ".e") {
                          const ExodusArrays arrays(converted);
                          Require(arrays.coordinates == expected.coordinates &&
                                      arrays.connectivity == expected.connectivity,
                                  "the mesh is wrong");
                      } else {
                          Require(std::filesystem::file_size(converted) > expected.NumBytes(),
                                  "the file is too small");
                      }
                  }},
             {.name = "Exodus library reads and writes",
              .prepare = [&] { std::filesystem::remove(copied); },
              .run = [&] { ExodusArrays(file).Write(copied); }}}));
        std::filesystem::remove(converted);
        std::filesystem::remove(copied);
    }
    std::filesystem::remove_all(imported);
    return rows;
}

}  // namespace

std::vector<Workload> MeshWorkloads() {
    return {{"mesh-write", Write},
            {"write-new", WriteNew},
            {"mesh-read-first", ReadFirst},
            {"mesh-read-again", ReadAgain},
            {"invert", Invert},
            {"surface-areas", Areas},
            {"import", Import},
            {"convert", Convert}};
}

}  // namespace storage_benchmark
