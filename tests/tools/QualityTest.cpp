// How well elements are shaped.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "ExodusFile.h"
#include "Files.h"
#include "ORQExcPoint.h"
#include "ORQExcQuality.h"

namespace {

using exodus_file::ScratchFolder;
using namespace orq::exchange;
using Corners = std::vector<Point>;

const double kRoot3 = std::sqrt(3.0);

/// By number of corners and dimension, each with the ideal quality.
const std::map<std::pair<int, int>, Corners> kRegular = {
    {{3, 2}, {{0, 0, 0}, {1, 0, 0}, {0.5, kRoot3 / 2, 0}}},
    {{4, 2}, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}},
    {{4, 3}, {{0, 0, 0}, {1, 0, 0}, {0.5, kRoot3 / 2, 0}, {0.5, kRoot3 / 6, std::sqrt(2.0 / 3)}}},
    {{5, 3}, {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0.5, 0.5, std::sqrt(0.5)}}},
    {{6, 3},
     {{0, 0, 0}, {1, 0, 0}, {0.5, kRoot3 / 2, 0}, {0, 0, 2}, {1, 0, 2}, {0.5, kRoot3 / 2, 2}}},
    {{8, 3},
     {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}}};

const Corners& RegularOf(const ORQExcShape& shape) {
    return kRegular.at({shape.nCorners, shape.dimension});
}

double MeasureOf(const char* measure, const ORQExcShape& shape, const Corners& corners) {
    std::vector<double> coordinates;
    for (const Point& corner : corners) {
        coordinates.insert(coordinates.end(), corner.begin(), corner.end());
    }
    return ORQExcFindQualityMeasure(measure)->of(shape, coordinates);
}

double JacobianOf(const ORQExcShape& shape, const Corners& corners) {
    return MeasureOf("scaled Jacobian", shape, corners);
}

const ORQExcShape& Shape(const char* name) {
    return *ORQExcFindShapeByName(name);
}

TEST(Quality, EachMeasureKnowsTheRegularShapeAndWhatIsNoPlace) {
    for (const ORQExcQualityMeasure& measure : ORQExcQualityMeasures()) {
        int nShapes = 0;
        for (const ORQExcShape& shape : ORQExcShapes()) {
            Corners corners =
                shape.dimension < 2
                    ? Corners(static_cast<std::size_t>(shape.nCorners), Point{1, 2, 3})
                    : RegularOf(shape);
            if (shape.dimension == 3 && shape.nCorners == 6) {
                corners[3][2] = corners[4][2] = corners[5][2] = 1;  // all edges alike
            }
            const double value = MeasureOf(measure.name, shape, corners);
            EXPECT_TRUE(shape.dimension > 1 || std::isnan(value)) << measure.name;
            if (!std::isnan(value) && !std::isnan(measure.ideal)) {
                ++nShapes;
                EXPECT_NEAR(value, measure.ideal, 1e-14) << measure.name << ' ' << shape.name;
            }
            corners.back()[0] = std::numeric_limits<double>::infinity();
            EXPECT_TRUE(std::isnan(MeasureOf(measure.name, shape, corners))) << measure.name;
        }
        EXPECT_GT(nShapes, std::isnan(measure.ideal) ? -1 : 0) << measure.name;
    }
}

TEST(Quality, RegularShapesOfAnyOrderAreIdealAndMirroredSolidsAreNot) {
    for (const ORQExcShape& shape : ORQExcShapes()) {
        if (shape.dimension < 2) {
            EXPECT_TRUE(std::isnan(JacobianOf(
                shape, Corners(static_cast<std::size_t>(shape.nCorners), Point{1, 2, 3}))));
            continue;
        }
        Corners corners = RegularOf(shape);
        EXPECT_NEAR(JacobianOf(shape, corners), 1, 1e-14) << shape.name;
        for (Point& corner : corners) {
            corner = 1e-6 * (corner + Point{7, 8, 9});
        }
        EXPECT_NEAR(JacobianOf(shape, corners), 1, 1e-6) << shape.name << " of another size";
        if (shape.dimension == 3) {
            for (Point& corner : corners) {
                corner[2] = -corner[2];
            }
            EXPECT_NEAR(JacobianOf(shape, corners), -1, 1e-6) << shape.name << " mirrored";
        }
        corners = Corners(corners.size(), Point{1, 2, 3});
        EXPECT_EQ(JacobianOf(shape, corners), 0) << shape.name << " without extent";
        corners.back()[0] = std::numeric_limits<double>::quiet_NaN();
        EXPECT_TRUE(std::isnan(JacobianOf(shape, corners))) << shape.name;
    }
}

TEST(Quality, IsWhatIsKnownOfSkewedShapes) {
    struct Case {
        const char* shape;
        std::size_t corner;
        Point moved;
        double expected;
    };
    const std::vector<Case> cases = {
        {"TRI3", 2, {0, 1, 0}, std::sqrt(2.0 / 3)},  // a right angle: 1 / root 2 of 2 / root 3
        {"QUAD4", 2, {0.25, 0.25, 0}, -0.8},         // an arrow: its inner corner is turned over
        {"QUAD4", 2, {0.5, 0.5, 0}, 0},              // a triangle
        {"TET4", 3, {0.5, kRoot3 / 6, 0}, 0},        // flat
        {"PYRAMID5", 4, {0.5, 0.5, 0}, 0},           // flat
        {"PYRAMID5", 4, {0, 0, 1}, std::sqrt(1.0 / 3)},  // the apex over a corner
        {"WEDGE6", 3, {1, 0, 2}, 0},                     // two corners in one
        {"HEX8", 6, {1, 1, 0}, 0},                       // two corners in one
        {"HEX8", 0, {1, 1, 0.5}, -0.8},                  // pushed through the diagonal
    };
    for (const Case& each : cases) {
        Corners corners = RegularOf(Shape(each.shape));
        corners[each.corner] = each.moved;
        EXPECT_NEAR(JacobianOf(Shape(each.shape), corners), each.expected, 1e-14)
            << each.shape << ' ' << testing::PrintToString(each.moved);
    }
}

TEST(Quality, IsWhatAnotherLibraryFinds) {
    // By shape the measures that the other library has, under its names.
    const std::vector<std::pair<const char*, std::string>> shapes = {
        {"TRI3", "tri"},   {"TRI6", "tri"},     {"SHELL3", "tri"},    {"QUAD4", "quad"},
        {"QUAD8", "quad"}, {"SHELL4", "quad"},  {"SHELL9", "quad"},   {"TET4", "tet"},
        {"TET10", "tet"},  {"WEDGE6", "wedge"}, {"WEDGE15", "wedge"}, {"HEX8", "hex"},
        {"HEX20", "hex"},  {"HEX27", "hex"}};
    const std::map<std::string, std::vector<std::pair<const char*, std::string>>> measures = {
        {"tri",
         {{"scaled Jacobian", "scaled_jacobian"},
          {"edge ratio", "edge_ratio"},
          {"aspect ratio", "aspect_ratio"},
          {"minimum angle", "minimum_angle"},
          {"maximum angle", "maximum_angle"}}},
        {"quad",
         {{"scaled Jacobian", "scaled_jacobian"},
          {"edge ratio", "edge_ratio"},
          {"aspect ratio", "aspect_ratio"},
          {"skew", "skew"},
          {"taper", "taper"},
          {"warpage", "warpage"},
          {"minimum angle", "minimum_angle"},
          {"maximum angle", "maximum_angle"}}},
        {"tet",
         {{"scaled Jacobian", "scaled_jacobian"},
          {"edge ratio", "edge_ratio"},
          {"aspect ratio", "aspect_ratio"}}},
        {"wedge", {{"scaled Jacobian", "scaled_jacobian"}, {"edge ratio", "edge_ratio"}}},
        // Its edge ratio of a hexahedron leaves edges out.
        {"hex", {{"scaled Jacobian", "scaled_jacobian"}, {"skew", "skew"}, {"taper", "taper"}}}};
    std::mt19937 random(17);
    std::uniform_real_distribution<double> shift(-0.6, 0.6);
    std::ostringstream asked;
    asked.precision(17);
    std::vector<std::pair<std::string, double>> ours;
    int nNegative = 0;
    for (const auto& [name, family] : shapes) {
        for (int i = 0; i < 60; ++i) {
            Corners corners = RegularOf(Shape(name));
            std::ostringstream numbers;
            numbers.precision(17);
            for (Point& corner : corners) {
                for (double& coordinate : corner) {
                    coordinate += shift(random);
                    numbers << ' ' << coordinate;
                }
            }
            for (const auto& [measure, theirs] : measures.at(family)) {
                asked << family << '_' << theirs << numbers.str() << '\n';
                const double own = MeasureOf(measure, Shape(name), corners);
                ours.emplace_back(std::string(name) + ' ' + measure, own);
                nNegative += own < 0 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(nNegative, 50);
    const ScratchFolder folder;
    PutBytes(folder / "asked", asked.str());
    const std::string command = std::string(ORQ_PYTHON) + " " ORQ_VERDICT " < " +
                                (folder / "asked").string() + " > " + (folder / "told").string();
    const int status = std::system(command.c_str());
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << "no VTK on this machine";
    }
    ASSERT_EQ(status, 0);
    std::istringstream told(Bytes(folder / "told"));
    for (const auto& [what, own] : ours) {
        double theirs = 0;
        ASSERT_TRUE(told >> theirs);
        EXPECT_NEAR(own, theirs, 1e-11 * std::max(1.0, std::abs(theirs))) << what;
    }
}

}  // namespace
