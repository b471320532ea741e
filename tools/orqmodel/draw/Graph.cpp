#include "draw/Graph.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "draw/Axis.h"
#include "draw/Captions.h"

namespace orqmodel {
namespace {

constexpr std::size_t kMostMarks = 60;  // of a curve; more would cover the line

Axis XAxis(const Graph& graph, double from, double to) {
    AxisRange range;
    for (const Curve& curve : graph.curves) {
        for (const double x : curve.x) {
            range.Add(x);
        }
    }
    return {range.Widened(0.03), from, to};
}

Axis YAxis(const Graph& graph, double from, double to) {
    AxisRange range;
    for (const Curve& curve : graph.curves) {
        for (const double y : curve.y) {
            range.Add(y);
        }
    }
    return {range.WidenedToZero(0.08), from, to};
}

void PaintCurve(Canvas& canvas, double textSize, const Curve& curve, Colour colour, const Axis& x,
                const Axis& y) {
    const Stroke stroke{colour, std::max(1.5, 0.12 * textSize)};
    if (curve.IsLevel()) {
        const double height = y.Place(curve.y.at(0));
        if (!std::isnan(height)) {
            const std::array<Spot, 2> ends = {{{x.from, height}, {x.to, height}}};
            canvas.Line(ends, stroke);
        }
        return;
    }
    std::vector<Spot> line;
    const auto end = [&] {
        if (line.size() > 1) {
            canvas.Line(line, stroke);
        }
        // A single value makes no line: its mark is all that shows it.
        if (line.size() == 1 || curve.x.size() <= kMostMarks) {
            for (const Spot& spot : line) {
                canvas.Disc(spot, 0.25 * textSize, colour, {kWhite, 1});
            }
        }
        line.clear();
    };
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
        if (std::isnan(curve.y[i])) {
            end();
        } else {
            line.push_back({x.Place(curve.x[i]), y.Place(curve.y[i])});
        }
    }
    end();
}

/// Paints the curves in their frame, the first one uppermost.
void PaintCurves(Canvas& canvas, double textSize, const Graph& graph, const Axis& x,
                 const Axis& y) {
    const std::array<Spot, 5> frame = {
        {{x.from, y.to}, {x.to, y.to}, {x.to, y.from}, {x.from, y.from}, {x.from, y.to}}};
    canvas.Line(frame, {kInk, 1});
    // Backwards, as what is painted last lies on top.
    for (std::size_t i = graph.curves.size(); i-- > 0;) {
        PaintCurve(canvas, textSize, graph.curves[i], PaletteColour(static_cast<int>(i)), x, y);
    }
}

std::string Caption(const Graph& graph, int exponent) {
    const std::string power = exponent == 0 ? "" : fmt::format("1e{}", exponent);
    const std::string units =
        power + (power.empty() || graph.yUnits.empty() ? "" : " ") + graph.yUnits;
    return units.empty() ? graph.title : fmt::format("{} [{}]", graph.title, units);
}

std::vector<LegendEntry> LegendOf(const Graph& graph) {
    std::vector<LegendEntry> entries;
    for (const Curve& curve : graph.curves) {
        entries.push_back({curve.name, PaletteColour(static_cast<int>(entries.size())), false});
    }
    return entries;
}

}  // namespace

void PaintGraph(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                const Graph& graph) {
    constexpr double kLeastRoom = 10;  // for texts, by their size
    const double room = std::min(lowerRight.x - upperLeft.x, lowerRight.y - upperLeft.y);
    if (room < kLeastRoom * textSize) {
        if (room > 0) {
            PaintCurves(canvas, textSize, graph, XAxis(graph, upperLeft.x, lowerRight.x),
                        YAxis(graph, lowerRight.y, upperLeft.y));
        }
        return;
    }
    const double small = kAxisText * textSize;
    const double top = upperLeft.y + kLineHeight * textSize;
    const bool hasX = !graph.xLabel.empty();
    const double bottom = lowerRight.y - (hasX ? 2 * kLineHeight : 0.5) * textSize;
    const std::vector<LegendEntry> legend = LegendOf(graph);
    const double legendWidth =
        legend.size() > 1 ? std::min(LegendWidth(legend, small), 0.4 * (lowerRight.x - upperLeft.x))
                          : 0;
    const Axis y = YAxis(graph, bottom, top);
    const Ticks yTicks =
        Ticks::Over(y.range.low, y.range.high, static_cast<int>((bottom - top) / (3 * textSize)));
    const Axis x = XAxis(graph, upperLeft.x + WidthOf(yTicks, textSize) + textSize,
                         lowerRight.x - (legendWidth > 0 ? legendWidth + textSize : 0));

    canvas.Text({upperLeft.x, top - 0.6 * textSize}, Align::Left, textSize, kInk,
                Shortened(Caption(graph, yTicks.exponent), textSize, lowerRight.x - upperLeft.x));
    PaintTicksBeside(canvas, textSize, y, yTicks, x.from, x.to);
    if (hasX) {
        PaintTicksBelow(canvas, textSize, x, top, bottom, graph.xLabel);
    }
    PaintCurves(canvas, textSize, graph, x, y);
    if (legendWidth > 0) {
        PaintLegend(canvas, small, {x.to + textSize, top + small}, {lowerRight.x, bottom}, legend);
    }
}

}  // namespace orqmodel
