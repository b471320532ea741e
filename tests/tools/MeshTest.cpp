// Meshes on their way in and out, and the table of element shapes.

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <tuple>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcImportError.h"
#include "ORQExcModel.h"
#include "ORQExcResults.h"
#include "ORQExcShapes.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvElementConnectivity.h"
#include "ORQSrvInverseConnectivity.h"
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

// --- Element shapes ------------------------------------------------------------------------------

TEST(ElementShapes, FacesOfAVolumeCloseItAndPointOutward) {
    for (const ORQExcShape& shape : ORQExcShapes()) {
        if (shape.dimension != 3) {
            continue;
        }
        std::map<std::pair<int, int>, int> uses;  // of directed edges
        std::set<int> seen;
        for (const auto& side : shape.sides) {
            for (int i = 0; i < side.nCorners; ++i) {
                const auto at = static_cast<std::size_t>(i);
                const auto next = static_cast<std::size_t>((i + 1) % side.nCorners);
                ++uses[{side.nodes[at], side.nodes[next]}];
            }
            seen.insert(side.nodes.begin(), side.nodes.end());
        }
        for (const auto& [edge, count] : uses) {
            EXPECT_EQ(count, 1) << shape.name;
            EXPECT_TRUE(uses.contains({edge.second, edge.first})) << shape.name;
        }
        EXPECT_EQ(uses.size(), 2 * shape.edges.size()) << shape.name;
        EXPECT_EQ(static_cast<int>(seen.size()), shape.nNodes - (shape.nNodes == 27 ? 1 : 0));
    }
}

TEST(ElementShapes, MiddlesOfSidesAreMiddlesOfTheirEdges) {
    for (const ORQExcShape& shape : ORQExcShapes()) {
        std::map<std::set<int>, int> middles;
        for (const auto& edge : shape.edges) {
            if (edge.nodes.size() == 3) {
                middles[{edge.nodes[0], edge.nodes[1]}] = edge.nodes[2];
            }
        }
        for (const auto& side : shape.sides) {
            const auto nCorners = static_cast<std::size_t>(side.nCorners);
            const std::size_t nEdges = side.IsEdge() ? 1 : nCorners;
            for (std::size_t i = 0; i < nEdges && side.nodes.size() > nCorners; ++i) {
                const std::set<int> ends{side.nodes[i], side.nodes[(i + 1) % nCorners]};
                EXPECT_EQ(side.nodes[nCorners + i], middles.at(ends)) << shape.name;
            }
        }
        for (const auto& order : {shape.vtkOrder, shape.gmshOrder}) {
            std::vector<int> sorted = order;
            std::ranges::sort(sorted);
            for (std::size_t i = 0; i < sorted.size(); ++i) {
                EXPECT_EQ(sorted[i], static_cast<int>(i)) << shape.name;
            }
        }
    }
}

TEST(ElementShapes, SizesAndSharesOfKnownBodies) {
    const std::vector<double> box = {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0,
                                     0, 0, 4, 2, 0, 4, 2, 3, 4, 0, 3, 4};
    const ORQExcMeasure hex = ORQExcMeasureOf(*ORQExcFindShapeByName("HEX8"), box);
    EXPECT_DOUBLE_EQ(hex.size, 24);
    EXPECT_THAT(hex.centroid, ElementsAre(1, 1.5, 2));
    const std::vector<double> wedge = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 2, 1, 0, 2, 0, 1, 2};
    EXPECT_NEAR(ORQExcMeasureOf(*ORQExcFindShapeByName("WEDGE6"), wedge).size, 1, 1e-15);
    const std::vector<double> pyramid = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5, 0.5, 3};
    EXPECT_NEAR(ORQExcMeasureOf(*ORQExcFindShapeByName("PYRAMID5"), pyramid).size, 1, 1e-15);

    const auto shares = [&](const char* name, std::size_t side, std::vector<double> nodes) {
        std::vector<double> result(nodes.size() / 3);
        ORQExcTributaryShares(ORQExcFindShapeByName(name)->sides[side], nodes, result);
        return result;
    };
    EXPECT_THAT(shares("SHELL4", 0, {0, 0, 0, 2, 0, 0, 2, 2, 0, 0, 2, 0}), ElementsAre(1, 1, 1, 1));
    // The side of a bar of second order, its middle not in the middle.
    EXPECT_THAT(shares("TRI6", 0, {0, 0, 0, 4, 0, 0, 1, 0, 0}), ElementsAre(0.5, 1.5, 2));
    const auto nine = shares("SHELL9", 0, {0, 0, 0, 2, 0, 0, 2, 2, 0, 0, 2, 0, 1, 0,
                                           0, 2, 1, 0, 1, 2, 0, 0, 1, 0, 1, 1, 0});
    double sum = 0;
    for (const double share : nine) {
        EXPECT_GT(share, 0);
        sum += share;
    }
    EXPECT_NEAR(sum, 4, 1e-14);
}

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

/// One straight-sided element of each shape, of no symmetry, with nodes of its own.
exodus_file::Content OneOfEachShape() {
    const std::map<std::pair<int, int>, std::vector<double>> corners = {
        {{0, 1}, {0, 0, 0}},
        {{1, 2}, {0, 0, 0, 2, 0, 0}},
        {{2, 3}, {0, 0, 0, 2, 0, 0, 0, 3, 0}},
        {{2, 4}, {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0}},
        {{3, 4}, {0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4}},
        {{3, 5}, {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0, 1, 1.5, 4}},
        {{3, 6}, {0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 2, 0, 4, 0, 3, 4}},
        {{3, 8}, {0, 0, 0, 2, 0, 0, 2, 3, 0, 0, 3, 0, 0, 0, 4, 2, 0, 4, 2, 3, 4, 0, 3, 4}}};
    exodus_file::Content content;
    content.labels = {};
    content.x = content.y = content.z = {};
    for (const ORQExcShape& shape : ORQExcShapes()) {
        // The corners that each node is the middle of.
        std::vector<std::vector<int>> origins(static_cast<std::size_t>(shape.nNodes));
        std::vector<int> all;
        for (int corner = 0; corner < shape.nCorners; ++corner) {
            origins[static_cast<std::size_t>(corner)] = {corner};
            all.push_back(corner);
        }
        for (const auto& edge : shape.edges) {
            if (edge.nodes.size() == 3) {
                origins[static_cast<std::size_t>(edge.nodes[2])] = {edge.nodes[0], edge.nodes[1]};
            }
        }
        for (const auto& side : shape.sides) {
            if (side.nodes.size() == 9) {
                origins[static_cast<std::size_t>(side.nodes[8])] = {side.nodes.begin(),
                                                                    side.nodes.begin() + 4};
            }
        }
        const std::vector<double>& points = corners.at({shape.dimension, shape.nCorners});
        exodus_file::BlockContent block{
            std::ssize(content.blocks) + 1, shape.name, shape.name, shape.nNodes, {}, {}};
        for (const std::vector<int>& middle : origins) {
            const std::vector<int>& of = middle.empty() ? all : middle;
            double point[3] = {0, 0, 0};
            for (const int corner : of) {
                for (std::size_t axis = 0; axis < 3; ++axis) {
                    point[axis] += points[3 * static_cast<std::size_t>(corner) + axis] /
                                   static_cast<double>(of.size());
                }
            }
            content.x.push_back(point[0] + 0.25 * point[1] + 10.0 * static_cast<double>(block.id));
            content.y.push_back(point[1] + 0.125 * point[2]);
            content.z.push_back(point[2]);
            block.nodes.push_back(std::ssize(content.x));
        }
        content.blocks.push_back(block);
    }
    return content;
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

constexpr const char* kTwoTriangles = R"($MeshFormat
2.2 0 8
$EndMeshFormat
$Elements
4
7 2 2 1 30 10 20 40
9 2 2 2 30 20 30 40
9 2 2 1 30 20 30 40
3 1 2 0 5 10 20
$EndElements
$PhysicalNames
2
2 1 "all of it"
2 2 "half: #2"
$EndPhysicalNames
$Nodes
4
40 0 1 0
10 0 0 0
30 1 1 0
20 1 0 0
$EndNodes
)";

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
            ORQObjDocument(ORQSimDatabase::Open(model, ORQSimDatabase::Mode::ReadOnly))};
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

// --- Looking into a model ------------------------------------------------------------------------

TEST(Adjacency, NamesElementsPlacesAndBlocks) {
    const ScratchFolder folder;
    const std::string model = folder / "m.orq";
    PutBytes(folder / "mesh.msh", kTwoTriangles);
    ASSERT_EQ(RunHere({"import", (folder / "mesh.msh").string(), "-o", model}).status, 0);
    const auto found =
        json::parse(RunHere({"adjacency", model, "--node", "20", "--json"}).out)["elements"];
    ASSERT_EQ(found.size(), 3);
    EXPECT_EQ(found[0], json::parse(R"({"label": 7, "instance": "PART-1", "place": 2,
        "type": "TRI3", "block": "all of it"})"));
    EXPECT_EQ(found[1]["label"], 9);
    EXPECT_EQ(found[1]["place"], 1);
    EXPECT_EQ(found[2]["block"], "curve 5 BAR2");
    EXPECT_EQ(RunHere({"adjacency", model, "--node", "21"}).status, 1);
}

TEST(Adjacency, UsesOfANodeAreThoseOfTheInverseConnectivity) {
    constexpr int kElements = 250000;  // more than are looked through at once
    constexpr int kNodes = 1000;
    const ORQSimDatabase database = ORQSimDatabase::CreateInMemory();
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    builder.AddNodes(kNodes);
    const ORQSimCollection elements(ORQSimCSet(builder.AddElements(kElements)).CollectionID());
    ORQSrvElementConnectivity connectivity(builder.Connectivity(), 70000);
    std::mt19937 random(17);
    for (const auto& [name, width, takesThirds] :
         {std::tuple{"BAR2", 2, false}, {"TRI3", 3, true}}) {
        // Two thirds are bars, one third triangles, appended from the last to the first.
        std::vector<int> members;
        std::vector<int> nodes;
        for (int element = kElements - 1; element >= 0; --element) {
            if ((element % 3 == 0) == takesThirds) {
                members.push_back(element);
                std::generate_n(std::back_inserter(nodes), width,
                                [&] { return static_cast<int>(random() % (kNodes - 1)); });
            }
        }
        connectivity.Append(
            transaction, builder.AddElementSpec(name).ID(),
            elements.CreateTempOrderedCSet(members.data(), static_cast<int>(members.size())),
            builder.NodePlaces(width), nodes.data());
    }
    ORQSrvInverseConnectivity inverse(builder.Mesh());
    inverse.Invert();
    const ORQExcModel reader(builder.Document());
    for (const int node : {0, 1, 500, kNodes - 2, kNodes - 1}) {
        std::vector<ORQExcModel::Use> expected;
        for (int i = inverse.m_offsets[node]; i < inverse.m_offsets[node + 1]; ++i) {
            expected.push_back({static_cast<int>(inverse.m_entries[i] & 0x1FFFFFF),
                                static_cast<int>(inverse.m_entries[i] >> 25)});
        }
        EXPECT_EQ(expected.empty(), node == kNodes - 1);
        EXPECT_TRUE(reader.UsesOf(node) == expected) << node;
    }
}

// --- VTU, as VTK itself reads it -----------------------------------------------------------------

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
        ORQObjDocument(ORQSimDatabase::Open(model, ORQSimDatabase::Mode::ReadOnly))};
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
