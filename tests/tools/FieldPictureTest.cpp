// Pictures that are coloured by the values of results.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <map>

#include "CommandRun.h"
#include "ExodusFile.h"
#include "Files.h"
#include "draw/ColourBands.h"
#include "draw/Contours.h"
#include "draw/FieldValues.h"
#include "model/NoValue.h"

namespace fs = std::filesystem;
using exodus_file::ScratchFolder;
using namespace orqmodel;
using testing::HasSubstr;

namespace {

using orq::exchange::kNoValue;

ValueRange RangeOf(const std::vector<double>& values) {
    ValueRange range;
    range.Take(values);
    return range;
}

double Area(const Skin& skin, std::size_t part) {
    const auto nodes = skin.Nodes(part);
    double twice = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const Point& a = skin.Points()[static_cast<std::size_t>(nodes[i])];
        const Point& b = skin.Points()[static_cast<std::size_t>(nodes[(i + 1) % nodes.size()])];
        twice += a[0] * b[1] - a[1] * b[0];
    }
    return twice / 2;
}

/// Of the nodes of all parts.
std::vector<double> ByPart(const Skin& skin, const std::vector<double>& byNode) {
    std::vector<double> values;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        for (const int node : skin.Nodes(part)) {
            values.push_back(byNode[static_cast<std::size_t>(node)]);
        }
    }
    return values;
}

}  // namespace

TEST(ColourBands, DivideTheFiniteRange) {
    const std::vector<double> values = {kNoValue, 5, -5, std::numeric_limits<double>::infinity(),
                                        0};
    const ColourBands bands(RangeOf(values));
    EXPECT_EQ(bands.Count(), 10);
    EXPECT_EQ(bands.Level(0), -5);
    EXPECT_EQ(bands.Level(10), 5);
    EXPECT_EQ(bands.BandOf(-5), 0);
    EXPECT_EQ(bands.BandOf(0), 5);
    EXPECT_EQ(bands.BandOf(5), 9);
    EXPECT_EQ(bands.BandOf(kNoValue), -1);
    EXPECT_EQ(bands.ColourOf(-1), kPlain);
    const std::vector<double> same = {2, 2};
    EXPECT_EQ(ColourBands(RangeOf(same)).Count(), 1);
    EXPECT_EQ(ColourBands(RangeOf(same)).BandOf(2), 0);
    EXPECT_EQ(ColourBands(ValueRange()).Count(), 0);
    EXPECT_EQ(ColourBands(ValueRange()).BandOf(1), -1);
}

TEST(Contours, PiecesFillTheFacetEachInItsBand) {
    // A rectangle 10 wide whose values run from 0 to 10 along it, beside one without values.
    Skin skin({{0, 0, 1}, {10, 0, 1}, {10, 2, 1}, {0, 2, 1}, {20, 0, 1}, {20, 2, 1}});
    const int with[] = {0, 1, 2, 3};
    const int without[] = {1, 4, 5, 2};
    skin.AddFacet({0, 7, -1}, with, 4);
    skin.AddFacet({0, 8, -1}, without, 4);
    const std::vector<double> values = {0, 10, 10, 0, kNoValue, 10};
    const ColourBands bands(RangeOf(values));
    const std::vector<EdgeKind> edges = {EdgeKind::Feature, EdgeKind::Mesh,    EdgeKind::Feature,
                                         EdgeKind::Mesh,    EdgeKind::Feature, EdgeKind::Feature,
                                         EdgeKind::Feature, EdgeKind::Feature};
    const Contours cut = CutAtBands(skin, edges, ByPart(skin, values), bands);

    std::map<int, double> areas;
    double featureLength = 0;
    for (std::size_t part = 0; part < cut.skin.NumParts(); ++part) {
        const int band = cut.bands[part];
        areas[band] += Area(cut.skin, part);
        EXPECT_EQ(cut.origin[part], band < 0 ? 1U : 0U);
        EXPECT_EQ(cut.skin.At(part).element, band < 0 ? 8 : 7);
        const auto nodes = cut.skin.Nodes(part);
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const Point& point = cut.skin.Points()[static_cast<std::size_t>(nodes[i])];
            const Point& next =
                cut.skin.Points()[static_cast<std::size_t>(nodes[(i + 1) % nodes.size()])];
            EXPECT_EQ(point[2], 1);
            if (band >= 0) {
                EXPECT_GE(point[0], band - 1e-12);
                EXPECT_LE(point[0], band + 1 + 1e-12);
                featureLength += cut.edges[cut.skin.Begin(part) + i] == EdgeKind::Feature
                                     ? Length(next - point)
                                     : 0;
            }
        }
    }
    ASSERT_EQ(areas.size(), 11);
    for (const auto& [band, area] : areas) {
        EXPECT_NEAR(area, band < 0 ? 20 : 2, 1e-12) << band;
    }
    EXPECT_NEAR(featureLength, 20, 1e-12);
}

TEST(Contours, LinesAreCutAndPartsInOneBandStayWhole) {
    Skin skin({{0, 0, 0}, {10, 0, 0}, {0, 1, 0}, {1, 1, 0}});
    const int line[] = {1, 0};
    skin.AddLine({0, 0, -1}, line);
    skin.AddDot({0, 1, -1}, 2);
    const int flat[] = {2, 3, 0};
    skin.AddFacet({0, 2, -1}, flat, 3);
    const std::vector<double> values = {0, 10, 0.5, 0.25};
    const Contours cut = CutAtBands(skin, std::vector(6, EdgeKind::None), ByPart(skin, values),
                                    ColourBands(RangeOf(values)));
    ASSERT_EQ(cut.skin.NumParts(), 12);
    for (std::size_t i = 0; i < 10; ++i) {
        EXPECT_EQ(cut.bands[i], 9 - static_cast<int>(i));
        EXPECT_EQ(cut.skin.KindOf(i), Skin::Kind::Line);
    }
    EXPECT_EQ(cut.skin.KindOf(10), Skin::Kind::Dot);
    EXPECT_EQ(cut.skin.Nodes(11).size(), 3);
}

class CrushedBlock : public testing::Test {
  protected:
    void SetUp() override {
        const fs::path file = fs::path(ORQ_SHARED_MODELS) / "block_crush_1.ex2";
        if (!fs::exists(file)) {
            GTEST_SKIP() << "no real models on this machine";
        }
        ASSERT_EQ(RunHere({"import", file, "-o", m_database}).status, 0);
    }

    const ScratchFolder m_folder;
    const std::string m_database = (m_folder / "m.orq").string();
};

TEST_F(CrushedBlock, VonMisesIsWhatTheSolverWrote) {
    const ORQObjDocument document(ORQSimDatabase::Open(m_database, ORQSimDatabase::Mode::ReadOnly));
    const ORQExcModel model(document);
    const ORQExcResults results(document);
    const std::vector<double> ours = ShownField(model, results, "stress").At(11).values;
    const std::vector<double> theirs = ShownField(model, results, "vonmises").At(11).values;
    int nCompared = 0;
    for (std::size_t i = 0; i < ours.size(); ++i) {
        if (std::isfinite(ours[i]) && theirs[i] > 0) {
            EXPECT_NEAR(ours[i], theirs[i], 1e-6 * theirs[i]) << i;
            ++nCompared;
        }
    }
    EXPECT_GT(nCompared, 100);
}

TEST_F(CrushedBlock, ShowsTheComponentOrSaysWhatIsWrong) {
    const auto draw = [&](const Arguments& more) {
        Arguments arguments = {"draw",    m_database, "-o",     m_folder / "m.svg",
                               "--force", "--size",   "480x360"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunHere(arguments);
    };
    struct Case {
        Arguments options;
        const char* picture;
    };
    const Case pictures[] = {
        {{"--field", "displ"}, "displ magnitude, time 0.000500597, 11 of 11"},
        {{"--field", "displ_x", "--step", "2"}, "displ_x, time 5.27217e-05, 2 of 11"},
        {{"--field", "stress"}, "stress von Mises, "},
        {{"--field", "vonmises", "--step", "11"}, "vonmises, "},
    };
    for (const Case& c : pictures) {
        const CommandResult result = draw(c.options);
        EXPECT_EQ(result.status, 0) << result.err;
        EXPECT_THAT(Bytes(m_folder / "m.svg"), HasSubstr(c.picture));
    }
    const Case errors[] = {
        {{"--field", "dipsl"}, "near are \"displ\""},
        {{"--field", "Momentum"}, "is of the whole model"},
        {{"--field", "displ", "--step", "12"}, "--step 12: the model has 11 times"},
        {{"--field", "displ", "--step", "0"}, "--step"},
        {{"--field", "displ", "--colour-by", "set"}, "excludes"},
        {{"--step", "2"}, "requires --field"},
    };
    for (const Case& c : errors) {
        const CommandResult result = draw(c.options);
        EXPECT_EQ(result.status, 2);
        EXPECT_THAT(result.err, HasSubstr(c.picture));
    }
}
