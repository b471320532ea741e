// Pictures of results: what moves, what is cut off, what is coloured and marked, and series of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <tuple>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "ORQSimDatabase.h"
#include "draw/Extremes.h"
#include "draw/Groups.h"
#include "draw/MeshSeries.h"
#include "model/NoValue.h"

namespace orqmodel {
namespace {

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

using orq::exchange::kNoValue;

/// Two squares side by side and a hexahedron beyond them; the right nodes of the squares move.
const std::string kTriangles = R"($MeshFormat
2.2 0 8
$EndMeshFormat
$PhysicalNames
2
2 1 "left"
2 2 "right"
$EndPhysicalNames
$Nodes
6
1 0 0 0
2 1 0 0
3 2 0 0
4 0 1 0
5 1 1 0
6 2 1 0
$EndNodes
$Elements
2
1 3 2 1 1 1 2 5 4
2 3 2 2 2 2 3 6 5
$EndElements
$NodeData
1
"move"
1
1
3
0
3
6
1 0 0 0
2 0 0 0
3 0.5 0 0
4 0 0 0
5 0 0 0
6 0.5 0 0
$EndNodeData
$NodeData
1
"move"
1
2
3
1
3
6
1 0 0 0
2 0 0 0
3 2 0 0
4 0 0 0
5 0 0 0
6 2 0 0
$EndNodeData
$ElementData
1
"heat"
1
1
3
0
1
2
1 10
2 20
$EndElementData
$ElementData
1
"heat"
1
2
3
1
1
2
1 10
2 90
$EndElementData
)";

class MeshSeriesTest : public testing::Test {
  protected:
    void SetUp() override {
        PutBytes(m_folder / "mesh.msh", kTriangles);
        const CommandResult result = RunHere({"import", m_folder / "mesh.msh", "-o", m_model});
        ASSERT_EQ(result.status, 0) << result.err;
    }
    ORQObjDocument Document() const {
        return ORQObjDocument(ORQSimDatabase::Open(m_model, ORQSimDatabase::Mode::ReadOnly));
    }
    static MeshSeries::Options Wanted() {
        MeshSeries::Options options;
        options.picture.size = {400, 200};
        options.picture.edges = EdgeKind::None;
        return options;
    }
    CommandResult Draw(Arguments more, const std::string& output = "p.png") const {
        more.insert(more.begin(), {"draw", m_model, "-o", m_folder / output, "--json"});
        return RunHere(more);
    }

    const ScratchFolder m_folder;
    const std::string m_model = ModelAt(m_folder / "m.orq");
};

/// Width by height of the given nodes of a skin.
double Proportion(const Skin& skin, std::initializer_list<std::size_t> nodes) {
    double left = std::numeric_limits<double>::infinity();
    double right = -left;
    double top = left;
    double bottom = -left;
    for (const std::size_t node : nodes) {
        left = std::min(left, skin.Points()[node][0]);
        right = std::max(right, skin.Points()[node][0]);
        top = std::min(top, skin.Points()[node][1]);
        bottom = std::max(bottom, skin.Points()[node][1]);
    }
    return (right - left) / (bottom - top);
}

TEST_F(MeshSeriesTest, NodesMoveByTheFieldAndTheOutlineStays) {
    struct Case {
        std::string deform;
        double wanted;  // width of the moved mesh by its height
    };
    // Without a scale the move of 2 becomes a twentieth of the diagonal, the square root of 5.
    for (const Case& c : {Case{"move:1", 4}, Case{"move:0", 2}, Case{"move:-0.5", 1},
                          Case{"move", 2 + std::sqrt(5.0) / 20}}) {
        MeshSeries::Options options = Wanted();
        options.deform = c.deform;
        MeshSeries series(Document(), "m", options);
        EXPECT_THAT(series.Times(), ElementsAre(2)) << "the last one";
        const MeshPicture picture = series.PictureAt(2);
        const Skin& skin = picture.Contents().skin;
        EXPECT_NEAR(Proportion(skin, {0, 1, 2, 3, 4, 5}), c.wanted, 1e-9) << c.deform;
        // The outline: seven borders of the two squares, those between blocks once, in grey.
        std::size_t nLines = 0;
        double left = 400;
        double right = 0;
        for (std::size_t part = 0; part < skin.NumParts(); ++part) {
            if (skin.KindOf(part) == Skin::Kind::Line) {
                ++nLines;
                EXPECT_EQ(picture.Contents().colours[part], kPlain);
                for (const int node : skin.Nodes(part)) {
                    left = std::min(left, skin.Points()[static_cast<std::size_t>(node)][0]);
                    right = std::max(right, skin.Points()[static_cast<std::size_t>(node)][0]);
                }
            }
        }
        EXPECT_EQ(nLines, 7U);
        const double side = skin.Points()[1][0] - skin.Points()[0][0];
        EXPECT_NEAR(right - left, 2 * side, 1e-9) << c.deform;
    }
}

TEST_F(MeshSeriesTest, AllTimesHaveTheSameScaleAndColours) {
    MeshSeries::Options options = Wanted();
    options.field = "heat";
    options.deform = "move:1";
    options.isAllTimes = true;
    MeshSeries series(Document(), "m", options);
    ASSERT_THAT(series.Times(), ElementsAre(1, 2));
    const MeshPicture first = series.PictureAt(1);
    const MeshPicture second = series.PictureAt(2);
    // Nodes that do not move stay where they are in the picture.
    EXPECT_EQ(first.Contents().skin.Points()[0], second.Contents().skin.Points()[0]);
    EXPECT_EQ(first.Contents().skin.Points()[4], second.Contents().skin.Points()[4]);
    EXPECT_EQ(first.Contents().colours[0], second.Contents().colours[0]);
    EXPECT_NE(first.Contents().colours[1], second.Contents().colours[1]);
    // Alone, the second element has the highest colour at each time.
    options.isAllTimes = false;
    options.time = 1;
    EXPECT_EQ(MeshSeries(Document(), "m", options).PictureAt(1).Contents().colours[1],
              second.Contents().colours[1]);
}

TEST_F(MeshSeriesTest, OnlyTheSetHasTheColoursOfTheField) {
    MeshSeries::Options options = Wanted();
    for (const char* field : {"heat", "move_x"}) {
        options.field = field;
        options.picture.colourBy = ColourBy::Set;
        options.picture.sets = {"left"};
        const MeshPicture picture = MeshSeries(Document(), "m", options).PictureAt(2);
        const Scene& scene = picture.Contents();
        for (std::size_t part = 0; part < scene.skin.NumParts(); ++part) {
            EXPECT_EQ(scene.colours[part] == kPlain, scene.skin.At(part).element != 0) << field;
        }
    }
}

TEST_F(MeshSeriesTest, ClipsLeaveTheElementsWhoseMiddleTheyKeep) {
    for (const auto& [clips, nFacets] :
         std::vector<std::pair<Arguments, int>>{{{"--clip", "x<1"}, 1},
                                                {{"--clip", "x>0.4"}, 2},
                                                {{"--clip", "x>0.4", "--clip", "x<1"}, 1},
                                                {{"--clip", "y<0.6"}, 2}}) {
        Arguments arguments = clips;
        arguments.push_back("--force");
        const CommandResult result = Draw(arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(json::parse(result.out)["facets"], nFacets) << clips[1];
    }
    // Inner faces of a solid come to light where its neighbour is cut off.
    const std::string boxes = m_folder / "boxes.orq";
    PutBytes(m_folder / "boxes.msh",
             "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n12\n"
             "1 0 0 0\n2 1 0 0\n3 1 1 0\n4 0 1 0\n5 0 0 1\n6 1 0 1\n7 1 1 1\n8 0 1 1\n"
             "9 0 0 2\n10 1 0 2\n11 1 1 2\n12 0 1 2\n$EndNodes\n$Elements\n2\n"
             "1 5 2 1 1 1 2 3 4 5 6 7 8\n2 5 2 1 1 5 6 7 8 9 10 11 12\n$EndElements\n");
    ASSERT_EQ(RunHere({"import", m_folder / "boxes.msh", "-o", boxes}).status, 0);
    for (const auto& [clip, nFacets] : {std::pair("z<9", 10), std::pair("z<1", 6)}) {
        const CommandResult result =
            RunHere({"draw", boxes, "-o", m_folder / "b.png", "--force", "--json", "--clip", clip});
        EXPECT_EQ(json::parse(result.out)["facets"], nFacets) << clip;
    }
}

TEST_F(MeshSeriesTest, SeriesAreNumberedFiles) {
    const CommandResult drawn = Draw({"--field", "heat", "--step", "all"}, "heat_%03d.svg");
    EXPECT_EQ(drawn.status, 0) << drawn.err;
    for (const char* name : {"heat_001.svg", "heat_002.svg"}) {
        EXPECT_TRUE(fs::exists(m_folder / name)) << name;
    }
    EXPECT_THAT(Bytes(m_folder / "heat_002.svg"), HasSubstr("max 90, element 2"));
    EXPECT_THAT(Bytes(m_folder / "heat_001.svg"), HasSubstr("max 20, element 2"));
    struct Case {
        Arguments options;
        std::string output;
        const char* text;
    };
    for (const Case& c : {
             Case{{"--field", "heat", "--step", "all"}, "heat_%03d.svg", "heat_001.svg: exists"},
             Case{{"--field", "heat", "--step", "all"}, "heat.svg", "names no series"},
             Case{{"--field", "heat", "--step", "all"}, "heat_%s.svg", "names no series"},
             Case{{"--field", "heat", "--step", "3"}, "x.png", "the model has 2 times"},
             Case{{"--deform", "heat"}, "x.png", "no vectors of that name at nodes; near are"},
             Case{{"--deform", "mover:2"}, "x.png", "--deform mover: the model has no vectors"},
             Case{{"--deform", "move:1e308"}, "x.png", "which cannot be drawn"},
             Case{{"--field", "heat", "--step", "0x1"}, "x.png", "--step 0x1: is no time"},
             Case{{"--field", "heat", "--step", "all"}, "heat_%-5d.svg", "names no series"},
             Case{{"--clip", "w<1"}, "x.png", "--clip w<1: is not x, y or z"},
             Case{{"--clip", "x<"}, "x.png", "--clip x<: is not"},
             Case{{"--clip", "x<-5"}, "x.png", "leaves nothing to draw"},
         }) {
        const CommandResult result = Draw(c.options, c.output);
        EXPECT_EQ(result.status, 2) << c.text;
        EXPECT_THAT(result.err, HasSubstr(c.text));
    }
    EXPECT_FALSE(fs::exists(m_folder / "x.png"));
}

TEST(Extremes, AreTheLowestAndHighestOfWhatIsDrawnNearestToTheEye) {
    Skin skin({{0, 0, 1}, {4, 0, 1}, {4, 4, 1}, {0, 4, 5}, {9, 9, 9}});
    skin.AddFacet({0, 0, -1}, std::array{0, 1, 2}, 3);
    skin.AddFacet({0, 1, -1}, std::array{0, 2, 3}, 3);
    const auto found = [&](bool isNodal, std::vector<double> values) {
        std::vector<std::tuple<double, int>> extremes;
        for (const Extreme& extreme : ExtremesOf(skin, {isNodal, std::move(values), "", ""})) {
            extremes.emplace_back(extreme.value, extreme.member);
        }
        return extremes;
    };
    // Node 4 is not drawn; of the two highest, node 3 is nearer.
    EXPECT_THAT(found(true, {kNoValue, 2, 7, 7, 100}),
                ElementsAre(std::tuple(2, 1), std::tuple(7, 3)));
    EXPECT_THAT(found(true, {3, 3, 3, 3, 3}), ElementsAre(std::tuple(3, 3)));
    EXPECT_THAT(found(true, {kNoValue, kNoValue, kNoValue, kNoValue, 1}), ElementsAre());
    EXPECT_THAT(found(false, {-1, 8}), ElementsAre(std::tuple(-1, 0), std::tuple(8, 1)));
}

TEST(PaletteColour, NeverComesTwice) {
    std::set<std::tuple<int, int, int>> seen;
    for (int place = 0; place < 1000; ++place) {
        const Colour colour = PaletteColour(place);
        EXPECT_TRUE(seen.emplace(colour.red, colour.green, colour.blue).second) << place;
    }
}

TEST_F(MeshSeriesTest, ManyBlocksAreGroupedByTheBeginningOfTheirNames) {
    exodus_file::Content content;
    for (int i = 0; i < 30; ++i) {
        content.blocks.push_back({i + 1,
                                  i < 28 ? "rib " + std::to_string(i) : "spar " + std::to_string(i),
                                  "SHELL4",
                                  4,
                                  {1, 2, 3, 4},
                                  {}});
    }
    content.blocks.push_back({31, "skin", "SHELL4", 4, {1, 2, 3, 4}, {}});
    exodus_file::Write(content, m_folder / "many.e");
    const std::string path = m_folder / "many.orq";
    ASSERT_EQ(RunHere({"import", m_folder / "many.e", "-o", path}).status, 0);
    const ORQExcModel model(
        ORQObjDocument(ORQSimDatabase::Open(ModelAt(path), ORQSimDatabase::Mode::ReadOnly)));
    const auto names = [&](const std::vector<int>& blocks) {
        std::vector<std::string> found;
        for (const Groups::Group& group :
             GroupsByBlock(SkinOf(model, blocks), model, blocks).groups) {
            found.push_back(group.name);
        }
        return found;
    };
    EXPECT_THAT(names(BlocksNamed(model, {})),
                ElementsAre("rib (28 blocks)", "spar (2 blocks)", "skin"));
    EXPECT_THAT(names({0, 1}), ElementsAre("rib 0", "rib 1"));
}

TEST_F(MeshSeriesTest, ProgressGrowsAndWhatItThrowsEndsTheWork) {
    MeshSeries::Options options;
    options.field = "heat";
    MeshSeries series(Document(), "m", options);
    std::vector<double> told;
    const MeshPicture picture =
        series.PictureAt(2, PartOf([&](double done) { told.push_back(done); }, 0.5, 1));
    picture.WritePng(m_folder / "p.png");
    EXPECT_GT(told.size(), 10U);
    EXPECT_TRUE(std::ranges::is_sorted(told));
    EXPECT_GE(told.front(), 0.5);
    EXPECT_GT(told.back(), 0.99);
    EXPECT_LE(told.back(), 1);
    struct Enough {};
    int nLeft = 5;
    const auto giveUp = [&](double) {
        if (--nLeft == 0) {
            throw Enough();
        }
    };
    EXPECT_THROW(series.PictureAt(2, giveUp).WritePng(m_folder / "q.png"), Enough);
}

TEST_F(MeshSeriesTest, SectionsMaterialsAndMeasuresHaveColours) {
    PutBytes(m_folder / "plate.bdf",
             "BEGIN BULK\nGRID,1,,0.,0.,0.\nGRID,2,,1.,0.,0.\nGRID,3,,2.,0.,0.\nGRID,4,,0.,1.,0.\n"
             "GRID,5,,1.,1.,0.\nGRID,6,,2.,1.,0.\nGRID,7,,5.,0.,0.\nGRID,8,,5.,1.,0.\n"
             "CQUAD4,1,5,1,2,5,4\nCQUAD4,2,6,2,3,6,5\nCQUAD4,3,7,3,7,8,6\nCROD,4,8,4,5\n"
             "PROD,8,7,1.\nPSHELL,5,7,0.1\nPSHELL,7,7,0.1\nPCOMP,6\n,8,0.2,0.,YES,7,0.3,45.,YES\n"
             ",8,0.2,0.,YES\nMAT1,7,7.+10,,0.3\nMAT8,8,1.+11,1.+10,0.3,5.+9\nENDDATA\n");
    const std::string path = m_folder / "plate.orq";
    ASSERT_EQ(RunHere({"import", m_folder / "plate.bdf", "-o", path}).status, 0);
    const ORQExcModel model(
        ORQObjDocument(ORQSimDatabase::Open(ModelAt(path), ORQSimDatabase::Mode::ReadOnly)));
    const Skin skin = SkinOf(model, BlocksNamed(model, {}));
    const auto groupOf = [&](const Groups& groups, int element) -> std::string {
        for (std::size_t part = 0; part < skin.NumParts(); ++part) {
            if (skin.At(part).element == element) {
                const int group = groups.ofPart[part];
                return group < 0 ? "" : groups.groups[static_cast<std::size_t>(group)].name;
            }
        }
        return "not drawn";
    };
    // The model's order of elements is that of its blocks.
    const std::vector<int> labels = model.ElementLabels();
    const FieldValues thickness = MeasuresOf(model, "thickness");
    const FieldValues area = MeasuresOf(model, "area");
    struct Expected {
        std::string section;
        std::string material;
        double thickness;
        double area;
    };
    const std::vector<Expected> expected = {{"PSHELL 5", "MAT1 7", 0.1, 1},
                                            {"PCOMP 6", "MAT8 8, MAT1 7", 0.7, 1},
                                            {"PSHELL 7", "MAT1 7", 0.1, 3},
                                            {"", "", kNoValue, kNoValue}};
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const Expected& of = expected[static_cast<std::size_t>(labels[i] - 1)];
        EXPECT_EQ(groupOf(GroupsBySection(skin, model), static_cast<int>(i)), of.section);
        EXPECT_EQ(groupOf(GroupsByMaterial(skin, model), static_cast<int>(i)), of.material);
        if (std::isnan(of.area)) {
            EXPECT_TRUE(std::isnan(thickness.values[i]) && std::isnan(area.values[i]));
        } else {
            EXPECT_NEAR(thickness.values[i], of.thickness, 1e-15);
            EXPECT_DOUBLE_EQ(area.values[i], of.area);
        }
    }
    for (const char* by : {"section", "material", "thickness", "length"}) {
        const CommandResult drawn =
            RunHere({"draw", path, "-o", m_folder / (std::string(by) + ".svg"), "--colour-by", by});
        EXPECT_EQ(drawn.status, 0) << drawn.err;
    }
    EXPECT_THAT(Bytes(m_folder / "section.svg"), HasSubstr(">PCOMP 6<"));
    EXPECT_THAT(Bytes(m_folder / "thickness.svg"), HasSubstr("max 0.7, element 2"));
    EXPECT_THAT(Draw({"--colour-by", "section"}).err, HasSubstr("the model has no sections"));
}

}  // namespace
}  // namespace orqmodel
