#pragma once

#include <string>
#include <vector>

#include "draw/Space.h"

namespace orqmodel {

/// Half of space: what lies in it is drawn.
class Clip {
  public:
    /// "x<0.5", "z>-3": an axis, a sign and a coordinate in the model's length unit. Throws Usage
    /// for another text.
    static Clip FromText(const std::string& text);

    bool Keeps(const Point& point) const {
        return m_isBelow ? point[m_axis] < m_value : point[m_axis] > m_value;
    }

  private:
    Clip(std::size_t axis, bool isBelow, double value)
        : m_axis(axis), m_isBelow(isBelow), m_value(value) {}

    std::size_t m_axis;
    bool m_isBelow;
    double m_value;
};

/// Whether all of them keep a point.
bool AllKeep(const std::vector<Clip>& clips, const Point& point);

}  // namespace orqmodel
