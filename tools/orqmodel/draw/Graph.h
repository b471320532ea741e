#pragma once

#include <string>
#include <vector>

#include "draw/Canvas.h"

namespace orqmodel {

/// Values over a quantity, in the order in which a line leads through them. A value that is NaN
/// leaves a gap; a curve of one value without an abscissa is a level line over the whole width.
struct Curve {
    std::string name;
    std::vector<double> x;
    std::vector<double> y;

    bool IsLevel() const { return x.empty(); }
};

/// A rectangle with axes and curves, each in a colour of its own.
struct Graph {
    std::string title;
    std::string yUnits;  ///< empty for none; behind the title, with the power of ten of the axis
    std::string xLabel;  ///< empty for curves that are all level, which have no such axis
    std::vector<Curve> curves;  ///< the first one covers the others
};

/// Paints the graph with its title, its axes and, for several curves, a legend. Where a curve has
/// no value at all, it stands in the legend alone.
void PaintGraph(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                const Graph& graph);

}  // namespace orqmodel
