// VTU files, as VTK itself reads them and as other programs write them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQExcShapes.h"
#include "ORQSimDatabase.h"
#include "SampleMeshes.h"

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::ElementsAre;

class Vtu : public testing::Test {
  protected:
    void SetUp() override {
        if (std::system(ORQ_PYTHON " -c 'import vtkmodules.vtkIOXML' 2>/dev/null") != 0) {
            GTEST_SKIP() << "no VTK for Python on this machine";
        }
    }
    json Exported(const fs::path& mesh) const {
        const std::string file = m_folder / "m.vtu";
        EXPECT_EQ(RunHere({"import", mesh.string(), "-o", m_folder / "m.orq"}).status, 0);
        EXPECT_EQ(RunHere({"export", m_folder / "m.orq", "-o", file}).status, 0);
        const std::string command = ORQ_PYTHON " " ORQ_READ_VTU " " + file + " > " + file + ".json";
        EXPECT_EQ(std::system(command.c_str()), 0);
        return json::parse(Bytes(file + ".json"));
    }
    ScratchFolder m_folder;
};

TEST_F(Vtu, HoldsPointsCellsLabelsBlocksAndSets) {
    PutBytes(m_folder / "mesh.msh", kTwoTriangles);
    const json grid = Exported(m_folder / "mesh.msh");
    EXPECT_EQ(grid["points"], json::parse("[[0,1,0],[0,0,0],[1,1,0],[1,0,0]]"));
    EXPECT_EQ(grid["cells"], json::parse("[[1,3,0],[3,2,0],[1,3]]"));
    EXPECT_EQ(grid["types"], json::parse("[5,5,3]"));
    EXPECT_EQ(grid["point_data"], json::parse(R"({"label": [40,10,30,20]})"));
    EXPECT_EQ(grid["cell_data"], json::parse(R"({"label": [7,9,3], "block": [1,1,2],
                              "element set half: #2": [0,1,0]})"));
}

// Zlib in base64, plain text, and names that in other programs' files mean something else.
TEST_F(Vtu, FilesOfOthersComeInWithTheirArraysAsResults) {
    PutBytes(m_folder / "other.vtu", R"(<?xml version="1.0"?>
<VTKFile type="UnstructuredGrid" version="0.1" byte_order="LittleEndian" compressor="vtkZLibDataCompressor">
<UnstructuredGrid><Piece NumberOfPoints="3" NumberOfCells="1">
<PointData><DataArray type="Int32" Name="label" format="ascii">0 0 -7</DataArray></PointData>
<CellData><DataArray type="Int32" Name="block" format="ascii">-1</DataArray></CellData>
<Points><DataArray type="Float64" NumberOfComponents="3" format="binary">
AQAAAEgAAAAAAAAAEgAAAA==eJxjYMAHPtjjlUaSBwA9VgJf
</DataArray></Points>
<Cells><DataArray type="Int64" Name="connectivity" format="ascii">0 1 2</DataArray>
<DataArray type="Int64" Name="offsets" format="ascii">3</DataArray>
<DataArray type="UInt8" Name="types" format="ascii">5</DataArray></Cells>
</Piece></UnstructuredGrid></VTKFile>)");
    const std::string model = m_folder / "m.orq";
    ASSERT_EQ(RunHere({"import", (m_folder / "other.vtu").string(), "-o", model}).status, 0);
    const ORQExcModel mesh{
        ORQObjDocument(ORQSimDatabase::Open(ModelAt(model), ORQSimDatabase::Mode::ReadOnly))};
    EXPECT_THAT(mesh.NodeLabels(), ElementsAre(1, 2, 3));
    std::vector<double> points(9);
    mesh.ReadCoordinates(0, 3, points);
    EXPECT_THAT(points, ElementsAre(0, 0, 0, 1, 0, 0, 0, 1, 0));
    const ORQExcResults results(mesh.Document());
    ASSERT_EQ(results.Fields().size(), 1);
    std::vector<double> values(3);
    results.Read(results.Fields()[0], 0, mesh.Nodes(), values);
    EXPECT_THAT(values, ElementsAre(0, 0, -7));
}

TEST_F(Vtu, NumbersTooLargeAreErrorsAndTooSmallOnesZero) {
    const auto grid = [](const std::string& x) {
        return "<VTKFile type=\"UnstructuredGrid\"><UnstructuredGrid><Piece NumberOfPoints=\"1\" "
               "NumberOfCells=\"1\"><Points><DataArray type=\"Float64\" NumberOfComponents=\"3\" "
               "format=\"ascii\">" +
               x +
               " 0 0</DataArray></Points><Cells><DataArray type=\"Int64\" Name=\"connectivity\" "
               "format=\"ascii\">0</DataArray><DataArray type=\"Int64\" Name=\"offsets\" "
               "format=\"ascii\">1</DataArray><DataArray type=\"UInt8\" Name=\"types\" "
               "format=\"ascii\">1</DataArray></Cells></Piece></UnstructuredGrid></VTKFile>";
    };
    const exodus_file::ScratchFolder folder;
    for (const auto& [x, status] : {std::pair("1e-400", 0), std::pair("1e400", 3)}) {
        PutBytes(folder / "p.vtu", grid(x));
        const CommandResult result =
            RunHere({"import", folder / "p.vtu", "-o", folder / (std::string(x) + ".orq")});
        EXPECT_EQ(result.status, status) << result.err;
        if (status != 0) {
            EXPECT_NE(result.err.find("\"1e400\" is no number"), std::string::npos) << result.err;
        }
    }
}

TEST_F(Vtu, NodesOfEachShapeStandInTheOrderOfVtk) {
    exodus_file::Write(OneOfEachShape(), m_folder / "mesh.e");
    const json grid = Exported(m_folder / "mesh.e");
    EXPECT_EQ(grid["cells"].size(), ORQExcShapes().size());
    EXPECT_LT(grid["off_middle"], 1e-14);
    // A tetrahedron, a pyramid, a wedge, a hexahedron.
    EXPECT_NEAR(grid["size"]["Volume"], 4 + 8 + 12 + 24, 1e-9);
}

TEST_F(Vtu, HoldsWhatTheShippedModelHolds) {
    const json grid = Exported(ORQ_WING_BOX);
    const exodus_file::Mesh mesh = exodus_file::Read(ORQ_WING_BOX);
    EXPECT_EQ(grid["points"], json(mesh.positions));
    EXPECT_EQ(grid["point_data"]["label"], json(mesh.labels));
    json cells = json::array();
    json labels = json::array();
    json blocks = json::array();
    for (const exodus_file::Block& block : mesh.blocks) {
        for (std::size_t i = 0; i < block.elements.size(); ++i) {
            cells.push_back(block.elements[i]);
            labels.push_back(block.labels[i]);
            blocks.push_back(block.id);
        }
    }
    EXPECT_EQ(grid["cells"], cells);
    EXPECT_EQ(grid["cell_data"]["label"], labels);
    EXPECT_EQ(grid["cell_data"]["block"], blocks);
    ASSERT_FALSE(mesh.nodeSets.empty());
    for (const exodus_file::Set& set : mesh.nodeSets) {
        std::vector<int> marks(mesh.positions.size());
        for (const int node : set.members) {
            marks[static_cast<std::size_t>(node)] = 1;
        }
        EXPECT_EQ(grid["point_data"]["node set " + set.name], json(marks)) << set.name;
    }
}

}  // namespace
}  // namespace orqmodel
