// Writes small inputs from which each fuzzer can begin, into a folder for each.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "SmallMesh.h"
#include "SmallModels.h"
#include "commands/CommandLine.h"

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

/// A database in the form in which fuzz_database takes it.
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
    Put(folder / "bulk_data/plate.bdf", kSmallDeck);
    Put(folder / "layup/small.json", kSmallLayup);
    Put(folder / "layup/wing_box.json", Get(argv[2]));
    // Changes of rows: of which database (a byte), and some of eight bytes each.
    Put(folder / "rows/one_change", std::string("\0\1\2\3\4\5\6\7\10", 9));
    const fs::path database = folder / "seed.orq";
    Run({"import", folder / "gmsh/version_2.msh", "--layup", folder / "layup/small.json", "-o",
         database, "--force"});
    Put(folder / "database/layup", Packed(database));
    for (const auto& [input, name] : {std::pair{folder / "gmsh/version_2.msh", "mesh"},
                                      {folder / "bulk_data/plate.bdf", "deck"}}) {
        Run({"import", input, "-o", database, "--force"});
        for (const std::string format : {"exodus", "gmsh", "vtu"}) {
            const std::string ending = format == "exodus" ? ".e"
                                       : format == "gmsh" ? ".msh"
                                                          : ".vtu";
            fs::create_directories(folder / format);
            Run({"export", database, "-o", folder / format / (name + ending), "--force"});
        }
        Put(folder / "database" / name, Packed(database));
    }
    fs::remove_all(database);
    return 0;
}
