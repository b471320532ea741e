#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "ORQExcPoint.h"

namespace orq::exchange {

/// Points that stay, and finds for another one the nearest of them within a tolerance. They lie in
/// cells some tolerances wide, so that few are compared: points that stay are further apart than
/// the tolerance. Takes some 12 bytes for each point.
class CoincidentNodes {
  public:
    /// The points, in an order by which they are named from here on; they have to stay. The
    /// tolerance is not below 0.
    CoincidentNodes(std::span<const Point> points, double tolerance);

    /// The nearest point that stays, of equals the last; -1 when none is within the tolerance.
    int Find(int point) const;
    /// It stays.
    void Add(int point);

  private:
    double CellOf(double coordinate) const;
    std::size_t BucketOf(double x, double y, double z) const;

    std::span<const Point> m_points;
    double m_tolerance;
    double m_width;            // of a cell
    std::vector<int> m_first;  // by bucket: a point of it that stays, -1 for none
    std::vector<int> m_next;   // by point: another one of its bucket, -1 for none
};

}  // namespace orq::exchange
