// The table of element shapes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "ORQExcShapes.h"

namespace {

using testing::ElementsAre;

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

}  // namespace
