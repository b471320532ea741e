// The mesh as a picture: what its skin is, and what is seen of it where.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <locale>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <random>
#include <set>
#include <sstream>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimDatabase.h"
#include "ORQSimTransaction.h"
#include "ORQSrvNodalCoordinates.h"
#include "PngFile.h"
#include "draw/MeshPicture.h"
#include "draw/RasterCanvas.h"
#include "draw/Skin.h"

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

// Of the mesh format.
constexpr int kBar = 1;
constexpr int kQuadrilateral = 3;
constexpr int kTetrahedron = 4;
constexpr int kHexahedron = 5;
constexpr int kWedge = 6;
constexpr int kPyramid = 7;
constexpr int kQuadrilateral8 = 16;

/// A mesh for a file: nodes from 1, elements in groups that become blocks "volume 1 HEX8".
class MeshText {
  public:
    int Node(double x, double y, double z) {
        m_nodes << ++m_nNodes << ' ' << x << ' ' << y << ' ' << z << '\n';
        return m_nNodes;
    }
    void Element(int type, int group, const std::vector<int>& nodes) {
        m_elements << ++m_nElements << ' ' << type << " 2 " << group << ' ' << group;
        for (const int node : nodes) {
            m_elements << ' ' << node;
        }
        m_elements << '\n';
    }
    /// A hexahedron with edges along the axes.
    std::vector<int> Box(int group, const Point& low, const Point& high) {
        std::vector<int> nodes;
        for (const double z : {low[2], high[2]}) {
            nodes.push_back(Node(low[0], low[1], z));
            nodes.push_back(Node(high[0], low[1], z));
            nodes.push_back(Node(high[0], high[1], z));
            nodes.push_back(Node(low[0], high[1], z));
        }
        Element(kHexahedron, group, nodes);
        return nodes;
    }
    void Rectangle(int group, double left, double right) {
        Element(kQuadrilateral, group,
                {Node(left, 0, 0), Node(right, 0, 0), Node(right, 1, 0), Node(left, 1, 0)});
    }
    std::string Text() const {
        std::ostringstream text;
        text << "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n"
             << m_nNodes << '\n'
             << m_nodes.str() << "$EndNodes\n$Elements\n"
             << m_nElements << '\n'
             << m_elements.str() << "$EndElements\n";
        return text.str();
    }

  private:
    int m_nNodes = 0;
    int m_nElements = 0;
    std::ostringstream m_nodes;
    std::ostringstream m_elements;
};

class DrawTest : public testing::Test {
  protected:
    void Import(const MeshText& mesh) const {
        PutBytes(m_folder / "mesh.msh", mesh.Text());
        Import((m_folder / "mesh.msh").string());
    }
    void Import(const std::string& file) const {
        const CommandResult result = RunHere({"import", file, "-o", m_model, "--force"});
        ASSERT_EQ(result.status, 0) << result.err;
    }
    ORQExcModel Reader() const {
        return ORQExcModel(
            ORQObjDocument(ORQSimDatabase::Open(m_model, ORQSimDatabase::Mode::ReadOnly)));
    }
    Skin SkinOfAll() const {
        const ORQExcModel model = Reader();
        return SkinOf(model, BlocksNamed(model, {}));
    }
    CommandResult Draw(const std::string& output, Arguments more = {}) const {
        more.insert(more.begin(), {"draw", m_model, "-o", output, "--force"});
        return RunHere(more);
    }
    /// Without legend and edges, unless they are asked for.
    Image Drawn(Arguments more = {}) const {
        for (const auto& [option, value] :
             std::map<std::string, std::string>{{"--size", "200x100"}, {"--edges", "none"}}) {
            if (std::ranges::find(more, option) == more.end()) {
                more.insert(more.end(), {option, value});
            }
        }
        const CommandResult result = Draw(m_png, more);
        EXPECT_EQ(result.status, 0) << result.err;
        return Decoded(m_png);
    }

    ScratchFolder m_folder;
    std::string m_model = m_folder / "model.orq";
    std::string m_png = m_folder / "picture.png";
    std::string m_svg = m_folder / "picture.svg";
};

// --- The skin ------------------------------------------------------------------------------------

TEST_F(DrawTest, FacesThatTwoElementsShareAreNotOnTheSkin) {
    MeshText mesh;
    const std::vector<int> low = mesh.Box(1, {0, 0, 0}, {1, 1, 1});
    std::vector<int> high(low.begin() + 4, low.end());
    for (const auto& [x, y] : std::vector<std::pair<int, int>>{{0, 0}, {1, 0}, {1, 1}, {0, 1}}) {
        high.push_back(mesh.Node(x, y, 2));
    }
    mesh.Element(kHexahedron, 2, high);
    Import(mesh);
    EXPECT_EQ(SkinOfAll().NumParts(), 10U);
    const ORQExcModel model = Reader();
    EXPECT_EQ(SkinOf(model, std::array{1}).NumParts(), 6U);

    // On top a pyramid, beside a wedge and at its end a tetrahedron; a shell over a face.
    const int apex = mesh.Node(0.5, 0.5, 3);
    mesh.Element(kPyramid, 3, {high[4], high[5], high[6], high[7], apex});
    const int ridge0 = mesh.Node(2, 0, 0.5);
    const int ridge1 = mesh.Node(2, 1, 0.5);
    mesh.Element(kWedge, 4, {low[1], ridge0, low[5], low[2], ridge1, low[6]});
    mesh.Element(kTetrahedron, 5, {low[1], ridge0, low[5], mesh.Node(1.5, -1, 0.5)});
    mesh.Element(kQuadrilateral, 6, {low[0], low[1], low[2], low[3]});
    Import(mesh);
    std::map<int, int> facets;  // by block
    const Skin skin = SkinOfAll();
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        ++facets[skin.At(part).block];
    }
    std::map<std::string, int> byShape;
    const ORQExcModel whole = Reader();
    for (const auto& [block, count] : facets) {
        byShape[whole.Blocks()[static_cast<std::size_t>(block)].shape->name] += count;
    }
    EXPECT_EQ(byShape,
              (std::map<std::string, int>{
                  {"HEX8", 8}, {"PYRAMID5", 4}, {"WEDGE6", 3}, {"TET4", 3}, {"QUAD4", 1}}));
}

TEST_F(DrawTest, TheSkinOfARandomMeshIsThatOfBruteForce) {
    std::mt19937 random(4711);
    MeshText mesh;
    constexpr int kNodes = 9;  // so few that faces meet, also three at a time
    for (int i = 0; i < kNodes; ++i) {
        mesh.Node(i, i * i, i * i * i);
    }
    std::map<std::set<int>, int> uses;
    for (int i = 0; i < 40; ++i) {
        std::vector<int> nodes(kNodes);
        std::iota(nodes.begin(), nodes.end(), 1);
        std::ranges::shuffle(nodes, random);
        nodes.resize(4);
        mesh.Element(kTetrahedron, 1, nodes);
        for (const int opposite : nodes) {
            std::set<int> face(nodes.begin(), nodes.end());
            face.erase(opposite);
            ++uses[face];
        }
    }
    std::set<std::set<int>> expected;
    for (const auto& [face, count] : uses) {
        if (count == 1) {
            expected.insert(face);
        }
    }
    Import(mesh);
    const Skin skin = SkinOfAll();
    std::set<std::set<int>> found;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        std::set<int> face;
        for (const int node : skin.Nodes(part)) {
            face.insert(node + 1);
        }
        EXPECT_TRUE(found.insert(face).second);
    }
    EXPECT_EQ(found, expected);
    EXPECT_GT(found.size(), 5U);
    EXPECT_LT(found.size(), uses.size() - 5);
}

TEST_F(DrawTest, FacetsRunThroughTheirMiddlesAndCollapsedOnesVanish) {
    MeshText mesh;
    for (int i = 0; i < 8; ++i) {
        mesh.Node(std::cos(i), std::sin(i), 0);
    }
    mesh.Element(kQuadrilateral8, 1, {1, 2, 3, 4, 5, 6, 7, 8});
    mesh.Element(kHexahedron, 2, {1, 2, 3, 3, 5, 6, 7, 7});  // a wedge
    mesh.Element(kBar, 3, {1, 5});
    Import(mesh);
    const Skin skin = SkinOfAll();
    std::map<Skin::Kind, int> kinds;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        ++kinds[skin.KindOf(part)];
        if (skin.Nodes(part).size() == 8) {
            EXPECT_THAT(skin.Nodes(part), ElementsAre(0, 4, 1, 5, 2, 6, 3, 7));
        }
    }
    EXPECT_EQ(kinds, (std::map<Skin::Kind, int>{{Skin::Kind::Line, 1}, {Skin::Kind::Facet, 6}}));
}

// --- What is seen --------------------------------------------------------------------------------

TEST_F(DrawTest, APlaneMeshIsSeenFromTheFrontInTheColoursOfItsBlocks) {
    MeshText mesh;
    mesh.Rectangle(1, 0, 1);
    mesh.Rectangle(2, 1, 2);
    Import(mesh);
    Image image = Drawn();
    EXPECT_EQ(image.At(60, 50), PaletteColour(0));
    EXPECT_EQ(image.At(140, 50), PaletteColour(1));
    for (const int x : {0, 199}) {
        for (const int y : {0, 99}) {
            EXPECT_EQ(image.At(x, y), kWhite);
        }
    }
    image = Drawn({"--view", "-z"});
    EXPECT_EQ(image.At(60, 50), PaletteColour(1));
    image = Drawn({"--block", "surface 2 QUAD4"});
    EXPECT_EQ(Count(image, PaletteColour(1)), 0U);
    EXPECT_GT(Count(image, PaletteColour(0)), 1000U);
    EXPECT_LT(Count(Drawn({"--edges", "feature"}), PaletteColour(0)),
              Count(Drawn(), PaletteColour(0)) - 100);
}

TEST_F(DrawTest, WhatIsBehindAnotherBodyIsNotDrawn) {
    MeshText mesh;
    mesh.Box(1, {-2, -1, -1}, {-1.5, 1, 1});
    mesh.Box(2, {0, -3, -3}, {1, 3, 3});
    Import(mesh);
    const auto small = PaletteColour(0);
    EXPECT_EQ(Count(Drawn({"--view", "+x"}), small), 0U);
    EXPECT_GT(Count(Drawn({"--view", "-x"}), small), 100U);

    const auto paths = [&](const std::string& view) {
        EXPECT_EQ(Draw(m_svg, {"--view=" + view, "--size", "200x200"}).status, 0);
        return std::ranges::count(Bytes(m_svg), 'z');
    };
    EXPECT_EQ(paths("+x"), 1);
    EXPECT_EQ(paths("-x"), 2);
    EXPECT_EQ(paths("3,0.1,0.1"), 3);
    EXPECT_EQ(paths("-1,1,1"), 6);
}

TEST_F(DrawTest, UpIsUpFromEverySide) {
    MeshText mesh;
    mesh.Box(1, {0, 0, 0}, {1, 1, 1});
    mesh.Box(2, {0, 0, 1}, {1, 1, 2});
    mesh.Box(3, {0, 1, 0}, {1, 2, 1});
    mesh.Box(4, {1, 0, 0}, {2, 1, 1});
    Import(mesh);
    const Colour y = PaletteColour(2);
    const Colour z = PaletteColour(1);
    const Colour x = PaletteColour(3);
    const Colour none = kWhite;
    // The quarters of the picture, from the upper left; the first block is in the remaining one.
    const std::map<std::string, std::array<Colour, 4>> quarters = {
        {"+x", {z, none, x, y}},
        {"-x", {none, z, y, PaletteColour(0)}},
        {"-y", {z, none, PaletteColour(0), x}},
        {"+y", {none, z, x, y}},
        {"+z", {y, none, z, x}},
        {"-z", {none, y, x, PaletteColour(0)}}};
    for (const auto& [view, colours] : quarters) {
        Image image = Drawn({"--view", view, "--size", "100x100"});
        EXPECT_THAT(
            (std::array{image.At(30, 30), image.At(70, 30), image.At(30, 70), image.At(70, 70)}),
            testing::ElementsAreArray(colours))
            << view;
    }
}

TEST_F(DrawTest, PaintingFromBackToFrontGivesTheSamePicture) {
    Import(ORQ_WING_BOX);
    MeshPictureOptions options;
    options.view = "1,1,0.7";
    options.blocks = {"ribs", "skin_lower", "spar_front", "stringers"};
    options.edges = EdgeKind::None;
    options.size = {600, 450};
    const MeshPicture picture(Reader(), "wing box", options);
    Image byPixel(options.size);
    PaintPixels(picture.Contents(), byPixel);
    Image byShape(options.size);
    RasterCanvas canvas(byShape);
    PaintShapes(picture.Contents(), canvas);
    // Borders may lie a pixel beside each other.
    const auto isNear = [&](int x, int y) {
        const Colour wanted = byShape.At(x, y);
        for (int i = std::max(x - 1, 0); i <= std::min(x + 1, options.size.width - 1); ++i) {
            for (int j = std::max(y - 1, 0); j <= std::min(y + 1, options.size.height - 1); ++j) {
                if (std::abs(byPixel.At(i, j).red - wanted.red) +
                        std::abs(byPixel.At(i, j).green - wanted.green) <
                    60) {
                    return true;
                }
            }
        }
        return false;
    };
    int nDrawn = 0;
    int nWrong = 0;
    for (int x = 0; x < options.size.width; ++x) {
        for (int y = 0; y < options.size.height; ++y) {
            nDrawn += byPixel.At(x, y) != kWhite ? 1 : 0;
            nWrong += isNear(x, y) ? 0 : 1;
        }
    }
    EXPECT_GT(nDrawn, 20000);
    EXPECT_LT(nWrong, nDrawn / 150);
}

TEST_F(DrawTest, SetsStandOutFromTheRest) {
    Import(ORQ_WING_BOX);
    // Light makes the colours of what is curved differ a little from those of the palette.
    const auto share = [&](const Image& image, Colour wanted) {
        return std::ranges::count_if(image.pixels, [&](const Colour& c) {
            return std::abs(c.red - wanted.red) + std::abs(c.green - wanted.green) +
                       std::abs(c.blue - wanted.blue) <
                   40;
        });
    };
    struct Case {
        const char* set;
        const char* view;
        int least;
        int most;
    };
    const Case cases[] = {
        {"skin_upper_tri", "+z", 40, 5000},  // elements
        {"skin_upper_tri", "-z", 0, 0},
        {"upper_skin_outer", "-1,0,1", 1000, 100000},  // faces of shells
        {"upper_skin_outer", "-z", 0, 20},
        {"root_edge", "-y", 500, 5000},  // edges of shells
        {"tip_rib", "+y", 100, 5000},    // nodes
    };
    for (const Case& c : cases) {
        const Image image = Drawn({"--set", c.set, "--view", c.view, "--size", "700x230"});
        EXPECT_GE(share(image, PaletteColour(0)), c.least) << c.set << ' ' << c.view;
        EXPECT_LE(share(image, PaletteColour(0)), c.most) << c.set << ' ' << c.view;
        EXPECT_GT(share(image, kPlain), 100) << c.set << ' ' << c.view;
    }
}

// --- Files ---------------------------------------------------------------------------------------

/// Writes numbers as nobody else does.
class OddNumbers : public std::numpunct<char> {
  protected:
    char do_decimal_point() const override { return ';'; }
    char do_thousands_sep() const override { return '_'; }
    std::string do_grouping() const override { return "\1"; }
};

TEST_F(DrawTest, TwoRunsGiveTheSameBytesInAnyLocale) {
    Import(ORQ_WING_BOX);
    const std::array outputs = {m_png, m_svg};
    std::array<std::string, 2> first;
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        EXPECT_EQ(Draw(outputs[i], {"--colour-by", "set", "--size", "360x270"}).status, 0);
        first[i] = Bytes(outputs[i]);
        EXPECT_GT(first[i].size(), 1000U);
    }
    const std::locale before = std::locale::global(std::locale(std::locale(), new OddNumbers));
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        EXPECT_EQ(Draw(outputs[i], {"--color-by", "set", "--size", "360x270"}).status, 0);
        EXPECT_TRUE(Bytes(outputs[i]) == first[i]) << outputs[i];
    }
    std::locale::global(before);
}

TEST_F(DrawTest, DrawingsAreWellFormedWhateverTheNames) {
    MeshText mesh;
    mesh.Rectangle(1, 0, 1);
    PutBytes(m_folder / "mesh.msh",
             "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$PhysicalNames\n1\n2 1 "
             "\"a]]><b & \x01\xff \xc3\xa4\"\n$EndPhysicalNames\n" +
                 mesh.Text().substr(mesh.Text().find("$Nodes")));
    Import((m_folder / "mesh.msh").string());
    ASSERT_EQ(Draw(m_svg, {"--colour-by", "set", "--size", "360x270"}).status, 0);
    EXPECT_THAT(Bytes(m_svg), HasSubstr("a]]&gt;&lt;b &amp; \xEF\xBF\xBD"));
    const std::string parse =
        "python3 -c 'import sys, xml.dom.minidom as m; m.parse(sys.argv[1])' '" + m_svg + "'";
    EXPECT_EQ(std::system(parse.c_str()), 0);
    EXPECT_EQ(Draw(m_png, {"--colour-by", "set", "--size", "360x270"}).status, 0);
}

TEST_F(DrawTest, LongLegendsEndInTheirNumber) {
    MeshText mesh;
    for (int i = 0; i < kToldApart; ++i) {
        mesh.Rectangle(i + 1, i, i + 1);
    }
    Import(mesh);
    ASSERT_EQ(Draw(m_svg, {"--size", "400x300"}).status, 0);
    const std::string drawing = Bytes(m_svg);
    const auto more = drawing.find(">and ");
    ASSERT_NE(more, std::string::npos);
    std::size_t shown = 0;
    for (std::size_t at = drawing.find(">surface "); at != std::string::npos;
         at = drawing.find(">surface ", at + 1)) {
        ++shown;
    }
    EXPECT_GT(shown, 5U);
    EXPECT_EQ(std::stoul(drawing.substr(more + 5)), kToldApart - shown);
}

// --- Models with little in them, and wrong use ---------------------------------------------------

TEST_F(DrawTest, NodesWithoutElementsAreDots) {
    exodus_file::Write({}, m_folder / "nodes.e");
    Import((m_folder / "nodes.e").string());
    EXPECT_EQ(json::parse(Draw(m_svg, {"--json"}).out)["dots"], 4);
    EXPECT_GT(Count(Drawn(), kPlain), 20U);
    const CommandResult result = Draw(m_png, {"--colour-by", "set"});
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("the model has no element set, surface or node set"));
}

TEST_F(DrawTest, BodiesWithoutExtentAreDrawnInTheMiddle) {
    MeshText line;
    line.Element(kBar, 1, {line.Node(5, 5, 5), line.Node(5, 5, 9)});
    Import(line);
    EXPECT_EQ(Drawn({"--view", "-y"}).At(100, 50), PaletteColour(0));
    EXPECT_EQ(Drawn({"--view", "1,2,3"}).At(100, 50), PaletteColour(0));
    Image end = Drawn({"--view", "+z"});  // seen from its end
    EXPECT_NE(end.At(100, 50), kWhite);
    EXPECT_GT(Count(end, kWhite), end.pixels.size() - 20);

    MeshText point;
    point.Element(kBar, 1, {point.Node(7, 7, 7), point.Node(7, 7, 7)});
    point.Box(2, {7, 7, 7}, {7, 7, 7});
    Import(point);
    EXPECT_NE(Drawn().At(100, 50), kWhite);
}

TEST_F(DrawTest, WhatCannotBeDrawnIsSaid) {
    const auto make = [&](double x) {
        fs::remove_all(m_model);
        const auto database = ORQSimDatabase::Create(m_model);
        ORQSimTransaction transaction(database.ContextID());
        const ORQObjModelBuilder builder(database);
        if (x != 0) {
            const ORQSimCSetID nodes = builder.AddNodes(3);
            const std::array labels = {70, 80, 90};
            builder.SetLabels(ORQObjLabelerType::Node, builder.AddInstance("PART-1"), nodes,
                              labels.data());
            const std::array values = {1.0, 2.0, 3.0, x, 5.0, 6.0};
            ORQSrvNodalCoordinates(builder.Coordinates(), 5)
                .Append(transaction, nodes, builder.SpatialDirections(2), values.data());
        }
        transaction.Commit();
        return Draw(m_png);
    };
    CommandResult result = make(0);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.err, HasSubstr("there is nothing to draw"));
    result = make(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("node 80 has the coordinate nan"));
    EXPECT_THAT(make(-1e200).err, HasSubstr("node 80 has the coordinate -1e+200"));
    EXPECT_FALSE(fs::exists(m_png));
    EXPECT_EQ(make(1e90).status, 0);
}

TEST_F(DrawTest, WrongUseIsRefusedAndLeavesNoFile) {
    MeshText mesh;
    mesh.Rectangle(1, 0, 1);
    Import(mesh);
    struct Case {
        Arguments arguments;
        const char* error;
    };
    const Case cases[] = {
        {{"--size", "31x100"}, "--size 31x100: is not WIDTHxHEIGHT in pixels, each from 32 to"},
        {{"--size", "100x10001"}, "--size 100x10001"},
        {{"--size", "100"}, "--size 100:"},
        {{"--size", "100x"}, "--size 100x:"},
        {{"--size", "100x100x"}, "--size 100x100x:"},
        {{"--size", "99999999999x100"}, "--size 99999999999x100:"},
        {{"--view", "up"}, "--view up: is none of iso,"},
        {{"--view", "1,2"}, "--view 1,2:"},
        {{"--view", "1,2,3,4"}, "--view 1,2,3,4:"},
        {{"--view", "0,0,0"}, "--view 0,0,0: is no direction"},
        {{"--view", "nan,0,0"}, "is no direction"},
        {{"--view", "inf,0,0"}, "is no direction"},
        {{"--edges", "some"}, "--edges"},
        {{"--colour-by", "label"}, "--colour-by"},
        {{"--colour-by", "block", "--set", "a"}, "--set and --colour-by block exclude"},
        {{"--set", "a"}, "--set \"a\": there is none"},
        {{"--block", "surface1"},
         "--block \"surface1\": there is none; near are \"surface 1 QUAD4\""},
    };
    for (const Case& c : cases) {
        const CommandResult result = Draw(m_png, c.arguments);
        EXPECT_EQ(result.status, 2) << c.arguments[1];
        EXPECT_THAT(result.err, HasSubstr(c.error));
        EXPECT_FALSE(fs::exists(m_png));
    }
    EXPECT_EQ(RunHere({"draw", m_model, "-o", m_folder / "picture.jpg"}).status, 2);
    PutBytes(m_png, "mine");
    EXPECT_EQ(RunHere({"draw", m_model, "-o", m_png}).status, 2);
    EXPECT_EQ(Bytes(m_png), "mine");
    for (const char* name : {"none/picture.png", "none/picture.svg"}) {
        const CommandResult result =
            RunHere({"draw", m_model, "-o", m_folder / name, "--size", "64x64"});
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, HasSubstr(name));
    }
}

}  // namespace
}  // namespace orqmodel
