#pragma once

#include <array>
#include <cmath>

namespace orq::exchange {

/// A place or a direction in space.
using Point = std::array<double, 3>;

inline Point operator+(const Point& a, const Point& b) {
    return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}

inline Point operator-(const Point& a, const Point& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

inline Point operator*(double factor, const Point& a) {
    return {factor * a[0], factor * a[1], factor * a[2]};
}

inline Point Cross(const Point& a, const Point& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

inline double Dot(const Point& a, const Point& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

inline double Length(const Point& a) {
    return std::sqrt(Dot(a, a));
}

/// The direction with length 1; one without length stays as it is.
inline Point Normalized(const Point& a) {
    const double length = Length(a);
    return length > 0 ? (1 / length) * a : a;
}

}  // namespace orq::exchange
