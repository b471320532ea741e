#include "draw/Graph.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "draw/Captions.h"

namespace orqmodel {
namespace {

constexpr double kSmaller = 0.85;  // texts at the axes, by the size of the text
constexpr Colour kGrid = {225, 225, 225};
constexpr std::size_t kMostMarks = 60;  // of a curve; more would cover the line

/// Numbers beyond these are drawn there, so that differences stay finite.
double Bounded(double value) {
    constexpr double kLargest = std::numeric_limits<double>::max() / 4;
    return std::clamp(value, -kLargest, kLargest);
}

struct Range {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();

    void Add(double value) {
        if (!std::isnan(value)) {
            low = std::min(low, Bounded(value));
            high = std::max(high, Bounded(value));
        }
    }
    /// Widened by a part of itself; around what is a single value or nearly so, by a part of that.
    Range Widened(double part) const {
        if (low > high) {
            return {0, 1};
        }
        const double size = std::max(std::abs(low), std::abs(high));
        const bool isOne = high - low <= 1e-9 * size;
        const double reach = size == 0 ? 1 : isOne ? 0.1 * size : part * (high - low);
        // Never empty, as places are found by a division by its length.
        return {low - std::max(reach, 1e-300), high + std::max(reach, 1e-300)};
    }
};

/// An axis: its range, and where that lies in the picture.
struct Axis {
    Range range;
    double from;
    double to;

    double Place(double value) const {
        return from + (Bounded(value) - range.low) / (range.high - range.low) * (to - from);
    }
};

Axis XAxis(const Graph& graph, double from, double to) {
    Range range;
    for (const Curve& curve : graph.curves) {
        for (const double x : curve.x) {
            range.Add(x);
        }
    }
    return {range.Widened(0.03), from, to};
}

/// From 0 on where that does not flatten the curves.
Axis YAxis(const Graph& graph, double from, double to) {
    Range range;
    for (const Curve& curve : graph.curves) {
        for (const double y : curve.y) {
            range.Add(y);
        }
    }
    const Range widened = range.Widened(0.08);
    // 0 at the end of the axis takes less than half of its length.
    if (range.low >= 0 && range.low < 0.5 * range.high) {
        return {{0, widened.high}, from, to};
    }
    if (range.high <= 0 && range.high > 0.5 * range.low) {
        return {{widened.low, 0}, from, to};
    }
    return {widened, from, to};
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

/// In their frame, the first one uppermost.
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

Ticks Ticks::Over(double low, double high, int about) {
    const double rough = (high - low) / std::max(about, 1);
    const double power = std::pow(10, std::floor(std::log10(rough)));
    const double step = power * (rough / power > 5   ? 10
                                 : rough / power > 2 ? 5
                                 : rough / power > 1 ? 2
                                                     : 1);
    Ticks ticks{{}, {}, 0};
    const double largest = std::max(std::abs(low), std::abs(high));
    if (largest >= 1e5 || largest < 1e-2) {
        ticks.exponent = 3 * static_cast<int>(std::floor(std::log10(largest) / 3));
    }
    const double scale = std::pow(10, ticks.exponent);
    const int nDecimals =
        // The logarithm of a power of ten may be rounded to just below a whole number.
        std::max(0, -static_cast<int>(std::floor(std::log10(step / scale) + 1e-9)));
    // Multiples of the step, since a sum of steps would gather rounding.
    for (double i = std::ceil(low / step); i * step <= high; ++i) {
        ticks.at.push_back(i * step);
        ticks.labels.push_back(fmt::format("{:.{}f}", i * step / scale + 0.0, nDecimals));  // no -0
    }
    return ticks;
}

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
    const double small = kSmaller * textSize;
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
    double labels = 0;
    for (const std::string& label : yTicks.labels) {
        labels = std::max(labels, TextWidth(label, small));
    }
    const Axis x = XAxis(graph, upperLeft.x + labels + textSize,
                         lowerRight.x - (legendWidth > 0 ? legendWidth + textSize : 0));

    canvas.Text({upperLeft.x, top - 0.6 * textSize}, Align::Left, textSize, kInk,
                Shortened(Caption(graph, yTicks.exponent), textSize, lowerRight.x - upperLeft.x));
    for (std::size_t i = 0; i < yTicks.at.size(); ++i) {
        const double height = y.Place(yTicks.at[i]);
        const std::array<Spot, 2> line = {{{x.from, height}, {x.to, height}}};
        canvas.Line(line, {kGrid, 1});
        canvas.Text(
            {x.from - 0.4 * textSize - TextWidth(yTicks.labels[i], small), height + 0.3 * small},
            Align::Left, small, kInk, yTicks.labels[i]);
    }
    if (hasX) {
        const Ticks xTicks = Ticks::Over(x.range.low, x.range.high,
                                         static_cast<int>((x.to - x.from) / (4.5 * textSize)));
        for (std::size_t i = 0; i < xTicks.at.size(); ++i) {
            const double place = x.Place(xTicks.at[i]);
            const std::array<Spot, 2> line = {{{place, top}, {place, bottom}}};
            canvas.Line(line, {kGrid, 1});
            canvas.Text({place, bottom + 1.2 * small}, Align::Centre, small, kInk,
                        xTicks.labels[i]);
        }
        const std::string power =
            xTicks.exponent == 0 ? "" : fmt::format(", in 1e{}", xTicks.exponent);
        canvas.Text({(x.from + x.to) / 2, bottom + 2.7 * small}, Align::Centre, small, kInk,
                    Shortened(graph.xLabel + power, small, lowerRight.x - upperLeft.x));
    }
    PaintCurves(canvas, textSize, graph, x, y);
    if (legendWidth > 0) {
        PaintLegend(canvas, small, {x.to + textSize, top + small}, {lowerRight.x, bottom}, legend);
    }
}

}  // namespace orqmodel
