#include "draw/Captions.h"

#include <fmt/format.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include "draw/VisibleSamples.h"

namespace orqmodel {
namespace {

constexpr double kSwatch = 0.9;  // sides of the legend's colours, by the size of the text

int ShorterSide(PictureSize size) {
    return std::min(size.width, size.height);
}

}  // namespace

double TextSizeFor(PictureSize size) {
    return std::clamp(ShorterSide(size) / 55.0, 10.0, 40.0);
}

bool HasRoomForTexts(PictureSize size) {
    // Pixels: below, the smallest legible letters leave no room for the model.
    constexpr int kLeast = 240;
    return ShorterSide(size) >= kLeast;
}

std::string Shortened(const std::string& text, double size, double width) {
    if (TextWidth(text, size) <= width) {
        return text;
    }
    const std::u32string letters = utf8::utf8to32(text);
    // The end is kept as well: numbered names differ there.
    const auto keeping = [&](std::size_t kept) {
        return utf8::utf32to8(letters.substr(0, kept - kept / 2)) + "..." +
               utf8::utf32to8(letters.substr(letters.size() - kept / 2));
    };
    std::size_t least = 0;
    for (std::size_t most = letters.size(); least + 1 < most;) {
        const std::size_t kept = (least + most) / 2;
        (TextWidth(keeping(kept), size) <= width ? least : most) = kept;
    }
    return keeping(least);
}

void PaintHeading(Canvas& canvas, double textSize, const std::string& title,
                  const std::string& details) {
    constexpr double kSmaller = 0.85;
    const double x = kPageMargin * textSize;
    const double room = canvas.Size().width - 2 * x;
    canvas.Text({x, 2 * textSize}, Align::Left, textSize, kInk, Shortened(title, textSize, room));
    canvas.Text({x, (2 + kLineHeight) * textSize}, Align::Left, kSmaller * textSize, kInk,
                Shortened(details, kSmaller * textSize, room));
}

double LegendWidth(std::span<const LegendEntry> entries, double textSize) {
    double widest = 0;
    for (const LegendEntry& entry : entries) {
        widest = std::max(widest, TextWidth(entry.name, textSize));
    }
    return widest + (kLineHeight + kPageMargin) * textSize;
}

void PaintLegend(Canvas& canvas, double textSize, Spot upperLeft, Spot lowerRight,
                 std::span<const LegendEntry> entries) {
    const double textLeft = upperLeft.x + kLineHeight * textSize;
    const auto fitting = static_cast<std::size_t>(
        std::max(1.0, (lowerRight.y - upperLeft.y) / (kLineHeight * textSize)));
    // The last line that fits is left for the number of the others.
    const std::size_t shown = entries.size() <= fitting ? entries.size() : fitting - 1;
    double y = upperLeft.y;
    for (std::size_t i = 0; i < shown; ++i, y += kLineHeight * textSize) {
        const LegendEntry& entry = entries[i];
        const double side = kSwatch * textSize;
        const Spot middle{upperLeft.x + side / 2, y - 0.35 * textSize};
        const Stroke border{EdgeColour(entry.colour, EdgeKind::Mesh), 1};
        if (entry.isDots) {
            canvas.Disc(middle, side / 2, entry.colour, border);
        } else {
            const std::array<Spot, 4> corners = {{{middle.x - side / 2, middle.y - side / 2},
                                                  {middle.x + side / 2, middle.y - side / 2},
                                                  {middle.x + side / 2, middle.y + side / 2},
                                                  {middle.x - side / 2, middle.y + side / 2}}};
            canvas.Polygon(corners, entry.colour, border);
        }
        canvas.Text({textLeft, y}, Align::Left, textSize, kInk,
                    Shortened(entry.name, textSize, lowerRight.x - textLeft));
    }
    if (shown < entries.size()) {
        canvas.Text({textLeft, y}, Align::Left, textSize, kInk,
                    fmt::format("and {} more", entries.size() - shown));
    }
}

}  // namespace orqmodel
