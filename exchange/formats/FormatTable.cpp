#include "formats/FormatTable.h"

#include <array>

#include "formats/MeshImporter.h"
#include "formats/exodus/ExodusExport.h"
#include "formats/exodus/ExodusPieces.h"
#include "formats/exodus/ExodusReader.h"
#include "formats/gmsh/GmshExport.h"
#include "formats/gmsh/GmshReader.h"
#include "formats/nastran/NastranExport.h"
#include "formats/nastran/NastranReader.h"
#include "formats/vtk/VtuExport.h"
#include "formats/vtk/VtuReader.h"

namespace orq::exchange {

namespace {

template <class Reader>
std::unique_ptr<ORQExcImporter> OpenMesh(const std::filesystem::path& file) {
    return std::make_unique<MeshImporter>(std::make_unique<Reader>(file), file);
}

std::unique_ptr<ORQExcImporter> OpenExodus(const std::filesystem::path& file) {
    const std::vector<std::filesystem::path> pieces = ExodusPieceFiles(file);
    return pieces.empty()
               ? OpenMesh<ExodusReader>(file)
               : std::make_unique<MeshImporter>(std::make_unique<ExodusPieces>(pieces), file);
}

}  // namespace

std::span<const FormatRow> FormatTable() {
    static const std::array<FormatRow, 5> rows = {{
        {"Exodus II",
         {".e", ".ex2", ".exo", ".exodus", ".g", ".gen"},
         {"CDF", "\x89HDF\r\n\x1a\n"},
         OpenExodus,
         WriteExodus},
        {"Gmsh", {".msh"}, {"$MeshFormat"}, OpenMesh<GmshReader>, WriteGmsh},
        {"NASTRAN bulk data",
         {".bdf", ".dat", ".nas"},
         {"INIT MASTER", "NASTRAN ", "ID ", "SOL ", "CEND", "BEGIN BULK", "GRID", "$ "},
         OpenMesh<NastranReader>,
         WriteNastran},
        {"VTK unstructured grid", {".vtu"}, {"<VTKFile", "<?xml"}, OpenMesh<VtuReader>, WriteVtu},
        {"VTK unstructured grids by time",
         {".pvd"},
         {},
         OpenMesh<VtuReader>,
         WriteVtuCollection,
         true},
    }};
    return rows;
}

}  // namespace orq::exchange
