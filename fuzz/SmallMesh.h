#pragma once

#include <string_view>

/// A Gmsh file of four quadrilaterals in two groups, with values at nodes and of elements.
inline constexpr std::string_view kSmallMesh = R"($MeshFormat
2.2 0 8
$EndMeshFormat
$PhysicalNames
2
2 1 "skin"
2 2 "rib"
$EndPhysicalNames
$Nodes
9
1 0 0 0
2 1 0 0
3 2 0 0
4 0 1 0
5 1 1 0
6 2 1 0
7 0 2 0
8 1 2 0
9 2 2 0
$EndNodes
$Elements
4
1 3 2 1 1 1 2 5 4
2 3 2 1 1 2 3 6 5
3 3 2 2 2 4 5 8 7
4 3 2 2 2 5 6 9 8
$EndElements
$NodeData
1
"displ"
1
0.5
3
0
3
3
1 0 0 0.25
5 1 2 3
9 4 5 6
$EndNodeData
$ElementData
1
"stress"
1
0.5
3
0
9
2
2 1 2 3 4 5 6 7 8 9
3 9 8 7 6 5 4 3 2 1
$EndElementData
)";
