#include <filesystem>
#include <span>
#include <vector>

#include "ChildProcess.h"
#include "ORQExcDifference.h"
#include "ORQExcModel.h"
#include "ORQSimDatabase.h"
#include "StructuredMesh.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

ORQObjDocument Imported(const Settings& settings, const StructuredMesh& mesh, const char* name) {
    const std::filesystem::path file = settings.directory / (std::string(name) + ".e");
    const std::filesystem::path model = settings.directory / (std::string(name) + ".orq");
    std::filesystem::remove_all(model);
    WriteExodus(mesh, file);
    ChildProcess({ORQ_PROGRAM, "import", file.string(), "-o", model.string()}).Finish();
    std::filesystem::remove(file);
    return ORQObjDocument(ORQSimDatabase::Open(model.string(), ORQSimDatabase::Mode::ReadOnly));
}

// All that a comparison has to look at.
void ReadAll(const ORQObjDocument& document) {
    const ORQExcModel model(document);
    std::vector<double> coordinates(static_cast<std::size_t>(model.NumNodes()) * 3);
    model.ReadCoordinates(0, model.NumNodes(), coordinates);
    for (const ORQExcModel::Block& block : model.Blocks()) {
        std::vector<int> nodes(static_cast<std::size_t>(block.elements.Size()) *
                               static_cast<std::size_t>(block.shape->nNodes));
        model.ReadConnectivity(block, 0, block.elements.Size(), nodes);
    }
    Require(!model.NodeLabels().empty() && !model.ElementLabels().empty(), "no labels");
}

// Two models of a mesh in which one element has its nodes in another order.
std::vector<Row> Diff(const Settings& settings) {
    StructuredMesh mesh(settings.nSide);
    const ORQObjDocument before = Imported(settings, mesh, "before");
    std::swap(mesh.connectivity[0], mesh.connectivity[1]);
    const ORQObjDocument after = Imported(settings, mesh, "after");
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
