#include "draw/Axis.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "draw/Captions.h"

namespace orqmodel {
namespace {

constexpr Colour kGrid = {225, 225, 225};

/// Numbers beyond these are drawn there, so that differences stay finite.
double Bounded(double value) {
    // Half for the difference of two, half again for a margin around both.
    constexpr double kLargest = std::numeric_limits<double>::max() / 4;
    return std::clamp(value, -kLargest, kLargest);
}

}  // namespace

void AxisRange::Add(double value) {
    if (!std::isnan(value)) {
        low = std::min(low, Bounded(value));
        high = std::max(high, Bounded(value));
    }
}

AxisRange AxisRange::Widened(double part) const {
    if (low > high) {
        return {0, 1};
    }
    const double size = std::max(std::abs(low), std::abs(high));
    const bool isOne = high - low <= 1e-9 * size;
    const double reach = size == 0 ? 1 : isOne ? 0.1 * size : part * (high - low);
    // Never empty, as places are found by a division by its length.
    return {low - std::max(reach, 1e-300), high + std::max(reach, 1e-300)};
}

AxisRange AxisRange::WidenedToZero(double part) const {
    const AxisRange widened = Widened(part);
    // 0 at the end of the axis takes less than half of its length.
    if (low >= 0 && low < 0.5 * high) {
        return {0, widened.high};
    }
    if (high <= 0 && high > 0.5 * low) {
        return {widened.low, 0};
    }
    return widened;
}

double Axis::Place(double value) const {
    return from + (Bounded(value) - range.low) / (range.high - range.low) * (to - from);
}

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
    constexpr double kRounding = 1e-9;  // a range may end at a multiple
    // Multiples of the step, since a sum of steps would gather rounding.
    for (double i = std::ceil(low / step - kRounding); i <= high / step + kRounding; ++i) {
        ticks.at.push_back(i * step);
        ticks.labels.push_back(fmt::format("{:.{}f}", i * step / scale + 0.0, nDecimals));  // no -0
    }
    return ticks;
}

double WidthOf(const Ticks& ticks, double textSize) {
    double width = 0;
    for (const std::string& label : ticks.labels) {
        width = std::max(width, TextWidth(label, kAxisText * textSize));
    }
    return width;
}

void PaintTicksBeside(Canvas& canvas, double textSize, const Axis& y, const Ticks& ticks,
                      double left, double right) {
    const double small = kAxisText * textSize;
    for (std::size_t i = 0; i < ticks.at.size(); ++i) {
        const double height = y.Place(ticks.at[i]);
        const std::array<Spot, 2> line = {{{left, height}, {right, height}}};
        canvas.Line(line, {kGrid, 1});
        canvas.Text(
            {left - 0.4 * textSize - TextWidth(ticks.labels[i], small), height + 0.3 * small},
            Align::Left, small, kInk, ticks.labels[i]);
    }
}

void PaintTicksBelow(Canvas& canvas, double textSize, const Axis& x, double top, double bottom,
                     const std::string& label) {
    const double small = kAxisText * textSize;
    const Ticks ticks = Ticks::Over(x.range.low, x.range.high,
                                    static_cast<int>((x.to - x.from) / (4.5 * textSize)));
    for (std::size_t i = 0; i < ticks.at.size(); ++i) {
        const double place = x.Place(ticks.at[i]);
        const std::array<Spot, 2> line = {{{place, top}, {place, bottom}}};
        canvas.Line(line, {kGrid, 1});
        canvas.Text({place, bottom + 1.2 * small}, Align::Centre, small, kInk, ticks.labels[i]);
    }
    const std::string power = ticks.exponent == 0 ? "" : fmt::format(", in 1e{}", ticks.exponent);
    canvas.Text({(x.from + x.to) / 2, bottom + 2.7 * small}, Align::Centre, small, kInk,
                Shortened(label + power, small, x.to - x.from));
}

}  // namespace orqmodel
