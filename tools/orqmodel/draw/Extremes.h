#pragma once

#include <string>
#include <vector>

#include "draw/Canvas.h"
#include "draw/FieldValues.h"
#include "draw/Scene.h"
#include "draw/View.h"

namespace orqmodel {

/// The place of the lowest or the highest value in a picture, and its text.
struct Extreme {
    Point place;  ///< as the points of a skin that was fitted into the picture
    double value;
    int member;  ///< ordinal of the node or element
    std::string text = {};
};

/// The lowest and the highest value of what is drawn, seen or hidden; of equal values the one
/// nearest to the eye. One where both are equal, none without finite values. REQUIRES: the skin has
/// been fitted into the picture.
std::vector<Extreme> ExtremesOf(const Skin& skin, const FieldValues& field);

/// Rings around the spots, and texts beside them that stay in the frame.
void PaintExtremes(Canvas& canvas, double textSize, const Frame& frame,
                   const std::vector<Extreme>& extremes);

}  // namespace orqmodel
