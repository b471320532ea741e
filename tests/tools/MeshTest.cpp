// Meshes that come back equal through the formats, and the reader of Gmsh files.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcImportError.h"
#include "ORQExcModel.h"
#include "ORQSimDatabase.h"
#include "SampleMeshes.h"
#include "formats/gmsh/GmshReader.h"
#include "model/ArrayNames.h"

using namespace orq::exchange;

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

// --- Exodus II out and in again ------------------------------------------------------------------

void SortSides(exodus_file::Mesh& mesh) {
    for (auto& set : mesh.sideSets) {
        std::vector<std::pair<int, int>> sides;
        for (std::size_t i = 0; i < set.members.size(); ++i) {
            sides.emplace_back(set.sides[i], set.members[i]);
        }
        std::ranges::sort(sides);
        for (std::size_t i = 0; i < sides.size(); ++i) {
            set.sides[i] = sides[i].first;
            set.members[i] = sides[i].second;
        }
    }
}

fs::path RealMesh(const std::string& name) {
    return name == "wing_box.e" ? fs::path(ORQ_WING_BOX) : fs::path(ORQ_SHARED_MODELS) / name;
}

class RoundTrip : public testing::Test, public testing::WithParamInterface<const char*> {
  protected:
    /// Imports the mesh and exports it again.
    void ImportAndExport(const fs::path& input, const std::string& output) const {
        const std::string model = m_folder / "m.orq";
        ASSERT_EQ(RunHere({"import", input.string(), "-o", model, "--force"}).status, 0);
        ASSERT_EQ(RunHere({"export", model, "-o", output, "--strict"}).status, 0);
        EXPECT_EQ(RunHere({"export", model, "-o", output}).status, 2);  // it stands there already
        EXPECT_EQ(RunHere({"verify", model}).status, 0);
    }
    static void ExpectEqual(exodus_file::Mesh written, exodus_file::Mesh expected) {
        SortSides(expected);
        SortSides(written);
        EXPECT_EQ(written.dimension, expected.dimension);
        EXPECT_EQ(written.title, expected.title);
        EXPECT_EQ(written.positions, expected.positions);
        EXPECT_EQ(written.labels, expected.labels);
        EXPECT_EQ(written.blocks, expected.blocks);
        EXPECT_EQ(written.nodeSets, expected.nodeSets);
        EXPECT_EQ(written.elementSets, expected.elementSets);
        EXPECT_EQ(written.sideSets, expected.sideSets);
    }

    ScratchFolder m_folder;
};

TEST_P(RoundTrip, AMeshComesBackEqual) {
    const fs::path input = RealMesh(GetParam());
    if (!fs::exists(input)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    const std::string once = m_folder / "once.e";
    const std::string twice = m_folder / "twice.e";
    ImportAndExport(input, once);
    ImportAndExport(once, twice);
    ExpectEqual(exodus_file::Read(twice), exodus_file::Read(once));
    if (input.extension() != ".msh") {
        ExpectEqual(exodus_file::Read(once), exodus_file::Read(input));
    }
}

INSTANTIATE_TEST_SUITE_P(All, RoundTrip,
                         testing::Values("wing_box.e", "box_solid_shell_results.g",
                                         "basemat_isolators.e", "block_crush_1.ex2",
                                         "subduction_tri.exo", "shelf_modes.msh",
                                         "strikeslip_tet.msh"));

/// A mesh by labels and names, as other formats keep it: without numbers of blocks and sets, and with
/// elements in any order.
struct NamedMesh {
    std::vector<std::vector<double>> positions;
    std::vector<int> labels;
    std::map<int, std::vector<int>> elements;                       // nodes by label
    std::map<std::string, std::set<int>> elementSets;               // labels; blocks are sets too
    std::map<std::string, std::set<int>> nodeSets;                  // ordinals
    std::map<std::string, std::set<std::pair<int, int>>> sideSets;  // label and side
};

NamedMesh Named(const exodus_file::Mesh& mesh) {
    NamedMesh named{mesh.positions, mesh.labels, {}, {}, {}, {}};
    std::vector<int> labels;
    for (const exodus_file::Block& block : mesh.blocks) {
        for (std::size_t i = 0; i < block.labels.size(); ++i) {
            named.elements[block.labels[i]] = block.elements[i];
            named.elementSets[block.name].insert(block.labels[i]);
            labels.push_back(block.labels[i]);
        }
    }
    const auto labelOf = [&](int element) { return labels[static_cast<std::size_t>(element)]; };
    for (const exodus_file::Set& set : mesh.elementSets) {
        for (const int member : set.members) {
            named.elementSets[set.name].insert(labelOf(member));
        }
    }
    for (const exodus_file::Set& set : mesh.nodeSets) {
        named.nodeSets[set.name] = {set.members.begin(), set.members.end()};
    }
    for (const exodus_file::Set& set : mesh.sideSets) {
        auto& sides = named.sideSets[set.name];
        for (std::size_t i = 0; i < set.members.size(); ++i) {
            sides.insert({labelOf(set.members[i]), set.sides[i]});
        }
    }
    return named;
}

TEST_P(RoundTrip, AMeshComesBackEqualThroughOtherFormats) {
    const fs::path input = RealMesh(GetParam());
    if (!fs::exists(input)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    const std::string direct = m_folder / "direct.e";
    const std::string back = m_folder / "back.e";
    const std::string model = m_folder / "m.orq";
    ImportAndExport(input, direct);
    for (const std::string ending : {".vtu", ".msh"}) {
        SCOPED_TRACE(ending);
        const std::string once = m_folder / ("once" + ending);
        const std::string twice = m_folder / ("twice" + ending);
        ASSERT_EQ(RunHere({"import", direct, "-o", model, "--force"}).status, 0);
        ASSERT_EQ(RunHere({"export", model, "-o", once}).status, 0);
        ASSERT_EQ(RunHere({"import", once, "-o", model, "--force"}).status, 0);
        ASSERT_EQ(RunHere({"export", model, "-o", twice}).status, 0);
        ASSERT_EQ(RunHere({"export", model, "-o", back, "--force"}).status, 0);
        const NamedMesh expected = Named(exodus_file::Read(direct));
        NamedMesh mesh = Named(exodus_file::Read(back));
        if (ending == ".vtu") {
            EXPECT_TRUE(Bytes(once) == Bytes(twice));
            EXPECT_EQ(exodus_file::Read(back).title, exodus_file::Read(direct).title);
        } else {
            // Blocks that sets cut are several there, and a set that has the block's name.
            std::erase_if(mesh.elementSets, [&](const auto& set) {
                return !expected.elementSets.contains(set.first);
            });
        }
        EXPECT_EQ(mesh.positions, expected.positions);
        EXPECT_EQ(mesh.labels, expected.labels);
        EXPECT_TRUE(mesh.elements == expected.elements);
        EXPECT_EQ(mesh.elementSets, expected.elementSets);
        EXPECT_EQ(mesh.nodeSets, expected.nodeSets);
        EXPECT_EQ(mesh.sideSets, expected.sideSets);
    }
}

TEST_F(RoundTrip, EachShapeComesBackEqual) {
    exodus_file::Write(OneOfEachShape(), m_folder / "in.e");
    ImportAndExport(m_folder / "in.e", m_folder / "out.e");
    exodus_file::Mesh expected = exodus_file::Read(m_folder / "in.e");
    for (exodus_file::Block& block : expected.blocks) {
        // The names that readers of the format know these shells by.
        block.shape = block.shape == "SHELL6"   ? "TRISHELL6"
                      : block.shape == "SHELL9" ? "QUADSHELL9"
                                                : block.shape;
    }
    ExpectEqual(exodus_file::Read(m_folder / "out.e"), expected);
}

// --- Gmsh ----------------------------------------------------------------------------------------

class Gmsh : public testing::Test {
  protected:
    fs::path Written(std::string_view text) const {
        PutBytes(m_folder / "mesh.msh", text);
        return m_folder / "mesh.msh";
    }
    std::string ErrorOf(const std::string& text) const {
        try {
            GmshReader reader(Written(text));
        } catch (const ORQExcImportError& error) {
            return error.what();
        }
        return "no error";
    }
    ScratchFolder m_folder;
};

/// Two triangles in the group "skin": as version 4.0, and as 4.1 in two partitions.
std::string Version40(bool isBinary) {
    std::string text = fmt::format("$MeshFormat\n4 {} 8\n", isBinary ? 1 : 0);
    const auto add = [&]<class... Values>(Values... values) {
        const auto one = [&](auto value) {
            if (isBinary) {
                text.append(reinterpret_cast<const char*>(&value), sizeof value);
            } else {
                text += fmt::format("{} ", value);
            }
        };
        (one(values), ...);
    };
    using Count = std::uint64_t;
    if (isBinary) {
        add(1);
    }
    text += "\n$EndMeshFormat\n$PhysicalNames\n1\n2 4 \"skin\"\n$EndPhysicalNames\n$Entities\n";
    add(Count{1}, Count{0}, Count{1}, Count{0});
    add(1, 0., 0., 0., 0., 0., 0., Count{0});
    add(6, 0., 0., 0., 1., 1., 0., Count{1}, 4, Count{0});
    text += "\n$EndEntities\n$Nodes\n";
    add(Count{1}, Count{4}, 6, 2, 0, Count{4});
    add(1, 0., 0., 0., 2, 1., 0., 0., 5, 1., 1., 0., 9, 0., 1., 0.);
    text += "\n$EndNodes\n$Elements\n";
    add(Count{1}, Count{2}, 6, 2, 2, Count{2}, 3, 1, 2, 5, 7, 1, 5, 9);
    return text + "\n$EndElements\n";
}

constexpr const char* kPartitioned = R"($Comments
what anybody says
$EndComments
$MeshFormat
4.1 0 8
$EndMeshFormat
$PhysicalNames
1
2 4 "skin"
$EndPhysicalNames
$Entities
0 0 1 0
6 0 0 0 1 1 0 1 4 0
$EndEntities
$PartitionedEntities
2
1
1 2
0 0 2 0
11 2 6 1 1 0 0 0 1 1 0 1 4 0
12 2 6 2 1 2 0 0 0 +1 1 0 1 -4 0
$EndPartitionedEntities
a line that belongs to nothing
$Nodes
1 4 1 9
2 11 0 4
1
2
5
9
0 0 0
1 0 0
1 1 0
0 1 0
$EndNodes
$Elements
2 2 3 7
2 11 2 1
3 1 2 5
2 12 2 1
7 1 5 9
$EndElements
)";

TEST_F(Gmsh, VersionFourZeroAndPartitionsAreRead) {
    for (const std::string& text : {Version40(false), Version40(true), std::string(kPartitioned)}) {
        SCOPED_TRACE(text.substr(0, 30));
        GmshReader reader(Written(text));
        std::vector<int> labels(4);
        reader.ReadLabels(ORQObjLabelerType::Node, 0, 4, labels);
        EXPECT_EQ(labels, (std::vector{1, 2, 5, 9}));
        std::vector<double> coordinates(12);
        reader.ReadCoordinates(0, 4, coordinates);
        EXPECT_EQ(coordinates, (std::vector<double>{0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0}));
        labels.resize(2);
        reader.ReadLabels(ORQObjLabelerType::Element, 0, 2, labels);
        EXPECT_EQ(labels, (std::vector{3, 7}));
        if (reader.Blocks().size() == 1) {
            EXPECT_EQ(reader.Blocks()[0].name, "skin");  // the group has the whole block
        } else {
            ASSERT_EQ(reader.ElementSets().size(), 1);
            EXPECT_EQ(reader.ElementSets()[0].name, "skin");
            EXPECT_EQ(reader.ReadSet(ORQObjLabelerType::Element, 0), (std::vector{0, 1}));
        }
    }
}

// Only our own export says something of the mesh by the names of views.
TEST_F(Gmsh, ViewsOfOthersAreResultsWhateverTheirNames) {
    std::string text = kTwoTriangles;
    for (const char* const name : {"shell", "surface top", "attribute age"}) {
        text += fmt::format(
            "$ElementData\n1\n\"{}\"\n1\n0\n3\n0\n1\n2\n7 1.5\n9 2\n$EndElementData\n", name);
    }
    text += "$NodeData\n1\n\"node set all\"\n1\n0\n3\n0\n1\n1\n10 1\n$EndNodeData\n";
    GmshReader reader(Written(text));
    std::set<std::string> names;
    for (const ORQExcResultArray& array : reader.Results()->Arrays()) {
        names.insert(array.name);
    }
    EXPECT_EQ(names,
              (std::set<std::string>{"shell", "surface top", "attribute age", "node set all"}));
    EXPECT_TRUE(reader.NodeSets().empty());
    text += fmt::format("$Comments\n{}\n$EndComments\n", array_names::kViewsOfMesh);
    EXPECT_THAT(ErrorOf(text), testing::HasSubstr("1.5 names no sides"));
}

TEST_F(Gmsh, SectionsMayStandInAnyOrderAndElementsInSeveralGroups) {
    GmshReader reader(Written(kTwoTriangles));
    ASSERT_EQ(reader.Blocks().size(), 2);
    // A group of the elements of one block names it.
    EXPECT_EQ(reader.Blocks()[0].name, "all of it");
    EXPECT_EQ(reader.Blocks()[1].name, "curve 5 BAR2");
    std::vector<int> nodes(6);
    reader.ReadConnectivity(0, 0, 2, nodes);
    EXPECT_THAT(nodes, ElementsAre(1, 3, 0, 3, 2, 0));
    std::vector<int> labels(3);
    reader.ReadLabels(ORQObjLabelerType::Element, 0, 3, labels);
    EXPECT_THAT(labels, ElementsAre(7, 9, 3));
    ASSERT_EQ(reader.ElementSets().size(), 1);
    EXPECT_EQ(reader.ElementSets()[0].name, "half: #2");
    EXPECT_THAT(reader.ReadSet(ORQObjLabelerType::Element, 0), ElementsAre(1));
}

TEST_F(Gmsh, ElementsOfOtherTypesAreLeftOutAndReported) {
    std::string text = kTwoTriangles;
    text.replace(text.find("7 2 2 1"), 7, "7 29 2 1");
    GmshReader reader(Written(text));
    ASSERT_EQ(reader.Blocks().size(), 2);
    EXPECT_EQ(reader.Blocks()[0].nElements, 1);
    const ORQExcReport losses = reader.Losses();
    ASSERT_EQ(losses.Entries().size(), 1);
    EXPECT_EQ(losses.Entries()[0].name, "type 29");
    EXPECT_THAT(losses.Entries()[0].reason, HasSubstr("which has 20 nodes"));
}

TEST_F(Gmsh, ErrorsNameSectionLineAndValue) {
    struct Case {
        const char* from;
        const char* to;
        const char* error;
    };
    const Case cases[] = {
        {"2.2 0 8", "1 0 8", "version 1 is not supported"},
        {"2.2 0 8", "2.2 1 4", "data size 4"},
        {"$MeshFormat\n2", "$Mesh\n2", "does not begin with $MeshFormat"},
        {"3 1 2 0 5 10 20", "3 1 2 0 5 10 31", "names node 31, which is missing"},
        {"7 2 2 1", "7 x 2 1", "$Elements: line 6: \"x\" is not a number"},
        {"30 1 1 0", "10 1 1 0", "node number 10 is given to two nodes"},
        {"30 1 1 0", "0 1 1 0", "node number 0 is below 1"},
        {"30 1 1 0", "30 1 nan 0", "a coordinate is nan"},
        {"3 1 2 0 5 10 20", "7 1 2 0 5 10 20", "element number 7 is given to two elements"},
        {"$Nodes\n4", "$Nodes\n5", "$Nodes"},
        {"$Nodes\n4", "$Nodes\n3", "the section's counts are wrong"},
        {"$Nodes\n4", "$Nodes\n2000000000", "cannot fit into the rest of the file"},
        {"\"all of it\"", "all", "not in double quotes"},
        {"$EndNodes\n", "", "the file ends too early"},
        {"$Nodes\n4", "$Other\n4", "the section has no end"},
    };
    for (const Case& c : cases) {
        std::string text = kTwoTriangles;
        text.replace(text.find(c.from), std::strlen(c.from), c.to);
        EXPECT_THAT(ErrorOf(text), HasSubstr(c.error)) << c.to;
    }
    for (std::size_t length = 0; length < std::strlen(kTwoTriangles) - 1; ++length) {
        EXPECT_NE(ErrorOf(std::string(kTwoTriangles).substr(0, length)), "no error") << length;
    }
}

TEST_F(Gmsh, RealMeshesAgreeWithAnIndependentReader) {
    const fs::path facts = fs::path(ORQ_SHARED_MODELS) / "facts.json";
    if (!fs::exists(facts)) {
        GTEST_SKIP() << "no real models on this machine";
    }
    const auto all = json::parse(Bytes(facts));
    for (const char* name : {"shelf_modes.msh", "strikeslip_tet.msh"}) {
        const fs::path file = fs::path(ORQ_SHARED_MODELS) / name;
        const std::string model = m_folder / (std::string(name) + ".orq");
        ASSERT_EQ(RunHere({"import", file.string(), "-o", model}).status, 0);
        const ORQExcModel reader{
            ORQObjDocument(ORQSimDatabase::Open(ModelAt(model), ORQSimDatabase::Mode::ReadOnly))};
        EXPECT_EQ(reader.NumNodes(), all[name]["nodes"]);
        EXPECT_EQ(reader.NumElements(), all[name]["elements"]);
        std::vector<double> points(3 * static_cast<std::size_t>(reader.NumNodes()));
        reader.ReadCoordinates(0, reader.NumNodes(), points);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            double sum = 0;
            for (std::size_t i = axis; i < points.size(); i += 3) {
                sum += points[i];
            }
            const double expected = all[name]["sum_xyz"][axis];
            EXPECT_NEAR(sum, expected, 1e-9 * std::abs(expected));
        }
        std::map<std::string, int> groups;
        for (const auto& [key, count] : all[name]["physical_groups"].items()) {
            groups[key.substr(key.find(':', key.find(':') + 1) + 1)] = count;
        }
        for (const ORQExcModel::Set& set : reader.ElementSets()) {
            if (groups.contains(set.name)) {
                EXPECT_EQ(set.members.Size(), groups[set.name]) << set.name;
                groups.erase(set.name);
            }
        }
        EXPECT_TRUE(groups.empty()) << groups.begin()->first;
    }
    // A binary file that is cut is an error wherever it is cut.
    const std::string whole = Bytes(fs::path(ORQ_SHARED_MODELS) / "strikeslip_tet.msh");
    for (std::size_t length = 0; length < whole.size(); length += 9973) {
        EXPECT_NE(ErrorOf(whole.substr(0, length)), "no error") << length;
    }
}

}  // namespace
}  // namespace orqmodel
