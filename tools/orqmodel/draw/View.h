#pragma once

#include <span>
#include <string>
#include <vector>

#include "draw/Canvas.h"
#include "draw/Skin.h"
#include "draw/Space.h"

namespace orqmodel {

/// How a model is looked at: without perspective, from one direction, with the z axis up; along the
/// z axis, y is up.
class View {
  public:
    /// "iso", an axis with its sign ("+x", "-z"), or the direction to the eye, "1,-2,0.5".
    /// Throws Usage for another text and for a direction without length.
    static View FromText(const std::string& text);
    /// Plane models from the front, others "iso".
    static View BestFor(const Skin& skin);

    const std::string& Name() const { return m_name; }
    /// Components to the right and down in the picture, and towards the eye.
    Point Turned(const Point& point) const;

  private:
    View(std::string name, const Point& toEye);

    std::string m_name;
    Point m_right;
    Point m_up;
    Point m_toEye;
};

/// Part of a picture.
struct Frame {
    Spot low;  ///< upper left
    Spot high;
};

/// The box around the points of a skin's parts.
struct Extent {
    Point low;
    Point high;

    /// The extent with as much room on all sides.
    Extent Wider(double room) const {
        const Point rim = {room, room, room};
        return {low - rim, high + rim};
    }
};
Extent ExtentOf(const Skin& skin);

/// Turns the points of the skin as the view does.
void Turn(Skin& skin, const View& view);

/// Moves and enlarges the points of a skin, turned before, so that what they take up fills the
/// frame. Afterwards x and y are pixels in the picture and z, in pixels too, grows towards the eye.
/// Angles stay as they were. What has no extent comes to the middle.
void FitInto(Skin& skin, const Extent& extent, const Frame& frame);

}  // namespace orqmodel
