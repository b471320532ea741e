#include <algorithm>
#include <array>
#include <filesystem>
#include <vector>

#include "AllocationPeak.h"
#include "ImportedMesh.h"
#include "ORQExcCheck.h"
#include "ORQExcPoint.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

using orq::exchange::operator-;
using orq::exchange::Cross;
using orq::exchange::Dot;
using orq::exchange::Point;

// The determinants at the corners of each hexahedron; how many are not above zero.
std::size_t CountNotPositive(const ReadMesh& mesh) {
    constexpr std::array<std::array<std::size_t, 3>, 8> kNeighbours = {
        {{1, 3, 4}, {2, 0, 5}, {3, 1, 6}, {0, 2, 7}, {7, 5, 0}, {4, 6, 1}, {5, 7, 2}, {6, 4, 3}}};
    std::size_t count = 0;
    for (std::size_t first = 0; first < mesh.connectivity.size(); first += 8) {
        std::array<Point, 8> at;
        for (std::size_t i = 0; i < 8; ++i) {
            const auto node = static_cast<std::size_t>(mesh.connectivity[first + i]);
            std::copy_n(mesh.coordinates.begin() + static_cast<std::ptrdiff_t>(3 * node), 3,
                        at[i].begin());
        }
        for (std::size_t i = 0; i < 8; ++i) {
            const auto [a, b, c] = kNeighbours[i];
            count += Dot(at[a] - at[i], Cross(at[b] - at[i], at[c] - at[i])) > 0 ? 0 : 1;
        }
    }
    return count;
}

ORQExcCheckResult Check(const ORQObjDocument& document, std::vector<std::string> rules) {
    return ORQExcChecker().Run(document, {.only = std::move(rules)});
}

// The rules of nodes and elements over a sound mesh.
std::vector<Row> Rules(const Settings& settings) {
    const StructuredMesh mesh(settings.nSide);
    const ORQObjDocument document = OpenMesh(ImportMesh(settings, mesh, "rules"));
    const auto expectNothing = [](const ORQExcCheckResult& result) {
        Require(result.findings.empty() && result.failures.empty(), "a sound mesh has findings");
    };
    ORQExcCheckResult result;
    std::vector<Row> rows = {
        Measure(settings, "rules", 3.0,
                {{.name = "ours",
                  .run =
                      [&] {
                          result = Check(document, {"NOD", "ELM"});
                      },
                  .check = [&] { expectNothing(result); }},
                 {.name = "read, corner Jacobians", .run = [&] {
                      Require(CountNotPositive(ReadMesh(ORQExcModel(document))) == 0, "inverted");
                  }}})};
    rows.push_back(Measure(settings, "rules-coincident", 2.0,
                           {{.name = "ours",
                             .run = [&] { result = Check(document, {"NOD003"}); },
                             .check = [&] { expectNothing(result); }},
                            {.name = "read, sorted coordinates", .run = [&] {
                                 const ReadMesh read{ORQExcModel(document)};
                                 std::vector<Point> points(read.coordinates.size() / 3);
                                 for (std::size_t i = 0; i < read.coordinates.size(); ++i) {
                                     points[i / 3][i % 3] = read.coordinates[i];
                                 }
                                 std::ranges::sort(points);
                             }}}));
    const double bytes = static_cast<double>(mesh.nNodes) * 24 +
                         static_cast<double>(mesh.connectivity.size()) * sizeof(int);
    const double peak = PeakMebibytes([&] { Check(document, {"NOD", "ELM"}); });
    rows.push_back({"rules-memory", "MiB", {peak}, "the mesh", {bytes / (1 << 20)}, 1.5, {}});
    std::filesystem::remove_all(settings.directory / "rules.orq");
    return rows;
}

}  // namespace

std::vector<Workload> RuleWorkloads() {
    return {{"rules", Rules}};
}

}  // namespace storage_benchmark
