#pragma once

#include <algorithm>

namespace orqmodel {

/// A place in a picture, in pixels from its upper left corner, to the right and down.
struct Spot {
    double x;
    double y;
};

inline double SquareDistance(const Spot& a, const Spot& b) {
    return (a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y);
}

/// Where on the segment between two spots, from 0 to 1, a spot is nearest to it.
inline double PlaceAlong(const Spot& spot, const Spot& from, const Spot& to) {
    const double length = SquareDistance(from, to);
    const double along = (spot.x - from.x) * (to.x - from.x) + (spot.y - from.y) * (to.y - from.y);
    return length > 0 ? std::clamp(along / length, 0.0, 1.0) : 0;
}

/// The square of the distance from a spot to the segment between two.
inline double SquareDistance(const Spot& spot, const Spot& from, const Spot& to) {
    const double place = PlaceAlong(spot, from, to);
    return SquareDistance(spot,
                          {from.x + place * (to.x - from.x), from.y + place * (to.y - from.y)});
}

}  // namespace orqmodel
