#pragma once

#include <string_view>

/// A deck with a card of each kind that is read.
inline constexpr std::string_view kSmallDeck = R"(SOL 101
CEND
BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,1.,1.,0.
GRID,4,,0.,1.,0.
CORD2R,5,,0.,0.,0.,0.,0.,1.
+,1.,1.,0.
CQUAD4,11,8,1,2,3,4,30.
CTRIA3,12,9,1,2,3
CBAR,13,10,1,2,0.,0.,1.
PBAR,10,5,1.-4,1.-8,1.-8,1.-8
PCOMP,8,,,,,,,SYM
+,5,.1,0.,YES,6,.2,45.,YES
PSHELL,9,5,.2,5,,5
MAT1,5,7.+10,,.3,2700.,2.3-5,20.
MATT1,5,1
TABLEM1,1
,20.,7.+10,100.,6.5+10,ENDT
MAT8,6,1.35+11,8.5+9,.32,4.8+9,4.8+9,3.1+9,1580.
MAT2,7,1.+11,2.+10,0.,1.+11,0.,4.+10,1500.
MAT9,8,1.+11,2.+10,2.+10,0.,0.,0.,1.+11
+,2.+10,0.,0.,0.,1.+11,0.,0.,0.
+,4.+10,0.,0.,4.+10,0.,4.+10
CHEXA,14,11,1,2,3,4,1,2
+,3,4
PSOLID,11,8,5
RBE2,20,1,123,2,3
SET1,1,1,THRU,4
ENDDATA
)";

/// A layup file for the small mesh.
inline constexpr std::string_view kSmallLayup = R"({
  "version": 1,
  "materials": [{"name": "tape", "constants": {"E1": 1.35e11, "nu12": 0.32}, "units": {"E1": "Pa"},
    "properties": [{"property": "elastic", "columns": ["temperature", "E1"], "rows": [[20, 1e11], [80, 9e10]]}]}],
  "orientations": [{"name": "span", "axis1": [1, 0, 0], "axis2": [0, 1, 0]}],
  "plies": [{"name": "outer"}],
  "sections": [{"name": "wall", "symmetric": true, "layers": [
    {"material": "tape", "ply": "outer", "orientation": "span", "thickness": 0.125, "angle": 45},
    {"material": "tape", "thickness": 0.125, "section_points": 3}]}],
  "assignments": [{"elements": ["skin"], "section": "wall"}]
})";
