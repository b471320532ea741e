#pragma once

#include <string_view>

/// How our export spells, in VTK's arrays, what VTK has no place for, and the reader finds it again.
namespace orq::exchange::vtu {

inline constexpr std::string_view kLabels = "label";       ///< over points and over cells
inline constexpr std::string_view kBlocks = "block";       ///< over cells: the number of the block
inline constexpr std::string_view kNodeSet = "node set ";  ///< over points: 1 for a member
inline constexpr std::string_view kElementSet = "element set ";  ///< over cells: 1 for a member
/// Over cells: a value for each, not a number where the cell's block lacks the attribute.
inline constexpr std::string_view kAttribute = "attribute ";
/// Of the whole grid: pairs of a cell and the number of its side, both from 0.
inline constexpr std::string_view kSurface = "surface ";
/// Of the whole grid, one for each block, in the order of the cells.
inline constexpr std::string_view kBlockNumbers = "block number";
inline constexpr std::string_view kBlockNames = "block name";
inline constexpr std::string_view kBlockShapes = "block shape";
inline constexpr std::string_view kTime = "TimeValue";  ///< VTK's own name for a grid's time

}  // namespace orq::exchange::vtu
