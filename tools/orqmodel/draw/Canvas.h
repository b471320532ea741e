#pragma once

#include <span>
#include <string_view>

#include "draw/Colour.h"
#include "draw/Spot.h"

namespace orqmodel {

struct PictureSize {
    int width;  ///< in pixels
    int height;
};

struct Stroke {
    Colour colour;
    double width;  ///< in pixels; 0 draws none
};

enum class Align { Left, Centre };

/// What a picture is painted on; later strokes cover earlier ones. Coordinates are finite.
class Canvas {
  public:
    virtual ~Canvas() = default;
    virtual PictureSize Size() const = 0;
    /// Filled, then its border drawn. It may not cross itself.
    virtual void Polygon(std::span<const Spot> corners, Colour fill, const Stroke& border) = 0;
    /// Through all spots, with round ends.
    virtual void Line(std::span<const Spot> spots, const Stroke& stroke) = 0;
    virtual void Disc(Spot centre, double radius, Colour fill, const Stroke& border) = 0;
    /// A line of UTF-8 text on a baseline; `at` is its left end or its middle. It is TextWidth wide
    /// on every kind of canvas.
    virtual void Text(Spot at, Align align, double size, Colour colour, std::string_view text) = 0;
};

/// The width in pixels of a text of that size, in the fonts of the system. Throws as
/// Fonts::OfSystem does.
double TextWidth(std::string_view text, double size);

/// Where a text aligned at `x` begins.
double TextStart(std::string_view text, double size, double x, Align align);

}  // namespace orqmodel
