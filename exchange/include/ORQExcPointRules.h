#pragma once

#include <array>
#include <vector>

#include "ORQBasExport.h"
#include "ORQExcShapes.h"

/// Integration points of element shapes, and the matrices that carry values from them to other
/// places of an element (see ORQSrvExtrapolation).
///
/// The places are the parameters (r, s, t) of the shape: from -1 to 1 along lines, quadrilaterals
/// and hexahedra, from 0 to 1 with the first corner at 0 in triangles and tetrahedra, and a triangle
/// by a line in wedges. Points of products are numbered with r running fastest, then s, then t; those
/// of triangles and tetrahedra in the order of the corners to which they are near, behind one at the
/// middle where there is one.

/// Whether a shape can have so many integration points: some rule in use has them.
ORQ_EXPORT bool ORQExcCanHavePoints(const ORQExcShape& shape, int nPoints);
/// The places of its integration points; empty where programs do not agree on them, and for numbers
/// that the shape cannot have.
///
/// Sources: products of the Gauss-Legendre rules of 1 to 5 points (Abramowitz and Stegun, Handbook of
/// Mathematical Functions, 1964, table 25.4); triangles of 1, 3 and 4 points and tetrahedra of 1, 4
/// and 5 points (Hammer, Marlowe and Stroud, Numerical integration over simplexes and cones, Math.
/// Tables Aids Comp. 10 (1956) 130-137); wedges as products of triangle and line.
ORQ_EXPORT std::vector<std::array<double, 3>> ORQExcPointsOf(const ORQExcShape& shape, int nPoints);
/// The parameters of the shape's nodes, in the order of ORQExcShape.
ORQ_EXPORT std::vector<std::array<double, 3>> ORQExcNodePlaces(const ORQExcShape& shape);

/// [places][points] for ORQSrvExtrapolation: the values at places of the polynomial that fits the
/// values at the points best in the sense of least squares. It has as many powers along each
/// direction as the rule has points there, and is linear in triangles and tetrahedra of more than
/// one point; so a field that is linear in the parameters is carried over exactly, up to the
/// rounding of the matrix to floats. Empty where ORQExcPointsOf is.
///
/// Source: Hinton and Campbell, Local and global smoothing of discontinuous finite element functions
/// using a least squares method, Int. J. Num. Meth. Engng 8 (1974) 461-480. Where the rule is a product
/// of lines it is interpolation by Lagrange polynomials through the points.
ORQ_EXPORT std::vector<float> ORQExcExtrapolation(const ORQExcShape& shape, int nPoints,
                                                  const std::vector<std::array<double, 3>>& places);
/// Weights that take values at points to the nodes, and to the middle of the parameters.
ORQ_EXPORT std::vector<float> ORQExcExtrapolationToNodes(const ORQExcShape& shape, int nPoints);
ORQ_EXPORT std::vector<float> ORQExcExtrapolationToMiddle(const ORQExcShape& shape, int nPoints);
/// Weights that take values at nodes to the middle: the corners count, by the shape functions of
/// the corners alone.
ORQ_EXPORT std::vector<float> ORQExcNodesToMiddle(const ORQExcShape& shape);
