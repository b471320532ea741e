#pragma once

#include <algorithm>
#include <array>
#include <utility>

#include "ORQExcShapes.h"

namespace orq::exchange {

/// The nodes of an element type of Gmsh, as its reference manual and its own header of types number
/// them; 0 for a type that is not known.
inline int GmshNodesOf(int type) {
    static constexpr std::array<std::pair<int, int>, 71> kNodes = {
        {{1, 2},    {2, 3},    {3, 4},    {4, 4},     {5, 8},     {6, 6},    {7, 5},    {8, 3},
         {9, 6},    {10, 9},   {11, 10},  {12, 27},   {13, 18},   {14, 14},  {15, 1},   {16, 8},
         {17, 20},  {18, 15},  {19, 13},  {20, 9},    {21, 10},   {22, 12},  {23, 15},  {24, 15},
         {25, 21},  {26, 4},   {27, 5},   {28, 6},    {29, 20},   {30, 35},  {31, 56},  {32, 22},
         {33, 28},  {36, 16},  {37, 25},  {38, 36},   {39, 12},   {40, 16},  {41, 20},  {42, 28},
         {43, 36},  {44, 45},  {45, 55},  {46, 66},   {47, 49},   {48, 64},  {49, 81},  {50, 100},
         {51, 121}, {62, 7},   {63, 8},   {64, 9},    {65, 10},   {66, 11},  {71, 84},  {72, 120},
         {73, 165}, {74, 220}, {75, 286}, {90, 40},   {91, 75},   {92, 64},  {93, 125}, {94, 216},
         {95, 343}, {96, 512}, {97, 729}, {98, 1000}, {106, 126}, {118, 30}, {119, 55}}};
    const auto found =
        std::ranges::find(kNodes, type, [](const std::pair<int, int>& row) { return row.first; });
    return found == kNodes.end() ? 0 : found->second;
}

/// Whether the format has elements of a shape.
inline bool IsGmshShape(const ORQExcShape& shape) {
    return shape.gmshType != 0;
}

}  // namespace orq::exchange
