#include "draw/RasterCanvas.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace orqmodel {
namespace {

bool IsIn(std::span<const Spot> corners, const Spot& spot) {
    // A ray from the spot crosses the border an odd number of times.
    bool isIn = false;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Spot& a = corners[i];
        const Spot& b = corners[(i + 1) % corners.size()];
        if ((a.y > spot.y) != (b.y > spot.y) &&
            spot.x < a.x + (spot.y - a.y) / (b.y - a.y) * (b.x - a.x)) {
            isIn = !isIn;
        }
    }
    return isIn;
}

}  // namespace

template <class IsInside>
void RasterCanvas::Cover(const Box& box, Colour colour, const IsInside& isInside) {
    const auto pixel = [](double at, int end) {
        return static_cast<int>(std::clamp(std::floor(at), 0.0, static_cast<double>(end)));
    };
    const PictureSize size = m_image.size;
    constexpr double kAll = kSamplesPerPixel * kSamplesPerPixel;
    for (int y = pixel(box.low.y, size.height); y < pixel(box.high.y + 1, size.height); ++y) {
        for (int x = pixel(box.low.x, size.width); x < pixel(box.high.x + 1, size.width); ++x) {
            int covered = 0;
            for (int i = 0; i < kSamplesPerPixel; ++i) {
                for (int j = 0; j < kSamplesPerPixel; ++j) {
                    covered += isInside(
                        Spot{x + (i + 0.5) / kSamplesPerPixel, y + (j + 0.5) / kSamplesPerPixel});
                }
            }
            m_image.At(x, y) = Mixed(m_image.At(x, y), colour, covered / kAll);
        }
    }
}

RasterCanvas::Box RasterCanvas::Around(std::span<const Spot> spots, double margin) {
    Box box{spots.front(), spots.front()};
    for (const Spot& spot : spots) {
        box.low = {std::min(box.low.x, spot.x), std::min(box.low.y, spot.y)};
        box.high = {std::max(box.high.x, spot.x), std::max(box.high.y, spot.y)};
    }
    return {{box.low.x - margin, box.low.y - margin}, {box.high.x + margin, box.high.y + margin}};
}

void RasterCanvas::Polygon(std::span<const Spot> corners, Colour fill, const Stroke& border) {
    Cover(Around(corners, 0), fill, [&](const Spot& spot) { return IsIn(corners, spot); });
    std::vector<Spot> closed(corners.begin(), corners.end());
    closed.push_back(corners.front());
    Line(closed, border);
}

void RasterCanvas::Line(std::span<const Spot> spots, const Stroke& stroke) {
    const double half = stroke.width / 2;
    // A stroke without width would still cover samples that lie exactly on it.
    if (half <= 0) {
        return;
    }
    // The pieces are one shape, so that nothing is painted twice where they meet.
    Cover(Around(spots, half), stroke.colour, [&](const Spot& spot) {
        for (std::size_t i = 0; i < spots.size(); ++i) {
            const Spot& end = spots[std::min(i + 1, spots.size() - 1)];
            if (SquareDistance(spot, spots[i], end) <= half * half) {
                return true;
            }
        }
        return false;
    });
}

void RasterCanvas::Disc(Spot centre, double radius, Colour fill, const Stroke& border) {
    const auto cover = [&](double reach, Colour colour) {
        Cover(Around(std::span(&centre, 1), reach), colour,
              [&](const Spot& spot) { return SquareDistance(spot, centre) <= reach * reach; });
    };
    // The border as a larger disc below: a ring of its own would mix twice along its inner side.
    cover(radius + border.width / 2, border.colour);
    cover(radius - border.width / 2, fill);
}

void RasterCanvas::Text(Spot at, Align align, double size, Colour colour, std::string_view text) {
    const double start = TextStart(text, size, at.x, align);
    Fonts& fonts = Fonts::OfSystem();
    for (const ShapedText::Glyph& glyph : fonts.Shape(text).glyphs) {
        const Spot origin = {start + size * glyph.at.x, at.y - size * glyph.at.y};
        const Spot corner = {std::floor(origin.x), std::floor(origin.y)};
        const GlyphImage image =
            fonts.ImageOf(glyph, size, {origin.x - corner.x, origin.y - corner.y});
        Blend(image, static_cast<int>(corner.x), static_cast<int>(corner.y), colour);
    }
}

void RasterCanvas::Blend(const GlyphImage& glyph, int x, int y, Colour colour) {
    for (int row = 0; row < glyph.height; ++row) {
        for (int column = 0; column < glyph.width; ++column) {
            const int right = x + glyph.left + column;
            const int down = y + glyph.top + row;
            if (right < 0 || right >= m_image.size.width || down < 0 ||
                down >= m_image.size.height) {
                continue;
            }
            const auto place = static_cast<std::size_t>(row * glyph.width + column);
            m_image.At(right, down) =
                Mixed(m_image.At(right, down), colour, glyph.shares[place] / 255.0);
        }
    }
}

}  // namespace orqmodel
