#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "draw/Canvas.h"
#include "draw/Image.h"
#include "draw/Progress.h"
#include "draw/Skin.h"

namespace orqmodel {

/// How the line from a node of a facet to the next one is drawn: not, as a border between elements,
/// or as a border of the body: where no facet of its colour goes on without a bend.
enum class EdgeKind : std::uint8_t { None = 0, Mesh = 1, Feature = 2 };

/// What is painted: a skin that was projected, and how its parts look.
struct Scene {
    Skin skin;
    std::vector<Colour> colours;  ///< by part, shaded
    std::vector<EdgeKind> edges;  ///< by place in the list of the nodes of all parts
    double dotRadius;             ///< in pixels
};

/// How bright a facet is in the light of a lamp at the eye's upper left: 1 for one that faces the
/// eye, for lines and for dots, a little more for one that faces the lamp, else less.
double Brightness(const Skin& skin, std::size_t part);

/// The mean length of the edges of facets, in the unit of the points; 0 without facets.
double MeanEdgeLength(const Skin& skin);

/// Finds the borders of the body, and takes the others for `others`. Parts of different groups have
/// different colours.
std::vector<EdgeKind> FindEdges(const Skin& skin, std::span<const int> groups, EdgeKind others);

/// Paints what can be seen, each pixel by its own depth. Needs little memory beside the image.
void PaintPixels(const Scene& scene, Image& image, const Progress& progress = IgnoreProgress);

/// Paints as shapes the parts of which anything can be seen, those farther away first. Where parts
/// pass through each other, or a large one lies beside a small one, that order can be wrong.
void PaintShapes(const Scene& scene, Canvas& canvas, const Progress& progress = IgnoreProgress);

}  // namespace orqmodel
