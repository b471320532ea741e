#pragma once

#include <span>
#include <string_view>

#include "ORQBasExport.h"
#include "ORQExcShapes.h"

/// How well an element is shaped, as one number of its corners.
///
/// `of` takes a shape and its nCorners points, three coordinates each, in any unit of length, and
/// answers a pure number, or degrees; not a number for points and lines, for shapes that it is not
/// defined for, and where a coordinate is none. Middles
/// of edges take no part: an element of second order is judged as the one of its corners.
struct ORQ_EXPORT ORQExcQualityMeasure {
    const char* name;
    double ideal;  ///< of the regular shape; not a number where shapes differ
    double (*of)(const ORQExcShape& shape, std::span<const double> corners);
};

/// All measures. They live as long as the program.
///
///     scaled Jacobian  The least, over the corners, of the determinant of the edges that meet there
///                      by the product of their lengths, so scaled that the regular shape has 1: a
///                      flat or collapsed element has 0, one that is turned inside out less.
///                      Triangles in space have no inside: theirs is not negative.
///     edge ratio       The longest edge by the shortest.
///     aspect ratio     Triangle, tetrahedron: the longest edge by the radius of the inner circle or
///                      sphere; quadrilateral: the longest edge by the area and perimeter; 1 for the
///                      regular shape.
///     skew             Quadrilateral, hexahedron: the greatest cosine between the lines that join
///                      the middles of opposite sides.
///     taper            Quadrilateral, hexahedron: how much such a line changes along another one,
///                      by the shorter of both.
///     warpage          Quadrilateral: the cube of the least cosine between the normals at opposite
///                      corners, 1 in a plane.
///     minimum angle    Triangle, quadrilateral: at a corner, in degrees.
///     maximum angle    Triangle, quadrilateral: at a corner, beyond 180 degrees where it goes inwards.
///
/// What has no extent has an infinite ratio and the skew, warpage and angle 0.
///
/// The formulas are those of the Verdict library (Stimpson, Ernst, Knupp, Pebay, Thompson: The
/// Verdict Geometric Quality Library, Sandia report SAND2007-1751; the pyramid: four tetrahedra of
/// three corners of the base and the apex, as in later releases), but that a part without extent
/// counts as 0.
ORQ_EXPORT std::span<const ORQExcQualityMeasure> ORQExcQualityMeasures();

/// Null when there is none of the name.
ORQ_EXPORT const ORQExcQualityMeasure* ORQExcFindQualityMeasure(std::string_view name);
