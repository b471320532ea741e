#pragma once

#include <compare>

/// A place within an element at which a field has values. Numbers count from 0, layers and section
/// points from the bottom; -1 for what the field does not have.
struct ORQExcSpot {
    int layer = -1;
    int sectionPoint = -1;
    int point = -1;
    friend auto operator<=>(const ORQExcSpot&, const ORQExcSpot&) = default;
};
