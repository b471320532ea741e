// A structured mesh as a model database that the program imported, and all that is in it read.
#pragma once

#include <string>

#include "Harness.h"
#include "ORQExcModel.h"
#include "ORQObjDocument.h"
#include "StructuredMesh.h"

namespace storage_benchmark {

// Imports into NAME.orq of the settings' directory; what was there is replaced.
std::filesystem::path ImportMesh(const Settings& settings, const StructuredMesh& mesh,
                                 const std::string& name);
ORQObjDocument OpenMesh(const std::filesystem::path& model);

// Coordinates, [nodes][3], and connectivity, block after block.
struct ReadMesh {
    explicit ReadMesh(const ORQExcModel& model);

    std::vector<double> coordinates;
    std::vector<int> connectivity;
};

}  // namespace storage_benchmark
