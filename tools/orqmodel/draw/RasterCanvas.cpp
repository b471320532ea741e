#include "draw/RasterCanvas.h"

#include <utf8.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "draw/StrokeFont.h"

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
    // As one shape, so that it is not painted twice where its pieces meet.
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
    const double thickness = std::max(1.1, 0.085 * size);
    double x = TextStart(text, size, at.x, align);
    for (auto next = text.begin(); next != text.end(); x += kLetterWidth * size) {
        for (const std::vector<Spot>& line : LetterLines(utf8::next(next, text.end()))) {
            std::vector<Spot> spots;
            for (const Spot& spot : line) {
                spots.push_back({x + size * spot.x, at.y - size * spot.y});
            }
            Line(spots, {colour, thickness});
        }
    }
}

}  // namespace orqmodel
