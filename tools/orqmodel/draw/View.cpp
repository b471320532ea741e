#include "draw/View.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "ORQBasFailure.h"

namespace orqmodel {
namespace {

constexpr double kFlat = 1e-9;  // as a part of the largest extent

/// False unless the text is three numbers with commas between them.
bool ReadDirection(const std::string& text, Point& direction) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [next, error] = std::from_chars(at, end, direction[axis]);
        const bool isLast = axis == 2;
        if (error != std::errc() || (isLast ? next != end : next == end || *next != ',')) {
            return false;
        }
        at = next + 1;
    }
    return true;
}

}  // namespace

View::View(std::string name, const Point& toEye) : m_name(std::move(name)) {
    // Nearer than this to the axis, the cross product below is rounding alone.
    constexpr double kAlongAxis = 1e-9;
    m_toEye = Normalized(toEye);
    // Z points up in a picture, but where it points at the eye; there Y points up.
    const bool isAlongZ = std::abs(m_toEye[0]) + std::abs(m_toEye[1]) < kAlongAxis;
    m_right = Normalized(Cross(isAlongZ ? Point{0, 1, 0} : Point{0, 0, 1}, m_toEye));
    m_up = Cross(m_toEye, m_right);
}

View View::FromText(const std::string& text) {
    static const std::array<std::pair<const char*, Point>, 7> names = {{{"iso", {1, -1, 1}},
                                                                        {"+x", {1, 0, 0}},
                                                                        {"-x", {-1, 0, 0}},
                                                                        {"+y", {0, 1, 0}},
                                                                        {"-y", {0, -1, 0}},
                                                                        {"+z", {0, 0, 1}},
                                                                        {"-z", {0, 0, -1}}}};
    for (const auto& [name, toEye] : names) {
        if (text == name) {
            return {name, toEye};
        }
    }
    Point toEye{};
    if (!ReadDirection(text, toEye)) {
        ORQBasThrowUsage("--view " + text + ": is none of iso, +x, -x, +y, -y, +z, -z and X,Y,Z");
    }
    // Scaled before it is normalised, so that squares neither overflow nor become zero.
    const double largest = std::max({std::abs(toEye[0]), std::abs(toEye[1]), std::abs(toEye[2])});
    if (!(largest > 0 && largest < std::numeric_limits<double>::infinity())) {
        ORQBasThrowUsage("--view " + text + ": is no direction");
    }
    return {text, {toEye[0] / largest, toEye[1] / largest, toEye[2] / largest}};
}

View View::BestFor(const Skin& skin) {
    const Extent extents = ExtentOf(skin);
    const Point extent = extents.high - extents.low;
    const double flat = kFlat * std::max({extent[0], extent[1], extent[2]});
    if (extent[2] <= flat) {
        return FromText("+z");
    }
    if (extent[1] <= flat) {
        return FromText("-y");
    }
    return FromText(extent[0] <= flat ? "+x" : "iso");
}

Point View::Turned(const Point& point) const {
    // The second axis of a picture points down.
    return {Dot(point, m_right), -Dot(point, m_up), Dot(point, m_toEye)};
}

Extent ExtentOf(const Skin& skin) {
    constexpr double kFar = std::numeric_limits<double>::infinity();
    Extent extent{{kFar, kFar, kFar}, {-kFar, -kFar, -kFar}};
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        for (const int node : skin.Nodes(part)) {
            const Point& point = skin.Points()[static_cast<std::size_t>(node)];
            for (std::size_t axis = 0; axis < 3; ++axis) {
                extent.low[axis] = std::min(extent.low[axis], point[axis]);
                extent.high[axis] = std::max(extent.high[axis], point[axis]);
            }
        }
    }
    return extent;
}

void Turn(Skin& skin, const View& view) {
    for (Point& point : skin.Points()) {
        point = view.Turned(point);
    }
}

void FitInto(Skin& skin, const Extent& extent, const Frame& frame) {
    const Point size = extent.high - extent.low;
    // A line seen from its end is a dot, whatever rounding makes of it.
    const double least = kFlat * std::max({size[0], size[1], size[2]});
    const auto scaleFor = [least](double room, double needed) {
        return needed > least ? room / needed : std::numeric_limits<double>::infinity();
    };
    const double fitting = std::min(scaleFor(frame.high.x - frame.low.x, size[0]),
                                    scaleFor(frame.high.y - frame.low.y, size[1]));
    const double scale = fitting < std::numeric_limits<double>::infinity() ? fitting : 1;
    const Point centre = extent.low + 0.5 * size;
    const Point middle = {(frame.low.x + frame.high.x) / 2, (frame.low.y + frame.high.y) / 2, 0};
    for (Point& point : skin.Points()) {
        point = middle + scale * (point - centre);
    }
}

}  // namespace orqmodel
