#include "draw/Extremes.h"

#include <array>
#include <cmath>
#include <optional>

namespace orqmodel {
namespace {

Point MiddleOf(const Skin& skin, std::size_t part) {
    Point sum{};
    for (const int node : skin.Nodes(part)) {
        sum = sum + skin.Points()[static_cast<std::size_t>(node)];
    }
    return (1 / static_cast<double>(skin.Nodes(part).size())) * sum;
}

}  // namespace

std::vector<Extreme> ExtremesOf(const Skin& skin, const FieldValues& field) {
    std::optional<Extreme> lowest;
    std::optional<Extreme> highest;
    const auto take = [&](double value, int member, const Point& place) {
        const auto isBetter = [&](const std::optional<Extreme>& than, bool isBeyond) {
            // The place nearest to the eye is the likeliest of equal values to be seen.
            return !than || isBeyond || (value == than->value && place[2] > than->place[2]);
        };
        if (!std::isfinite(value)) {
            return;
        }
        if (isBetter(lowest, lowest && value < lowest->value)) {
            lowest = {place, value, member};
        }
        if (isBetter(highest, highest && value > highest->value)) {
            highest = {place, value, member};
        }
    };
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        const int element = skin.At(part).element;
        if (field.isNodal) {
            for (const int node : skin.Nodes(part)) {
                take(field.ValueAt(element, node), node,
                     skin.Points()[static_cast<std::size_t>(node)]);
            }
        } else {
            take(field.ValueAt(element, -1), element, MiddleOf(skin, part));
        }
    }
    if (!lowest) {
        return {};
    }
    return lowest->value == highest->value ? std::vector{*highest} : std::vector{*lowest, *highest};
}

void PaintExtremes(Canvas& canvas, double textSize, const Frame& frame,
                   const std::vector<Extreme>& extremes) {
    constexpr double kSmaller = 0.85;
    const double size = kSmaller * textSize;
    const double radius = 0.4 * textSize;
    // A ring of half a letter looks round with these.
    constexpr int kCorners = 24;
    for (const Extreme& extreme : extremes) {
        // A ring, so that the colour in it is seen.
        std::vector<Spot> ring;
        for (int i = 0; i <= kCorners; ++i) {
            const double angle = 2 * std::acos(-1) * i / kCorners;
            ring.push_back({extreme.place[0] + radius * std::cos(angle),
                            extreme.place[1] + radius * std::sin(angle)});
        }
        canvas.Line(ring, {kWhite, 4});
        canvas.Line(ring, {kInk, 2});
        const double width = TextWidth(extreme.text, size) + 0.8 * size;
        const double height = 1.5 * size;
        const double right = extreme.place[0] + 2 * radius;
        // The text stands to the left of the ring where it would leave the frame.
        const double left = right + width <= frame.high.x
                                ? right
                                : std::max(frame.low.x, extreme.place[0] - 2 * radius - width);
        const double top = std::clamp(extreme.place[1] - height / 2, frame.low.y,
                                      std::max(frame.low.y, frame.high.y - height));
        const std::array<Spot, 4> corners = {
            {{left, top}, {left + width, top}, {left + width, top + height}, {left, top + height}}};
        canvas.Polygon(corners, kWhite, {kInk, 0.6});
        canvas.Text({left + 0.4 * size, top + 1.05 * size}, Align::Left, size, kInk, extreme.text);
    }
}

}  // namespace orqmodel
