#pragma once

#include <span>
#include <string>

#include "draw/Canvas.h"

namespace orqmodel {

/// The texts around a picture. Heights of lines and margins, by the size of the text:
constexpr double kLineHeight = 1.6;
constexpr double kPageMargin = 1;

/// The size of a picture's text, in pixels.
double TextSizeFor(PictureSize size);
/// Too small a picture has no texts.
bool HasRoomForTexts(PictureSize size);

/// A text that is at most so wide, its middle left out when need be.
std::string Shortened(const std::string& text, double size, double width);

/// Two lines from the upper left corner, the second smaller.
void PaintHeading(Canvas& canvas, double textSize, const std::string& title,
                  const std::string& details);

struct LegendEntry {
    std::string name;
    Colour colour;
    bool isDots;
};

/// The width that a legend takes without shortening its names.
double LegendWidth(std::span<const LegendEntry> entries, double textSize);

/// A line for each entry that fits, from `upperLeft` to `lowerRight`; the last says how many have
/// none.
void PaintLegend(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                 std::span<const LegendEntry> entries);

}  // namespace orqmodel
