#pragma once

#include "ORQBasExport.h"

/// Carries values from one set of points of an element to another, for instance from integration
/// points to nodes, by one matrix for many elements (items).
///
///   input   [items][input points][components]
///   output  [items][output points][components]      must not overlap the input
///   matrix  [output points][input points]
///
///   output(k, j, m) = (((0 + matrix(j, 0) input(k, 0, m)) + matrix(j, 1) input(k, 1, m)) + ...
///
/// Each product and each sum is rounded by itself, in this order, in the precision of the values;
/// the same numbers give the same bits on every machine. Without input points the output is 0;
/// without items it is not touched. Fastest from 2 components on in double and 4 in single
/// precision.
class ORQ_EXPORT ORQSrvExtrapolation {
  public:
    ORQSrvExtrapolation() = delete;

    static void ExtrapolateDoublePrecision(int inputPoints, int outputPoints, int components,
                                           int items, const double* input, double* output,
                                           const float* matrix);
    static void ExtrapolateSinglePrecision(int inputPoints, int outputPoints, int components,
                                           int items, const float* input, float* output,
                                           const float* matrix);
};
