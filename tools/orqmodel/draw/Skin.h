#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ORQExcModel.h"
#include "draw/Clip.h"
#include "draw/Progress.h"
#include "draw/Space.h"

namespace orqmodel {

/// Coordinates that can be drawn are at most so large: squares and sums of such numbers are finite.
constexpr double kFarthest = 1e100;

/// What can be seen of a mesh from outside, as a list of parts: facets, lines and dots.
///
/// The faces of solids that only one element has, shells, membranes and other plane elements are
/// facets, bars are lines, points are dots. A part is the ring of nodes around it, middles of edges
/// in their places. Two hexahedra that share a face have 10 facets of 4 nodes.
class Skin {
  public:
    enum class Kind : std::uint8_t { Dot, Line, Facet };
    struct Part {
        int block;    ///< place in ORQExcModel::Blocks; -1 for none
        int element;  ///< ordinal; -1 for none
        int side;     ///< of a solid, place in its shape's sides; else -1
    };

    explicit Skin(std::vector<Point> points) : m_points(std::move(points)) {}

    std::size_t NumParts() const { return m_parts.size(); }
    const Part& At(std::size_t part) const { return m_parts[part]; }
    /// Node ordinals: one of a dot, two or more along a line, three or more around a facet.
    /// Valid until the next Add.
    std::span<const int> Nodes(std::size_t part) const {
        return std::span(m_nodes).subspan(Begin(part), Begin(part + 1) - Begin(part));
    }
    /// Where the part's nodes begin in a list of those of all parts.
    std::size_t Begin(std::size_t part) const { return m_begin[part]; }
    std::size_t NumPartNodes() const { return m_nodes.size(); }
    Kind KindOf(std::size_t part) const { return m_kinds[part]; }

    const std::vector<Point>& Points() const { return m_points; }  ///< by node ordinal
    std::vector<Point>& Points() { return m_points; }

    /// `nodes` in the order in which Nodes() returns them.
    void Add(const Part& part, Kind kind, std::span<const int> nodes);
    void AddDot(const Part& part, int node);
    /// `nodes` as an edge in ORQExcShape: the ends, then the middle when there is one.
    void AddLine(const Part& part, std::span<const int> nodes);
    /// `nodes` as a face in ORQExcShape: the corners, then the middles of the edges.
    void AddFacet(const Part& part, std::span<const int> nodes, int nCorners);

  private:
    void EndPart(const Part& part, Kind kind);

    std::vector<Point> m_points;
    std::vector<Part> m_parts;
    std::vector<Kind> m_kinds;
    std::vector<std::size_t> m_begin{0};
    std::vector<int> m_nodes;
};

/// The places of all nodes, by ordinal; the third coordinate of a plane model is 0.
std::vector<Point> PointsOf(const ORQExcModel& model);

/// The skin of some blocks, given by their places, as if there were no others, and of these of the
/// elements whose middle (the mean of their nodes) all clips keep. Parts come by block, element and
/// side. A model without elements is the dots of its nodes.
/// Throws Usage when there is nothing to draw, and Damaged, naming the node, when one that is
/// drawn has a coordinate that is not finite.
Skin SkinOf(const ORQExcModel& model, std::span<const int> blocks,
            const std::vector<Clip>& clips = {}, const Progress& progress = IgnoreProgress);

}  // namespace orqmodel
