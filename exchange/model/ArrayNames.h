#pragma once

#include <string_view>

/// Names of the arrays in which exports write parts of a mesh that the format has no better place
/// for. The readers of those formats know them again.
namespace orq::exchange::array_names {

inline constexpr std::string_view kLabels = "label";       ///< over points and over cells
inline constexpr std::string_view kBlocks = "block";       ///< over cells: the number of the block
inline constexpr std::string_view kNodeSet = "node set ";  ///< over points: 1 for a member
inline constexpr std::string_view kElementSet = "element set ";  ///< over cells: 1 for a member
/// Over cells: a value for each, NaN where the block of the cell lacks the attribute.
inline constexpr std::string_view kAttribute = "attribute ";
/// An array over the whole grid: pairs of a cell and the number of its side, both from 0.
inline constexpr std::string_view kSurface = "surface ";
/// Arrays over the whole grid, one for each block, in the order of the cells.
inline constexpr std::string_view kBlockNumbers = "block number";
inline constexpr std::string_view kBlockNames = "block name";
inline constexpr std::string_view kBlockShapes = "block shape";
inline constexpr std::string_view kShells = "shell";  ///< over cells: 1 for one of a shell
/// A comment of the Gmsh files that have such views; in others the names are those of results.
inline constexpr std::string_view kViewsOfMesh =
    "Views called node set, surface, attribute or shell say something of the mesh.";
inline constexpr std::string_view kTitle = "title";     ///< a text of the whole grid
inline constexpr std::string_view kTime = "TimeValue";  ///< VTK's own name for a grid's time

}  // namespace orq::exchange::array_names
