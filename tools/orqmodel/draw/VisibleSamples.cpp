#include "draw/VisibleSamples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "draw/Space.h"

namespace orqmodel {
namespace {

constexpr int kSide = kSamplesPerPixel;
constexpr int kSamples = kSide * kSide;
constexpr std::int64_t kBandSamples = 1 << 23;  // that are held at a time

/// Some rows of the picture with the nearest part so far at each sample.
class Band {
  public:
    Band(const Scene& scene, int width, int nRows)
        : m_scene(scene),
          m_width(width),
          m_nRows(nRows),
          m_depths(static_cast<std::size_t>(width) * static_cast<std::size_t>(nRows) * kSamples),
          m_seen(m_depths.size()) {}

    /// Begins anew with rows of the picture from `firstRow` on, and draws all parts.
    void Draw(int firstRow) {
        m_firstRow = firstRow;
        std::ranges::fill(m_depths, -std::numeric_limits<float>::infinity());
        std::ranges::fill(m_seen, VisibleSample());
        for (std::size_t part = 0; part < m_scene.skin.NumParts(); ++part) {
            DrawPart(part);
        }
    }

    std::span<const VisibleSample> Row(int row) const {
        const std::size_t length = static_cast<std::size_t>(m_width) * kSamples;
        return std::span(m_seen).subspan(static_cast<std::size_t>(row) * length, length);
    }

  private:
    Point PointOf(int node) const {
        Point point = m_scene.skin.Points()[static_cast<std::size_t>(node)];
        point[2] += m_advantage;
        return point;
    }

    static Spot SpotOf(const Point& point) { return {point[0], point[1]}; }

    void DrawPart(std::size_t part) {
        const Skin& skin = m_scene.skin;
        const std::span<const int> nodes = skin.Nodes(part);
        m_part = part;
        m_advantage = DepthAdvantage(skin, part);
        switch (skin.KindOf(part)) {
            case Skin::Kind::Facet:
                DrawFacet(nodes, std::span(m_scene.edges).subspan(skin.Begin(part), nodes.size()));
                break;
            case Skin::Kind::Line:
                for (std::size_t i = 0; i + 1 < nodes.size(); ++i) {
                    DrawLine(PointOf(nodes[i]), PointOf(nodes[i + 1]));
                }
                break;
            case Skin::Kind::Dot:
                DrawDot(PointOf(nodes[0]));
        }
    }

    /// Draws a facet as triangles about its middle.
    void DrawFacet(std::span<const int> nodes, std::span<const EdgeKind> edges) {
        m_edges.clear();
        Point middle{};
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const Point from = PointOf(nodes[i]);
            middle = middle + (1 / static_cast<double>(nodes.size())) * from;
            if (edges[i] != EdgeKind::None) {
                m_edges.push_back(
                    {SpotOf(from), SpotOf(PointOf(nodes[(i + 1) % nodes.size()])), edges[i]});
            }
        }
        if (nodes.size() == 3) {
            DrawTriangle({PointOf(nodes[0]), PointOf(nodes[1]), PointOf(nodes[2])});
            return;
        }
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            DrawTriangle({PointOf(nodes[i]), PointOf(nodes[(i + 1) % nodes.size()]), middle});
        }
    }

    void DrawTriangle(const std::array<Point, 3>& corners) {
        const auto sine = [](const Point& a, const Point& b, const Spot& spot) {
            return (b[0] - a[0]) * (spot.y - a[1]) - (b[1] - a[1]) * (spot.x - a[0]);
        };
        const double area = sine(corners[0], corners[1], SpotOf(corners[2]));
        if (area == 0) {
            return;  // Seen from its edge.
        }
        // Where a body turns away, its front is seen and not the back behind the same edge.
        constexpr double kBackwardness = 0.01;
        const double retreat = area > 0 ? kBackwardness : 0;
        ForEachSample(corners, 0, [&](const Spot& spot, std::size_t sample) {
            const double weight0 = sine(corners[1], corners[2], spot) / area;
            const double weight1 = sine(corners[2], corners[0], spot) / area;
            const double weight2 = sine(corners[0], corners[1], spot) / area;
            if (weight0 < 0 || weight1 < 0 || weight2 < 0) {
                return;
            }
            const double depth = weight0 * corners[0][2] + weight1 * corners[1][2] +
                                 weight2 * corners[2][2] - retreat;
            if (IsNearest(sample, depth)) {
                See(sample, depth, EdgeAt(spot));
            }
        });
    }

    EdgeKind EdgeAt(const Spot& spot) const {
        EdgeKind kind = EdgeKind::None;
        for (const Edge& edge : m_edges) {
            const double reach =
                edge.kind == EdgeKind::Feature ? kFeatureEdgeReach : kMeshEdgeReach;
            if (edge.kind > kind && SquareDistance(spot, edge.from, edge.to) <= reach * reach) {
                kind = edge.kind;
            }
        }
        return kind;
    }

    void DrawLine(const Point& from, const Point& to) {
        ForEachSample(std::array{from, to}, kLineReach, [&](const Spot& spot, std::size_t sample) {
            const double place = PlaceAlong(spot, SpotOf(from), SpotOf(to));
            const Point nearest = from + place * (to - from);
            if (SquareDistance(spot, SpotOf(nearest)) <= kLineReach * kLineReach &&
                IsNearest(sample, nearest[2])) {
                See(sample, nearest[2], EdgeKind::None);
            }
        });
    }

    void DrawDot(const Point& centre) {
        const double outside = m_scene.dotRadius + kDotBorder / 2;
        const double inside = outside - kDotBorder;
        ForEachSample(std::span(&centre, 1), outside, [&](const Spot& spot, std::size_t sample) {
            const double distance = SquareDistance(spot, SpotOf(centre));
            if (distance <= outside * outside && IsNearest(sample, centre[2])) {
                See(sample, centre[2],
                    distance > inside * inside ? EdgeKind::Mesh : EdgeKind::None);
            }
        });
    }

    /// Calls use(spot, sample) for the samples of the band in the box around some points.
    template <class Use>
    void ForEachSample(std::span<const Point> points, double margin, const Use& use) const {
        const auto range = [&](std::size_t axis, int offset, int end) {
            const auto [low, high] =
                std::ranges::minmax(points, {}, [axis](const Point& point) { return point[axis]; });
            const auto sample = [&](double pixels) {
                return static_cast<int>(
                    std::clamp(std::ceil((pixels - offset) * kSide - 0.5), 0.0, double(end)));
            };
            return std::pair(sample(low[axis] - margin), sample(high[axis] + margin + 1.0 / kSide));
        };
        const auto [left, right] = range(0, 0, m_width * kSide);
        const auto [top, bottom] = range(1, m_firstRow, m_nRows * kSide);
        for (int row = top; row < bottom; ++row) {
            const double y = m_firstRow + (row + 0.5) / kSide;
            for (int column = left; column < right; ++column) {
                // Samples of a pixel lie together.
                const std::size_t pixel =
                    static_cast<std::size_t>(row / kSide) * static_cast<std::size_t>(m_width) +
                    static_cast<std::size_t>(column / kSide);
                use(Spot{(column + 0.5) / kSide, y},
                    pixel * kSamples +
                        static_cast<std::size_t>(row % kSide * kSide + column % kSide));
            }
        }
    }

    /// The first one of parts in the same place counts, whatever rounding makes of them.
    bool IsNearest(std::size_t sample, double depth) const {
        // Depths are in pixels, as floats: of some thousands they hold a thousandth.
        constexpr double kSamePlace = 1e-3;
        return depth > double{m_depths[sample]} + kSamePlace;
    }

    void See(std::size_t sample, double depth, EdgeKind kind) {
        m_depths[sample] = static_cast<float>(depth);
        m_seen[sample] = VisibleSample(m_part, kind);
    }

    struct Edge {
        Spot from;
        Spot to;
        EdgeKind kind;
    };

    const Scene& m_scene;
    int m_width;
    int m_nRows;
    int m_firstRow = 0;
    std::vector<float> m_depths;
    std::vector<VisibleSample> m_seen;
    std::size_t m_part = 0;
    double m_advantage = 0;
    std::vector<Edge> m_edges;  // of the facet, that are drawn
};

}  // namespace

double DepthAdvantage(const Skin& skin, std::size_t part) {
    switch (skin.KindOf(part)) {
        case Skin::Kind::Line:
            return skin.At(part).block < 0 ? 3.5 : 3;
        case Skin::Kind::Dot:
            return 4;
        default:
            return skin.At(part).side < 0 ? 0.5 : 0;
    }
}

Colour EdgeColour(Colour colour, EdgeKind kind) {
    switch (kind) {
        case EdgeKind::Mesh:
            return Mixed(colour, kBlack, 0.5);
        case EdgeKind::Feature:
            return kInk;
        default:
            return colour;
    }
}

void ForEachVisibleRow(const Scene& scene, PictureSize size,
                       const std::function<void(int y, std::span<const VisibleSample>)>& use) {
    // Bands bound the memory for large pictures, at the price of a pass over all parts for each.
    const std::int64_t inBand = kBandSamples / (std::int64_t{size.width} * kSamples);
    const int nRows = static_cast<int>(std::clamp<std::int64_t>(inBand, 1, size.height));
    Band band(scene, size.width, nRows);
    for (int first = 0; first < size.height; first += nRows) {
        band.Draw(first);
        for (int y = first; y < std::min(first + nRows, size.height); ++y) {
            use(y, band.Row(y - first));
        }
    }
}

}  // namespace orqmodel
