#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <string>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcPoint.h"
#include "ORQExcShapes.h"

using namespace orq::exchange;

namespace {

using Side = ORQExcShape::Side;
using Nodes = std::vector<int>;

/// Sides of the largest member of a family, corners and then middles; smaller members keep the
/// nodes that they have.
struct Family {
    int dimension;
    int nCorners;
    std::vector<std::pair<int, Nodes>> sides;  // number of corners, nodes
    std::vector<Nodes> edges;
};

const Family kPointFamily = {0, 1, {}, {}};
// The line there and back: files of one dimension call the ends of a bar its sides 1 and 2.
const Family kBarFamily = {1, 2, {{2, {0, 1, 2}}, {2, {1, 0, 2}}}, {{0, 1, 2}}};
const Family kTriangleFamily = {
    2, 3, {{2, {0, 1, 3}}, {2, {1, 2, 4}}, {2, {2, 0, 5}}}, {{0, 1, 3}, {1, 2, 4}, {2, 0, 5}}};
const Family kQuadrilateral = {2,
                               4,
                               {{2, {0, 1, 4}}, {2, {1, 2, 5}}, {2, {2, 3, 6}}, {2, {3, 0, 7}}},
                               {{0, 1, 4}, {1, 2, 5}, {2, 3, 6}, {3, 0, 7}}};
const Family kTriangleShell = {2,
                               3,
                               {{3, {0, 1, 2, 3, 4, 5, 6}},
                                {3, {0, 2, 1, 5, 4, 3, 6}},
                                {2, {0, 1, 3}},
                                {2, {1, 2, 4}},
                                {2, {2, 0, 5}}},
                               kTriangleFamily.edges};
const Family kQuadrilateralShell = {2,
                                    4,
                                    {{4, {0, 1, 2, 3, 4, 5, 6, 7, 8}},
                                     {4, {0, 3, 2, 1, 7, 6, 5, 4, 8}},
                                     {2, {0, 1, 4}},
                                     {2, {1, 2, 5}},
                                     {2, {2, 3, 6}},
                                     {2, {3, 0, 7}}},
                                    kQuadrilateral.edges};
const Family kTetrahedron = {3,
                             4,
                             {{3, {0, 1, 3, 4, 8, 7}},
                              {3, {1, 2, 3, 5, 9, 8}},
                              {3, {0, 3, 2, 7, 9, 6}},
                              {3, {0, 2, 1, 6, 5, 4}}},
                             {{0, 1, 4}, {1, 2, 5}, {2, 0, 6}, {0, 3, 7}, {1, 3, 8}, {2, 3, 9}}};
const Family kPyramid = {
    3,
    5,
    {{3, {0, 1, 4, 5, 10, 9}},
     {3, {1, 2, 4, 6, 11, 10}},
     {3, {2, 3, 4, 7, 12, 11}},
     {3, {3, 0, 4, 8, 9, 12}},
     {4, {0, 3, 2, 1, 8, 7, 6, 5}}},
    {{0, 1, 5}, {1, 2, 6}, {2, 3, 7}, {3, 0, 8}, {0, 4, 9}, {1, 4, 10}, {2, 4, 11}, {3, 4, 12}}};
const Family kWedge = {3,
                       6,
                       {{4, {0, 1, 4, 3, 6, 10, 12, 9, 15}},
                        {4, {1, 2, 5, 4, 7, 11, 13, 10, 16}},
                        {4, {0, 3, 5, 2, 9, 14, 11, 8, 17}},
                        {3, {0, 2, 1, 8, 7, 6}},
                        {3, {3, 4, 5, 12, 13, 14}}},
                       {{0, 1, 6},
                        {1, 2, 7},
                        {2, 0, 8},
                        {0, 3, 9},
                        {1, 4, 10},
                        {2, 5, 11},
                        {3, 4, 12},
                        {4, 5, 13},
                        {5, 3, 14}}};
const Family kHexahedron = {3,
                            8,
                            {{4, {0, 1, 5, 4, 8, 13, 16, 12, 25}},
                             {4, {1, 2, 6, 5, 9, 14, 17, 13, 24}},
                             {4, {2, 3, 7, 6, 10, 15, 18, 14, 26}},
                             {4, {0, 4, 7, 3, 12, 19, 15, 11, 23}},
                             {4, {0, 3, 2, 1, 11, 10, 9, 8, 21}},
                             {4, {4, 5, 6, 7, 16, 17, 18, 19, 22}}},
                            {{0, 1, 8},
                             {1, 2, 9},
                             {2, 3, 10},
                             {3, 0, 11},
                             {0, 4, 12},
                             {1, 5, 13},
                             {2, 6, 14},
                             {3, 7, 15},
                             {4, 5, 16},
                             {5, 6, 17},
                             {6, 7, 18},
                             {7, 4, 19}}};

Side Trimmed(int nCorners, Nodes nodes, int nNodes) {
    std::erase_if(nodes, [&](int node) { return node >= nNodes; });
    return {std::move(nodes), nCorners};
}

ORQExcShape Member(const Family& family, const char* name, int nNodes, int vtkType, int gmshType,
                   Nodes vtkOrder = {}, Nodes gmshOrder = {}) {
    ORQExcShape shape{name, family.dimension, nNodes,   family.nCorners,     {},
                      {},   vtkType,          gmshType, std::move(vtkOrder), std::move(gmshOrder)};
    for (const auto& [nCorners, nodes] : family.sides) {
        shape.sides.push_back(Trimmed(nCorners, nodes, nNodes));
    }
    for (const Nodes& nodes : family.edges) {
        shape.edges.push_back(Trimmed(2, nodes, nNodes));
    }
    return shape;
}

// A search by a type of VTK or Gmsh returns the first shape, so plane elements stand before shells,
// which share their types.
const std::vector<ORQExcShape>& Table() {
    static const std::vector<ORQExcShape> table = {
        Member(kPointFamily, "SPHERE", 1, 1, 15),
        Member(kBarFamily, "BAR2", 2, 3, 1),
        Member(kBarFamily, "BAR3", 3, 21, 8),
        Member(kTriangleFamily, "TRI3", 3, 5, 2),
        Member(kTriangleFamily, "TRI6", 6, 22, 9),
        Member(kTriangleFamily, "TRI7", 7, 34, 0),
        Member(kQuadrilateral, "QUAD4", 4, 9, 3),
        Member(kQuadrilateral, "QUAD8", 8, 23, 16),
        Member(kQuadrilateral, "QUAD9", 9, 28, 10),
        Member(kTriangleShell, "SHELL3", 3, 5, 2),
        Member(kTriangleShell, "SHELL6", 6, 22, 9),
        Member(kQuadrilateralShell, "SHELL4", 4, 9, 3),
        Member(kQuadrilateralShell, "SHELL8", 8, 23, 16),
        Member(kQuadrilateralShell, "SHELL9", 9, 28, 10),
        Member(kTetrahedron, "TET4", 4, 10, 4),
        Member(kTetrahedron, "TET10", 10, 24, 11, {}, {0, 1, 2, 3, 4, 5, 6, 7, 9, 8}),
        Member(kPyramid, "PYRAMID5", 5, 14, 7),
        Member(kPyramid, "PYRAMID13", 13, 27, 19, {}, {0, 1, 2, 3, 4, 5, 8, 10, 6, 7, 9, 11, 12}),
        Member(kWedge, "WEDGE6", 6, 13, 6),
        Member(kWedge, "WEDGE15", 15, 26, 18, {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 14, 9, 10, 11},
               {0, 1, 2, 3, 4, 5, 6, 9, 7, 8, 10, 11, 12, 14, 13}),
        Member(kWedge, "WEDGE18", 18, 32, 13,
               {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 13, 14, 9, 10, 11, 15, 16, 17},
               {0, 1, 2, 3, 4, 5, 6, 9, 7, 8, 10, 11, 12, 14, 13, 15, 17, 16}),
        Member(kHexahedron, "HEX8", 8, 12, 5),
        Member(kHexahedron, "HEX20", 20, 25, 17,
               {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15},
               {0, 1, 2, 3, 4, 5, 6, 7, 8, 11, 13, 9, 10, 12, 14, 15, 16, 18, 19, 17}),
        Member(kHexahedron, "HEX27", 27, 29, 12,
               {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 16, 17,
                18, 19, 12, 13, 14, 15, 26, 24, 25, 20, 21, 22, 23},
               {0,  1,  2,  3,  4,  5,  6,  7,  8,  11, 13, 9,  10, 12,
                14, 15, 16, 18, 19, 17, 26, 20, 25, 22, 23, 21, 24}),
    };
    return table;
}

Point PointAt(std::span<const double> coordinates, int node) {
    const auto at = static_cast<std::size_t>(3 * node);
    return {coordinates[at], coordinates[at + 1], coordinates[at + 2]};
}

Point Mean(std::span<const Point> points) {
    Point mean{};
    for (const Point& point : points) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            mean[axis] += point[axis] / static_cast<double>(points.size());
        }
    }
    return mean;
}

double TriangleArea(const Point& a, const Point& b, const Point& c) {
    return 0.5 * Length(Cross(b - a, c - a));
}

/// Calls f(a, b, middle) for the triangles of a polygon about its middle.
template <class F>
void ForEachTriangle(std::span<const Point> corners, F&& f) {
    if (corners.size() == 3) {
        f(corners[0], corners[1], corners[2]);
        return;
    }
    const Point middle = Mean(corners);
    for (std::size_t i = 0; i < corners.size(); ++i) {
        f(corners[i], corners[(i + 1) % corners.size()], middle);
    }
}

/// The sum of tetrahedra between the centroid and the triangles of the faces, whose nodes go around
/// seen from outside.
double Volume(const ORQExcShape& shape, std::span<const Point> corners, const Point& centroid) {
    double volume = 0;
    for (const Side& side : shape.sides) {
        std::vector<Point> face;
        for (int i = 0; i < side.nCorners; ++i) {
            face.push_back(
                corners[static_cast<std::size_t>(side.nodes[static_cast<std::size_t>(i)])]);
        }
        ForEachTriangle(face, [&](const Point& a, const Point& b, const Point& c) {
            volume += Dot(a - centroid, Cross(b - centroid, c - centroid)) / 6;
        });
    }
    return volume;
}

/// The letters of a name: writers spell a shape with or without its number of nodes.
std::string UpperLetters(std::string_view name) {
    std::string letters;
    for (const char c : name) {
        if (std::isalpha(static_cast<unsigned char>(c)) != 0) {
            letters += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
    }
    return letters;
}

}  // namespace

const ORQExcShape::Side& ORQExcShape::SideAt(int number) const {
    if (number < 0 || number >= std::ssize(sides)) {
        throw ORQBasFailure(ORQBasFailureKind::Damaged,
                            fmt::format("an element of shape {} has the side {} of {}", name,
                                        number + 1, sides.size()));
    }
    return sides[static_cast<std::size_t>(number)];
}

std::span<const ORQExcShape> ORQExcShapes() {
    return Table();
}

const ORQExcShape* ORQExcFindShapeByExodusName(std::string_view name, int nNodes) {
    static const std::map<std::string, std::string, std::less<>> families = {
        {"SPHERE", "SPHERE"},   {"POINT", "SPHERE"},    {"NODE", "SPHERE"},
        {"CIRCLE", "SPHERE"},   {"BAR", "BAR"},         {"BEAM", "BAR"},
        {"TRUSS", "BAR"},       {"ROD", "BAR"},         {"EDGE", "BAR"},
        {"LINE", "BAR"},        {"SPRING", "BAR"},      {"TRI", "TRI"},
        {"TRIANGLE", "TRI"},    {"QUAD", "QUAD"},       {"QUADRILATERAL", "QUAD"},
        {"SHELL", "SHELL"},     {"TRISHELL", "SHELL"},  {"QUADSHELL", "SHELL"},
        {"SHEL", "SHELL"},      {"TET", "TET"},         {"TETRA", "TET"},
        {"TETRAHEDRON", "TET"}, {"PYRAMID", "PYRAMID"}, {"PYRA", "PYRAMID"},
        {"WEDGE", "WEDGE"},     {"PRISM", "WEDGE"},     {"PENTA", "WEDGE"},
        {"HEX", "HEX"},         {"HEXAHEDRON", "HEX"},  {"HEXAHEDRAL", "HEX"},
    };
    const auto family = families.find(UpperLetters(name));
    if (family == families.end()) {
        return nullptr;
    }
    const auto found = std::ranges::find_if(Table(), [&](const ORQExcShape& shape) {
        return shape.nNodes == nNodes && UpperLetters(shape.name) == family->second;
    });
    return found == Table().end() ? nullptr : &*found;
}

const ORQExcShape* ORQExcFindShapeByGmshType(int type) {
    const auto found = std::ranges::find(Table(), type, &ORQExcShape::gmshType);
    return type == 0 || found == Table().end() ? nullptr : &*found;
}

const ORQExcShape* ORQExcFindShapeByVtkType(int type) {
    const auto found = std::ranges::find(Table(), type, &ORQExcShape::vtkType);
    return found == Table().end() ? nullptr : &*found;
}

const ORQExcShape* ORQExcFindShapeByName(std::string_view name) {
    const auto found = std::ranges::find(
        Table(), name, [](const ORQExcShape& shape) { return std::string_view(shape.name); });
    return found == Table().end() ? nullptr : &*found;
}

ORQExcMeasure ORQExcMeasureOf(const ORQExcShape& shape, std::span<const double> coordinates) {
    std::vector<Point> corners;
    for (int node = 0; node < shape.nCorners; ++node) {
        corners.push_back(PointAt(coordinates, node));
    }
    const Point centroid = Mean(corners);
    double size = 0;
    if (shape.dimension == 1) {
        size = Length(corners[1] - corners[0]);
    } else if (shape.dimension == 2) {
        ForEachTriangle(corners, [&](const Point& a, const Point& b, const Point& c) {
            size += TriangleArea(a, b, c);
        });
    } else if (shape.dimension == 3) {
        size = Volume(shape, corners, centroid);
    }
    return {{centroid[0], centroid[1], centroid[2]}, size};
}

void ORQExcTributaryShares(const Side& side, std::span<const double> coordinates,
                           std::span<double> shares) {
    std::ranges::fill(shares, 0.0);
    const auto nCorners = static_cast<std::size_t>(side.nCorners);
    const std::size_t nNodes = side.nodes.size();
    std::vector<Point> nodes;
    for (std::size_t i = 0; i < nNodes; ++i) {
        nodes.push_back(PointAt(coordinates, static_cast<int>(i)));
    }
    const bool hasMiddles = nNodes > nCorners;
    if (side.IsEdge()) {
        // Half of each piece to each of its ends.
        const std::vector<std::size_t> path =
            hasMiddles ? std::vector<std::size_t>{0, 2, 1} : std::vector<std::size_t>{0, 1};
        for (std::size_t i = 0; i + 1 < path.size(); ++i) {
            const double half = 0.5 * Length(nodes[path[i + 1]] - nodes[path[i]]);
            shares[path[i]] += half;
            shares[path[i + 1]] += half;
        }
        return;
    }
    // Around the face, corner, middle, corner, ...; each piece of its border and the middle of the
    // face span a triangle, which is shared by the ends of the piece, and by the node in the middle
    // of the face where there is one.
    std::vector<std::size_t> around;
    for (std::size_t i = 0; i < nCorners; ++i) {
        around.push_back(i);
        if (hasMiddles) {
            around.push_back(nCorners + i);
        }
    }
    const bool hasCentre = nNodes > 2 * nCorners;
    const Point centre =
        hasCentre ? nodes.back() : Mean(std::span<const Point>(nodes).first(nCorners));
    for (std::size_t i = 0; i < around.size(); ++i) {
        const std::size_t a = around[i];
        const std::size_t b = around[(i + 1) % around.size()];
        const double area = TriangleArea(nodes[a], nodes[b], centre);
        const double share = area / (hasCentre ? 3 : 2);
        shares[a] += share;
        shares[b] += share;
        if (hasCentre) {
            shares[nNodes - 1] += share;
        }
    }
}
