#include "draw/Contours.h"

#include <algorithm>
#include <utility>

namespace orqmodel {
namespace {

/// A corner of a piece, and the kind of the edge from it to the next.
struct Corner {
    Point point;
    double value;
    EdgeKind edge;
};
using Ring = std::vector<Corner>;

Corner Between(const Corner& from, const Corner& to, double level, EdgeKind edge) {
    const double part = (level - from.value) / (to.value - from.value);
    return {from.point + part * (to.point - from.point), level, edge};
}

/// The part of a ring where sign * value >= sign * level.
Ring Clipped(const Ring& ring, double level, double sign) {
    Ring kept;
    for (std::size_t i = 0; i < ring.size(); ++i) {
        const Corner& from = ring[i];
        const Corner& to = ring[(i + 1) % ring.size()];
        // Compared with equality on both sides, so that a corner on a level belongs to the pieces
        // on both sides of it and none has a gap.
        const bool isFromKept = sign * from.value >= sign * level;
        const bool isToKept = sign * to.value >= sign * level;
        if (isFromKept) {
            kept.push_back(from);
            if (!isToKept) {
                kept.push_back(Between(from, to, level, EdgeKind::None));
            }
        } else if (isToKept) {
            kept.push_back(Between(from, to, level, from.edge));
        }
    }
    return kept;
}

class Cutter {
  public:
    Cutter(const Skin& skin, std::span<const EdgeKind> edges, std::span<const double> values,
           const ColourBands& bands)
        : m_skin(skin),
          m_edges(edges),
          m_values(values),
          m_bands(bands),
          m_cut{Skin(skin.Points()), {}, {}, {}} {}

    Contours Cut() {
        for (std::size_t part = 0; part < m_skin.NumParts(); ++part) {
            const auto [lowest, highest] = BandsOf(part);
            if (lowest == highest) {
                AddWhole(part, lowest);
            } else if (m_skin.KindOf(part) == Skin::Kind::Line) {
                CutLine(part);
            } else {
                CutFacet(part, lowest, highest);
            }
        }
        return std::move(m_cut);
    }

  private:
    /// The value at a node of a part, by its place there.
    double ValueAt(std::size_t part, std::size_t place) const {
        return m_values[m_skin.Begin(part) + place];
    }
    const Point& PointAt(int node) const { return m_skin.Points()[static_cast<std::size_t>(node)]; }

    std::pair<int, int> BandsOf(std::size_t part) const {
        int lowest = m_bands.Count();
        int highest = -1;
        for (std::size_t i = 0; i < m_skin.Nodes(part).size(); ++i) {
            const int band = m_bands.BandOf(ValueAt(part, i));
            // One node without a value leaves nothing to interpolate.
            if (band < 0) {
                return {-1, -1};
            }
            lowest = std::min(lowest, band);
            highest = std::max(highest, band);
        }
        return {lowest, highest};
    }

    void End(std::size_t part, int band) {
        m_cut.bands.push_back(band);
        m_cut.origin.push_back(part);
    }

    void AddWhole(std::size_t part, int band) {
        const std::span<const int> nodes = m_skin.Nodes(part);
        const auto edges = m_edges.subspan(m_skin.Begin(part), nodes.size());
        m_cut.edges.insert(m_cut.edges.end(), edges.begin(), edges.end());
        m_cut.skin.Add(m_skin.At(part), m_skin.KindOf(part), nodes);
        End(part, band);
    }

    int AddPoint(const Point& point) {
        m_cut.skin.Points().push_back(point);
        return static_cast<int>(m_cut.skin.Points().size()) - 1;
    }

    void CutLine(std::size_t part) {
        const std::span<const int> nodes = m_skin.Nodes(part);
        for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
            const Corner from{PointAt(nodes[i]), ValueAt(part, i), EdgeKind::None};
            const Corner to{PointAt(nodes[i + 1]), ValueAt(part, i + 1), EdgeKind::None};
            const int last = m_bands.BandOf(to.value);
            int band = m_bands.BandOf(from.value);
            const int step = band < last ? 1 : -1;
            int begin = nodes[i];
            for (; band != last; band += step) {
                // Rising values leave a band at its upper bound, falling ones at its lower bound.
                const double level = m_bands.Level(step > 0 ? band + 1 : band);
                const int end = AddPoint(Between(from, to, level, EdgeKind::None).point);
                AddSegment(part, begin, end, band);
                begin = end;
            }
            AddSegment(part, begin, nodes[i + 1], last);
        }
    }

    void AddSegment(std::size_t part, int from, int to, int band) {
        const int nodes[] = {from, to};
        m_cut.skin.Add(m_skin.At(part), Skin::Kind::Line, nodes);
        m_cut.edges.insert(m_cut.edges.end(), 2, EdgeKind::None);
        End(part, band);
    }

    void CutFacet(std::size_t part, int lowest, int highest) {
        const std::span<const int> nodes = m_skin.Nodes(part);
        const auto edges = m_edges.subspan(m_skin.Begin(part), nodes.size());
        Ring ring;
        Corner middle{{}, 0, EdgeKind::None};
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            ring.push_back({PointAt(nodes[i]), ValueAt(part, i), edges[i]});
            const double share = 1 / static_cast<double>(nodes.size());
            middle.point = middle.point + share * ring.back().point;
            middle.value += share * ring.back().value;
        }
        // Others are cut as triangles about their middle, as they are drawn.
        if (ring.size() == 3) {
            CutTriangle(part, ring, lowest, highest);
            return;
        }
        for (std::size_t i = 0; i < ring.size(); ++i) {
            Corner to = ring[(i + 1) % ring.size()];
            to.edge = EdgeKind::None;
            CutTriangle(part, {ring[i], to, middle}, lowest, highest);
        }
    }

    void CutTriangle(std::size_t part, const Ring& triangle, int lowest, int highest) {
        for (int band = lowest; band <= highest; ++band) {
            Ring piece = triangle;
            if (band > lowest) {
                piece = Clipped(piece, m_bands.Level(band), 1);
            }
            if (band < highest) {
                piece = Clipped(piece, m_bands.Level(band + 1), -1);
            }
            if (piece.size() < 3) {
                continue;
            }
            std::vector<int> nodes;
            for (const Corner& corner : piece) {
                nodes.push_back(AddPoint(corner.point));
                m_cut.edges.push_back(corner.edge);
            }
            m_cut.skin.Add(m_skin.At(part), Skin::Kind::Facet, nodes);
            End(part, band);
        }
    }

    const Skin& m_skin;
    std::span<const EdgeKind> m_edges;
    std::span<const double> m_values;
    const ColourBands& m_bands;
    Contours m_cut;
};

}  // namespace

Contours CutAtBands(const Skin& skin, std::span<const EdgeKind> edges,
                    std::span<const double> values, const ColourBands& bands) {
    return Cutter(skin, edges, values, bands).Cut();
}

}  // namespace orqmodel
