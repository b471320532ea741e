#include "draw/LayerStack.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "terminal/Console.h"

namespace orqmodel {
namespace {

using Value = ORQExcSections::Value;

// Sizes in terms of the picture's text: that of the labels, and their distance from the layers.
constexpr double kLabelText = 0.85;
constexpr double kLabelIndent = 2.5;

std::string Text(const Value& value) {
    const auto bounds = value.Bounds();
    return !bounds                       ? "?"
           : bounds->low == bounds->high ? fmt::format("{:.5g}", bounds->low)
                                         : fmt::format("{:.5g}..{:.5g}", bounds->low, bounds->high);
}

/// The line through `spot` at an angle, counterclockwise from the right, inside a rectangle; from a
/// spot to itself when it misses it.
std::array<Spot, 2> Clipped(Spot spot, double angle, Spot low, Spot high) {
    const double dx = std::cos(angle);
    const double dy = -std::sin(angle);
    double from = -std::numeric_limits<double>::max();
    double to = std::numeric_limits<double>::max();
    const auto clip = [&](double at, double step, double least, double most) {
        // A line along a side never crosses it: the whole line is inside or outside.
        constexpr double kNoStep = 1e-9;
        if (std::abs(step) < kNoStep) {
            to = at < least || at > most ? from : to;
            return;
        }
        const double a = (least - at) / step;
        const double b = (most - at) / step;
        from = std::max(from, std::min(a, b));
        to = std::min(to, std::max(a, b));
    };
    clip(spot.x, dx, low.x, high.x);
    clip(spot.y, dy, low.y, high.y);
    if (from >= to) {
        return {spot, spot};
    }
    return {{{spot.x + from * dx, spot.y + from * dy}, {spot.x + to * dx, spot.y + to * dy}}};
}

}  // namespace

double MeanOf(const Value& value) {
    return value.numbers.empty()
               ? 0
               : std::accumulate(value.numbers.begin(), value.numbers.end(), 0.0) /
                     static_cast<double>(value.numbers.size());
}

LayerStack::LayerStack(std::vector<ORQExcSections::Layer> layers, double textSize)
    : m_layers(std::move(layers)), m_textSize(textSize) {
    for (const ORQExcSections::Layer& layer : m_layers) {
        const std::string name =
            layer.material.empty() ? "no material" : ORQExcPrintable(layer.material);
        auto entry = std::ranges::find(m_legend, name, &LegendEntry::name);
        if (entry == m_legend.end()) {
            const Colour colour =
                Mixed(PaletteColour(static_cast<int>(m_legend.size())), kWhite, 0.35);
            entry = m_legend.insert(entry, {name, colour, false});
        }
        m_colours.push_back(entry->colour);
        m_angleWidth = std::max(m_angleWidth, Text(layer.angle).size());
        m_thicknessWidth = std::max(m_thicknessWidth, Text(layer.thickness).size());
    }
}

// --- Labels --------------------------------------------------------------------------------------

bool LayerStack::IsSame(std::size_t a, std::size_t b) const {
    const ORQExcSections::Layer& first = m_layers[a];
    const ORQExcSections::Layer& second = m_layers[b];
    return first.material == second.material && first.orientation == second.orientation &&
           first.sectionPoints == second.sectionPoints &&
           first.thickness.numbers == second.thickness.numbers &&
           first.angle.numbers == second.angle.numbers;
}

/// Finds from each place on the shortest sequence whose repetition reaches farthest.
std::vector<LayerStack::Run> LayerStack::RepeatedRuns() const {
    // Bounds the comparisons for each layer.
    constexpr std::size_t kLongestPeriod = 12;
    std::vector<Run> runs;
    for (std::size_t begin = 0; begin < m_layers.size();) {
        Run best{begin, begin + 1, 1};
        for (std::size_t period = 1; period <= kLongestPeriod; ++period) {
            std::size_t end = begin + period;
            while (end < m_layers.size() && IsSame(end, end - period)) {
                ++end;
            }
            // Only whole repetitions count.
            end -= (end - begin) % period;
            if (end >= begin + 2 * period && end > best.end && end <= m_layers.size()) {
                best = {begin, end, period};
            }
        }
        runs.push_back(best);
        begin = best.end;
    }
    return runs;
}

/// One for each layer, else one for each repetition; of too many even of these, some.
std::vector<LayerStack::Run> LayerStack::RunsThatFit(std::size_t most) const {
    std::vector<Run> runs;
    if (m_layers.size() <= most) {
        for (std::size_t i = 0; i < m_layers.size(); ++i) {
            runs.push_back({i, i + 1, 1});
        }
        return runs;
    }
    runs = RepeatedRuns();
    if (runs.size() > most) {
        std::vector<Run> some;
        for (std::size_t i = 0; i < most; ++i) {
            some.push_back(runs[i * runs.size() / most]);
        }
        runs = std::move(some);
    }
    return runs;
}

std::string LayerStack::TextOf(const Run& run) const {
    const ORQExcSections::Layer& first = m_layers[run.begin];
    if (run.period == 1) {
        const std::string numbers = run.end == run.begin + 1
                                        ? std::to_string(run.begin + 1)
                                        : fmt::format("{}-{}", run.begin + 1, run.end);
        return fmt::format("{:>7}  {:>{}} deg  t {:<{}}  {} pts  {}", numbers, Text(first.angle),
                           m_angleWidth, Text(first.thickness), m_thicknessWidth,
                           first.sectionPoints,
                           run.end == run.begin + 1 ? ORQExcPrintable(first.ply) : "");
    }
    std::string angles;
    for (std::size_t i = run.begin; i < run.begin + run.period; ++i) {
        angles += (i == run.begin ? "" : "/") + Text(m_layers[i].angle);
    }
    return fmt::format("{:>7}  {} x [{}]", fmt::format("{}-{}", run.begin + 1, run.end),
                       (run.end - run.begin) / run.period, angles);
}

double LayerStack::LabelsWidth() const {
    double width = 0;
    for (std::size_t i = 0; i < m_layers.size(); ++i) {
        width = std::max(width, TextWidth(TextOf({i, i + 1, 1}), kLabelText * m_textSize));
    }
    return width + kLabelIndent * m_textSize;
}

void LayerStack::PaintLabels(Canvas& canvas, double left, double right) const {
    const double size = kLabelText * m_textSize;
    const double line = 1.4 * size;
    const double lowest = m_bounds.front();
    const double highest = m_bounds.back();
    const auto most = static_cast<std::size_t>(std::max(1.0, (lowest - highest) / line));
    const std::vector<Run> runs = RunsThatFit(most);

    // Beside the middles of the runs, moved apart: upwards from the bottom, then down from the top.
    std::vector<double> heights;
    for (const Run& run : runs) {
        const double middle = (Bottom(run.begin) + Top(run.end - 1)) / 2;
        heights.push_back(heights.empty() ? middle : std::min(middle, heights.back() - line));
    }
    double limit = highest + line / 2;
    for (std::size_t i = heights.size(); i-- > 0;) {
        heights[i] = std::max(heights[i], limit);
        limit = heights[i] + line;
    }
    std::size_t nLabelled = 0;
    const Stroke thin{kPlain, 1};
    const double bracket = left + 0.5 * m_textSize;
    const double textLeft = left + kLabelIndent * m_textSize;
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const double bottom = Bottom(runs[i].begin) - 1;
        const double top = Top(runs[i].end - 1) + 1;
        const std::array<Spot, 2> extent = {{{bracket, bottom}, {bracket, top}}};
        const std::array<Spot, 2> leader = {
            {{bracket, (bottom + top) / 2}, {textLeft - 0.3 * m_textSize, heights[i]}}};
        canvas.Line(extent, thin);
        canvas.Line(leader, thin);
        canvas.Text({textLeft, heights[i] + 0.3 * size}, Align::Left, size, kInk,
                    Shortened(TextOf(runs[i]), size, right - textLeft));
        nLabelled += runs[i].end - runs[i].begin;
    }
    if (nLabelled < m_layers.size()) {
        canvas.Text({textLeft, lowest + kLineHeight * m_textSize}, Align::Left, size, kInk,
                    fmt::format("{} layers have no line here", m_layers.size() - nLabelled));
    }
}

// --- Layers ---------------------------------------------------------------------------------------

void LayerStack::PaintLayer(Canvas& canvas, std::size_t layer, double left, double right) const {
    const Spot low{left, Top(layer)};
    const Spot high{right, Bottom(layer)};
    const Colour colour = m_colours[layer];
    const Colour dark = Mixed(colour, kBlack, 0.45);
    const std::array<Spot, 4> corners = {{low, {high.x, low.y}, high, {low.x, high.y}}};
    canvas.Polygon(corners, colour, {dark, 0});

    if (!m_layers[layer].angle.numbers.empty()) {
        const double distance = 0.9 * m_textSize;
        const double angle = MeanOf(m_layers[layer].angle) * std::numbers::pi / 180;
        const Spot middle{(low.x + high.x) / 2, (low.y + high.y) / 2};
        const double reach = (std::abs(std::sin(angle)) * (high.x - low.x) +
                              std::abs(std::cos(angle)) * (high.y - low.y)) /
                             2;
        const int nLines = static_cast<int>(reach / distance);
        for (int i = -nLines; i <= nLines; ++i) {
            const Spot spot{middle.x + i * distance * std::sin(angle),
                            middle.y + i * distance * std::cos(angle)};
            const auto ends = Clipped(spot, angle, low, high);
            if (SquareDistance(ends[0], ends[1]) > 0) {
                canvas.Line(ends, {dark, 1});
            }
        }
    }
    const std::array<Spot, 2> upper = {{low, {high.x, low.y}}};
    canvas.Line(upper, {kInk, 0.7});
}

void LayerStack::Paint(Canvas& canvas, double left, double right) const {
    for (std::size_t layer = 0; layer < m_layers.size(); ++layer) {
        PaintLayer(canvas, layer, left, right);
    }
    // Around the layers, so that it hides nothing of a thin one.
    const double bottom = m_bounds.front() + 1;
    const double top = m_bounds.back() - 1;
    const std::array<Spot, 5> outline = {{{left - 1, bottom},
                                          {right + 1, bottom},
                                          {right + 1, top},
                                          {left - 1, top},
                                          {left - 1, bottom}}};
    canvas.Line(outline, {kInk, 1.5});
}

}  // namespace orqmodel
