// Writes small inputs from which each fuzzer can begin, into a folder for each.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "CommandLine.h"
#include "SmallMesh.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kMesh4 = R"($MeshFormat
4.1 0 8
$EndMeshFormat
$Entities
0 0 1 0
7 0 0 0 1 1 0 1 3 0
$EndEntities
$Nodes
1 4 1 4
2 7 0 4
1
2
3
4
0 0 0
1 0 0
1 1 0
0 1 0
$EndNodes
$Elements
1 2 1 2
2 7 2 2
1 1 2 3
2 1 3 4
$EndElements
)";

constexpr std::string_view kDeck = R"(SOL 101
CEND
BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,1.,1.,0.
GRID,4,,0.,1.,0.
CORD2R,5,,0.,0.,0.,0.,0.,1.
+,1.,1.,0.
CQUAD4,11,8,1,2,3,4,30.
CTRIA3,12,9,1,2,3
CBAR,13,10,1,2,0.,0.,1.
PBAR,10,5,1.-4,1.-8,1.-8,1.-8
PCOMP,8,,,,,,,SYM
+,5,.1,0.,YES,6,.2,45.,YES
PSHELL,9,5,.2,5,,5
MAT1,5,7.+10,,.3,2700.,2.3-5,20.
MATT1,5,1
TABLEM1,1
,20.,7.+10,100.,6.5+10,ENDT
MAT8,6,1.35+11,8.5+9,.32,4.8+9,4.8+9,3.1+9,1580.
MAT2,7,1.+11,2.+10,0.,1.+11,0.,4.+10,1500.
MAT9,8,1.+11,2.+10,2.+10,0.,0.,0.,1.+11
+,2.+10,0.,0.,0.,1.+11,0.,0.,0.
+,4.+10,0.,0.,4.+10,0.,4.+10
CHEXA,14,11,1,2,3,4,1,2
+,3,4
PSOLID,11,8,5
RBE2,20,1,123,2,3
SET1,1,1,THRU,4
ENDDATA
)";

constexpr std::string_view kLayup = R"({
  "version": 1,
  "materials": [{"name": "tape", "constants": {"E1": 1.35e11, "nu12": 0.32}, "units": {"E1": "Pa"},
    "properties": [{"property": "elastic", "columns": ["temperature", "E1"], "rows": [[20, 1e11], [80, 9e10]]}]}],
  "orientations": [{"name": "span", "axis1": [1, 0, 0], "axis2": [0, 1, 0]}],
  "plies": [{"name": "outer"}],
  "sections": [{"name": "wall", "symmetric": true, "layers": [
    {"material": "tape", "ply": "outer", "orientation": "span", "thickness": 0.125, "angle": 45},
    {"material": "tape", "thickness": 0.125, "section_points": 3}]}],
  "assignments": [{"elements": ["skin"], "section": "wall"}]
})";

void Put(const fs::path& file, std::string_view bytes) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
}

std::string Get(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void Run(const std::vector<std::string>& arguments) {
    std::ofstream nowhere("/dev/null");
    if (orqmodel::RunCommandLine(arguments, {nowhere, std::cerr, false}) != 0) {
        std::cerr << "make_seeds: " << arguments[0] << " failed\n";
        std::exit(1);
    }
}

/// As fuzz_database takes it.
std::string Packed(const fs::path& database) {
    const std::string catalogue = Get(database / "catalogue.sqlite");
    const auto size = static_cast<std::uint32_t>(catalogue.size());
    return std::string(reinterpret_cast<const char*>(&size), sizeof size) + catalogue +
           Get(database / "bulk.bin");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: make_seeds FOLDER LAYUP_FILE_OF_THE_WING_BOX\n";
        return 2;
    }
    const fs::path folder = argv[1];
    Put(folder / "gmsh/version_2.msh", kSmallMesh);
    Put(folder / "gmsh/version_4.msh", kMesh4);
    Put(folder / "bulk_data/plate.bdf", kDeck);
    Put(folder / "layup/small.json", kLayup);
    Put(folder / "layup/wing_box.json", Get(argv[2]));
    const fs::path database = folder / "seed.orq";
    Run({"import", folder / "gmsh/version_2.msh", "--layup", folder / "layup/small.json", "-o",
         database, "--force"});
    Put(folder / "database/layup", Packed(database));
    for (const auto& [input, name] : {std::pair{folder / "gmsh/version_2.msh", "mesh"},
                                      {folder / "bulk_data/plate.bdf", "deck"}}) {
        Run({"import", input, "-o", database, "--force"});
        fs::create_directories(folder / "exodus");
        Run({"export", database, "-o", folder / "exodus" / (std::string(name) + ".e"), "--force"});
        Put(folder / "database" / name, Packed(database));
    }
    fs::remove_all(database);
    return 0;
}
