#pragma once

#include <limits>
#include <string>
#include <vector>

#include "draw/Canvas.h"

namespace orqmodel {

/// The texts at axes, by the size of a picture's text.
constexpr double kAxisText = 0.85;

/// The range of the values that were added; numbers that are not count for nothing.
struct AxisRange {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();

    void Add(double value);
    /// Widened by a part of itself; around what is a single value or nearly so, by a part of that.
    /// From 0 to 1 without values.
    AxisRange Widened(double part) const;
    /// The same, and from or to 0 where that does not flatten what is shown.
    AxisRange WidenedToZero(double part) const;
};

/// A range, and where it lies in the picture.
struct Axis {
    AxisRange range;
    double from;
    double to;

    double Place(double value) const;
};

/// A power of ten and the numbers on an axis: round ones from within [low, high], of which the
/// labels, multiplied by the power, are the numbers.
struct Ticks {
    std::vector<double> at;
    std::vector<std::string> labels;
    int exponent;  ///< a multiple of 3, 0 for numbers that are easily read without

    /// About so many; REQUIRES: low < high.
    static Ticks Over(double low, double high, int about);
};

/// The room that the numbers need beside an axis.
double WidthOf(const Ticks& ticks, double textSize);
/// Paint the lines of a grid across a graph, and their numbers: on the left of an upright axis, and
/// below one that lies, over a text that tells what is there. REQUIRES: a range that is not empty.
void PaintTicksBeside(Canvas& canvas, double textSize, const Axis& y, const Ticks& ticks,
                      double left, double right);
void PaintTicksBelow(Canvas& canvas, double textSize, const Axis& x, double top, double bottom,
                     const std::string& label);

}  // namespace orqmodel
