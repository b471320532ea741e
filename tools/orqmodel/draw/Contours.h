#pragma once

#include <span>
#include <vector>

#include "draw/ColourBands.h"
#include "draw/Scene.h"

namespace orqmodel {

/// A skin whose parts have been cut where values at nodes pass from one band to the next.
struct Contours {
    Skin skin;
    std::vector<EdgeKind> edges;      ///< as in Scene
    std::vector<int> bands;           ///< by part; -1 where a node has no value
    std::vector<std::size_t> origin;  ///< by part: the part of the skin that it is a piece of
};

/// `values` are of the nodes of all parts, in the places of Skin::Begin. They run straight along lines, and over facets as over triangles about their middles, whose
/// value is the mean of the nodes'. Parts that lie in one band stay whole.
Contours CutAtBands(const Skin& skin, std::span<const EdgeKind> edges,
                    std::span<const double> values, const ColourBands& bands);

}  // namespace orqmodel
