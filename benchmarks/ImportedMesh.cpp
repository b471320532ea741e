#include "ImportedMesh.h"

#include <span>

#include "ChildProcess.h"
#include "ORQSimDatabase.h"

namespace storage_benchmark {

std::filesystem::path ImportMesh(const Settings& settings, const StructuredMesh& mesh,
                                 const std::string& name) {
    const std::filesystem::path file = settings.directory / (name + ".e");
    std::filesystem::path model = settings.directory / (name + ".orq");
    std::filesystem::remove_all(model);
    WriteExodus(mesh, file);
    ChildProcess({ORQ_PROGRAM, "import", file.string(), "-o", model.string()}).Finish();
    std::filesystem::remove(file);
    return model;
}

ORQObjDocument OpenMesh(const std::filesystem::path& model) {
    return ORQObjDocument(ORQSimDatabase::Open(model.string(), ORQSimDatabase::Mode::ReadOnly));
}

ReadMesh::ReadMesh(const ORQExcModel& model)
    : coordinates(static_cast<std::size_t>(model.NumNodes()) * 3) {
    model.ReadCoordinates(0, model.NumNodes(), coordinates);
    for (const ORQExcModel::Block& block : model.Blocks()) {
        const std::size_t begin = connectivity.size();
        connectivity.resize(begin + static_cast<std::size_t>(block.elements.Size()) *
                                        static_cast<std::size_t>(block.shape->nNodes));
        model.ReadConnectivity(block, 0, block.elements.Size(),
                               std::span(connectivity).subspan(begin));
    }
}

}  // namespace storage_benchmark
