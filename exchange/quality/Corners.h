#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>

#include "ORQExcPoint.h"
#include "ORQExcShapes.h"

namespace orq::exchange {

/// The corners of one element, with what measures of shape take from them.
class Corners {
  public:
    static constexpr std::size_t kMost = 8;  // of a hexahedron

    /// Nothing where a coordinate is no finite number, and for points and lines.
    static std::optional<Corners> Of(const ORQExcShape& shape,
                                     std::span<const double> coordinates) {
        const auto count = static_cast<std::size_t>(shape.nCorners);
        if (shape.dimension < 2) {
            return std::nullopt;
        }
        Corners corners(shape);
        for (std::size_t i = 0; i < 3 * count; ++i) {
            if (!std::isfinite(coordinates[i])) {
                return std::nullopt;
            }
            corners.m_points[i / 3][i % 3] = coordinates[i];
        }
        return corners;
    }

    const ORQExcShape& Shape() const { return *m_shape; }
    const Point& operator[](std::size_t i) const { return m_points[i]; }
    std::span<const Point> Points() const {
        return std::span(m_points).first(static_cast<std::size_t>(m_shape->nCorners));
    }
    bool Is(int dimension, int count) const {
        return m_shape->dimension == dimension && m_shape->nCorners == count;
    }

  private:
    explicit Corners(const ORQExcShape& shape) : m_shape(&shape), m_points{} {}

    const ORQExcShape* m_shape;
    std::array<Point, kMost> m_points;
};

}  // namespace orq::exchange
