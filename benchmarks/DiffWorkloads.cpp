#include <filesystem>
#include <vector>

#include "ImportedMesh.h"
#include "ORQExcDifference.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// All that a comparison has to look at.
void ReadAll(const ORQObjDocument& document) {
    const ORQExcModel model(document);
    const ReadMesh mesh(model);
    Require(!model.NodeLabels().empty() && !model.ElementLabels().empty(), "no labels");
}

// Two models of a mesh in which one element has its nodes in another order.
std::vector<Row> Diff(const Settings& settings) {
    StructuredMesh mesh(settings.nSide);
    const ORQObjDocument before = OpenMesh(ImportMesh(settings, mesh, "before"));
    std::swap(mesh.connectivity[0], mesh.connectivity[1]);
    const ORQObjDocument after = OpenMesh(ImportMesh(settings, mesh, "after"));
    ORQExcDifferences differences;
    std::vector<Row> rows = {Measure(settings, "diff", 3.0,
                                     {{.name = "ours",
                                       .run = [&] { differences = ORQExcCompare(before, after); },
                                       .check =
                                           [&] {
                                               Require(
                                                   differences.list.size() == 1 &&
                                                       differences.list[0].what == "connectivity" &&
                                                       differences.list[0].members.at(0).label == 1,
                                                   "the difference is wrong");
                                           }},
                                      {.name = "reading both", .run = [&] {
                                           ReadAll(before);
                                           ReadAll(after);
                                       }}})};
    for (const char* name : {"before.orq", "after.orq"}) {
        std::filesystem::remove_all(settings.directory / name);
    }
    return rows;
}

}  // namespace

std::vector<Workload> DiffWorkloads() {
    return {{"diff", Diff}};
}

}  // namespace storage_benchmark
