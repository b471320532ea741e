#pragma once

#include "ExodusFile.h"

namespace orqmodel {

/// Two triangles and a bar in a Gmsh file, sections and labels in no order, one element in two groups.
inline constexpr const char* kTwoTriangles = R"($MeshFormat
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

/// One straight-sided element of each shape, of no symmetry, with nodes of its own.
exodus_file::Content OneOfEachShape();

}  // namespace orqmodel
