#include "draw/ColourBands.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "draw/Captions.h"

namespace orqmodel {
namespace {

// About as many bands as an eye still tells apart in a legend.
constexpr int kBands = 10;

// Evenly spaced stops of the map "viridis".
constexpr std::array<Colour, kBands> kStops = {{{68, 1, 84},
                                                {72, 40, 120},
                                                {62, 74, 137},
                                                {49, 104, 142},
                                                {38, 130, 142},
                                                {31, 158, 137},
                                                {53, 183, 121},
                                                {109, 205, 89},
                                                {180, 222, 44},
                                                {253, 231, 37}}};

/// A bound; what is nothing beside the range is 0.
std::string LevelText(const ColourBands& bands, int level) {
    // A bound between values of both signs is 0 but for rounding, and would show as 1.3e-17.
    constexpr double kNothing = 1e-12;
    const double value = bands.Level(level);
    const double range = std::max(std::abs(bands.Lowest()), std::abs(bands.Highest()));
    return fmt::format("{:.4g}", std::abs(value) < kNothing * range ? 0.0 : value);
}

}  // namespace

void ValueRange::Take(std::span<const double> values) {
    for (const double value : values) {
        if (std::isfinite(value)) {
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
    }
}

ColourBands::ColourBands(const ValueRange& range)
    : m_lowest(range.lowest),
      m_highest(range.highest),
      m_count(m_lowest > m_highest    ? 0
              : m_lowest == m_highest ? 1
                                      : kBands) {}

double ColourBands::Level(int band) const {
    const double part = static_cast<double>(band) / m_count;
    // A weighted mean, since highest - lowest may overflow; the last bound is exact, so that the
    // highest value lies within it.
    return band == m_count ? m_highest : (1 - part) * m_lowest + part * m_highest;
}

int ColourBands::BandOf(double value) const {
    if (!std::isfinite(value) || m_count == 0) {
        return -1;
    }
    int band = 0;
    while (band + 1 < m_count && value >= Level(band + 1)) {
        ++band;
    }
    return band;
}

Colour ColourBands::ColourOf(int band) const {
    return band < 0       ? kPlain
           : m_count == 1 ? kStops[kBands / 2]
                          : kStops[static_cast<std::size_t>(band)];
}

double ColourBarWidth(const ColourBands& bands, double textSize) {
    double widest = 0;
    for (int i = 0; i <= bands.Count(); ++i) {
        widest = std::max(widest, TextWidth(LevelText(bands, i), textSize));
    }
    return widest + (kLineHeight + kPageMargin) * textSize;
}

void PaintColourBar(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                    const std::string& title, const ColourBands& bands) {
    const double textLeft = upperLeft.x + (kLineHeight + 0.3) * textSize;
    canvas.Text(upperLeft, Align::Left, textSize, kInk,
                Shortened(title, textSize, lowerRight.x - upperLeft.x));
    if (bands.Count() == 0) {
        return;
    }
    const double top = upperLeft.y + kLineHeight * textSize;
    const double height =
        std::min(2 * kLineHeight * textSize, (lowerRight.y - top) / (bands.Count() + 1));
    for (int band = 0; band < bands.Count(); ++band) {
        const double y = top + height * (bands.Count() - 1 - band);
        const std::array<Spot, 4> corners = {{{upperLeft.x, y},
                                              {upperLeft.x + kLineHeight * textSize, y},
                                              {upperLeft.x + kLineHeight * textSize, y + height},
                                              {upperLeft.x, y + height}}};
        canvas.Polygon(corners, bands.ColourOf(band), {kInk, 0.6});
    }
    for (int level = 0; level <= bands.Count(); ++level) {
        canvas.Text({textLeft, top + height * (bands.Count() - level) + 0.35 * textSize},
                    Align::Left, textSize, kInk, LevelText(bands, level));
    }
}

}  // namespace orqmodel
