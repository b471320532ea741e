#include "draw/ThroughPicture.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "terminal/Console.h"

namespace orqmodel {
namespace {

constexpr Colour kCurve = {0, 70, 140};
constexpr std::size_t kMostMarkedValues = 150;  // more would cover the curve

/// A level line of dashes.
void PaintDashes(Canvas& canvas, double left, double right, double height, double length) {
    for (double x = left; x < right; x += 2 * length) {
        const std::array<Spot, 2> dash = {{{x, height}, {std::min(x + length, right), height}}};
        canvas.Line(dash, {kInk, 1});
    }
}

}  // namespace

ThroughPicture::ThroughPicture(ThroughThickness through, PictureSize size)
    : Picture(size),
      m_through(std::move(through)),
      m_textSize(TextSizeFor(size)),
      m_stack(m_through.layers, m_textSize) {
    const bool hasTexts = HasRoomForTexts(size);
    const double margin = kPageMargin * m_textSize;
    const double top = hasTexts ? (3 + 2 * kLineHeight) * m_textSize : margin;
    const double bottom = size.height - (hasTexts ? 2 * kLineHeight * m_textSize : 0) - margin;
    m_heights = {{m_through.borders.front(), m_through.borders.back()}, bottom, top};
    m_ticks = Ticks::Over(m_heights.range.low, m_heights.range.high,
                          std::max(2, static_cast<int>((bottom - top) / (3 * m_textSize))));
    m_stackLeft = margin + (hasTexts ? WidthOf(m_ticks, m_textSize) + m_textSize : 0);
    m_stackRight = m_stackLeft + 0.08 * size.width;
    AxisRange range;
    for (const std::vector<ThroughThickness::Value>& layer : m_through.values) {
        for (const ThroughThickness::Value& at : layer) {
            range.Add(at.value);
        }
    }
    m_labelsRight = size.width - margin - (hasTexts ? LegendRoom() + margin : 0);
    // The labels take what they need, up to half of what is left.
    const double left = m_stackRight + m_textSize;
    const double labels =
        hasTexts ? std::min(m_stack.LabelsWidth(), 0.5 * (m_labelsRight - left)) : 0;
    m_values = {range.WidenedToZero(0.08), left, m_labelsRight - labels};
    std::vector<double> borders;
    for (const double height : m_through.borders) {
        borders.push_back(m_heights.Place(height));
    }
    m_stack.PutAt(std::move(borders));
}

double ThroughPicture::LegendRoom() const {
    return std::min(LegendWidth(m_stack.Legend(), m_textSize), 0.2 * m_size.width);
}

/// What lies under the curve: each layer in the colour of its material, and its borders.
void ThroughPicture::PaintBands(Canvas& canvas) const {
    for (std::size_t layer = 0; layer < m_through.layers.size(); ++layer) {
        const double low = m_stack.Bounds()[layer];
        const double high = m_stack.Bounds()[layer + 1];
        const std::array<Spot, 4> corners = {
            {{m_values.from, low}, {m_values.to, low}, {m_values.to, high}, {m_values.from, high}}};
        canvas.Polygon(corners, Mixed(m_stack.ColourOf(layer), kWhite, 0.8), {kPlain, 0});
    }
    for (const double height : m_stack.Bounds()) {
        const std::array<Spot, 2> border = {{{m_values.from, height}, {m_values.to, height}}};
        canvas.Line(border, {kPlain, 0.7});
    }
}

void ThroughPicture::PaintAxes(Canvas& canvas) const {
    const double bottom = m_heights.from;
    const double top = m_heights.to;
    PaintTicksBeside(canvas, m_textSize, m_heights, m_ticks, m_stackLeft - 0.4 * m_textSize,
                     m_stackLeft);
    PaintTicksBelow(canvas, m_textSize, m_values, top, bottom, m_through.quantity);
    const std::string power =
        m_ticks.exponent == 0 ? "" : fmt::format(", in 1e{}", m_ticks.exponent);
    canvas.Text(
        {kPageMargin * m_textSize, top - 0.8 * m_textSize}, Align::Left, kAxisText * m_textSize,
        kInk,
        (m_through.isFromNodes ? "height above the nodes" : "height above the middle") + power);
}

void ThroughPicture::PaintValues(Canvas& canvas) const {
    std::size_t nValues = 0;
    for (const std::vector<ThroughThickness::Value>& layer : m_through.values) {
        nValues += layer.size();
    }
    const double width = std::max(1.5, 0.12 * m_textSize);
    const auto spotOf = [&](const ThroughThickness::Value& at) {
        return Spot{m_values.Place(at.value), m_heights.Place(at.height)};
    };
    const ThroughThickness::Value* below = nullptr;
    for (const std::vector<ThroughThickness::Value>& layer : m_through.values) {
        for (const ThroughThickness::Value& at : layer) {
            const bool isOfLayer = &at != &layer.front();
            // A line goes from layer to layer only where both have a value at the border.
            if (below != nullptr && !std::isnan(at.value) &&
                (isOfLayer || below->height == at.height)) {
                const std::array<Spot, 2> line = {{spotOf(*below), spotOf(at)}};
                canvas.Line(line, {isOfLayer ? kCurve : Mixed(kCurve, kWhite, 0.5),
                                   isOfLayer ? width : 0.5 * width});
            }
            below = std::isnan(at.value) ? nullptr : &at;
        }
        below = layer.empty() ? nullptr : below;
    }
    for (const std::vector<ThroughThickness::Value>& layer : m_through.values) {
        for (const ThroughThickness::Value& at : layer) {
            if (nValues <= kMostMarkedValues && !std::isnan(at.value)) {
                canvas.Disc(spotOf(at), 0.22 * m_textSize, kCurve, {kWhite, 1});
            }
        }
    }
}

void ThroughPicture::Paint(Canvas& canvas) const {
    const bool hasTexts = HasRoomForTexts(m_size);
    const double bottom = m_heights.from;
    const double top = m_heights.to;
    PaintBands(canvas);
    if (hasTexts) {
        PaintAxes(canvas);
    }
    PaintDashes(canvas, m_values.from, m_values.to, m_heights.Place(m_through.middle),
                0.4 * m_textSize);
    if (m_values.range.low < 0 && m_values.range.high > 0) {
        const std::array<Spot, 2> zero = {{{m_values.Place(0), top}, {m_values.Place(0), bottom}}};
        canvas.Line(zero, {kInk, 1});
    }
    const std::array<Spot, 5> frame = {{{m_values.from, top},
                                        {m_values.to, top},
                                        {m_values.to, bottom},
                                        {m_values.from, bottom},
                                        {m_values.from, top}}};
    canvas.Line(frame, {kInk, 1});
    m_stack.Paint(canvas, m_stackLeft, m_stackRight);
    PaintValues(canvas);
    if (!hasTexts) {
        return;
    }
    PaintHeading(canvas, m_textSize,
                 fmt::format("{} through element {}", m_through.quantity, m_through.element),
                 fmt::format("{}section {}, {} layers, thickness {:.6g}, dashed: the middle",
                             m_through.time.empty() ? "" : m_through.time + ", ",
                             ORQExcPrintable(m_through.section), m_through.layers.size(),
                             m_through.borders.back() - m_through.borders.front()));
    m_stack.PaintLabels(canvas, m_values.to, m_labelsRight);
    PaintLegend(canvas, m_textSize, {m_labelsRight + kPageMargin * m_textSize, top + m_textSize},
                {m_size.width - kPageMargin * m_textSize, bottom}, m_stack.Legend());
}

}  // namespace orqmodel
