#pragma once

#include "draw/Fonts.h"
#include "draw/Image.h"

namespace orqmodel {

/// Paints on an image, which it refers to, with smoothed edges.
class RasterCanvas final : public Canvas {
  public:
    explicit RasterCanvas(Image& image) : m_image(image) {}

    PictureSize Size() const override { return m_image.size; }
    void Polygon(std::span<const Spot> corners, Colour fill, const Stroke& border) override;
    void Line(std::span<const Spot> spots, const Stroke& stroke) override;
    void Disc(Spot centre, double radius, Colour fill, const Stroke& border) override;
    void Text(Spot at, Align align, double size, Colour colour, std::string_view text) override;

  private:
    struct Box {
        Spot low;
        Spot high;
    };
    /// Mixes the colour into the pixels of the box by how much of each the predicate covers.
    template <class IsInside>
    void Cover(const Box& box, Colour colour, const IsInside& isInside);
    static Box Around(std::span<const Spot> spots, double margin);
    /// Paints a glyph whose origin lies in that pixel.
    void Blend(const GlyphImage& glyph, int x, int y, Colour colour);

    Image& m_image;
};

}  // namespace orqmodel
