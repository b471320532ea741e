#include "draw/Scene.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "draw/SharedNodes.h"
#include "draw/VisibleSamples.h"

namespace orqmodel {
namespace {

constexpr int kSamplesInPixel = kSamplesPerPixel * kSamplesPerPixel;

const Point& PointOf(const Skin& skin, int node) {
    return skin.Points()[static_cast<std::size_t>(node)];
}

/// The normal, with the length of twice the facet's area.
Point NormalOf(const Skin& skin, std::size_t part) {
    const std::span<const int> nodes = skin.Nodes(part);
    const Point& origin = PointOf(skin, nodes[0]);
    Point normal{};
    for (std::size_t i = 1; i + 1 < nodes.size(); ++i) {
        normal =
            normal + Cross(PointOf(skin, nodes[i]) - origin, PointOf(skin, nodes[i + 1]) - origin);
    }
    return normal;
}

/// The edges of all facets, each by the place of its first node in the list of all parts' nodes.
class FacetEdges {
  public:
    explicit FacetEdges(const Skin& skin) : m_skin(skin) {
        for (std::size_t part = 0; part < skin.NumParts(); ++part) {
            if (skin.KindOf(part) == Skin::Kind::Facet) {
                for (std::size_t i = 0; i < skin.Nodes(part).size(); ++i) {
                    m_edges.push_back({static_cast<int>(part), static_cast<int>(i)});
                }
            }
        }
    }

    std::int64_t Count() const { return static_cast<std::int64_t>(m_edges.size()); }
    std::size_t PartOf(std::int64_t edge) const { return static_cast<std::size_t>(At(edge).part); }
    std::size_t Place(std::int64_t edge) const {
        return m_skin.Begin(PartOf(edge)) + static_cast<std::size_t>(At(edge).corner);
    }
    std::array<int, 2> Nodes(std::int64_t edge) const {
        const std::span<const int> nodes = m_skin.Nodes(PartOf(edge));
        const auto corner = static_cast<std::size_t>(At(edge).corner);
        return {nodes[corner], nodes[(corner + 1) % nodes.size()]};
    }

    /// Whether the body bends between two edges of the same nodes. Facets need not be oriented
    /// alike.
    bool IsBent(std::int64_t a, std::int64_t b) const {
        static const double kSmooth = std::cos(30 * std::acos(-1) / 180);
        // Facets that are oriented alike go along a common edge in opposite directions.
        const double turn = Nodes(a) == Nodes(b) ? -1 : 1;
        return turn * Dot(Normalized(NormalOf(m_skin, PartOf(a))),
                          Normalized(NormalOf(m_skin, PartOf(b)))) <
               kSmooth;
    }

  private:
    struct Edge {
        int part;
        int corner;
    };
    const Edge& At(std::int64_t edge) const { return m_edges[static_cast<std::size_t>(edge)]; }

    const Skin& m_skin;
    std::vector<Edge> m_edges;
};

std::vector<Spot> SpotsOf(const Skin& skin, std::span<const int> nodes) {
    std::vector<Spot> spots;
    for (const int node : nodes) {
        spots.push_back({PointOf(skin, node)[0], PointOf(skin, node)[1]});
    }
    return spots;
}

void PaintFacet(const Scene& scene, std::size_t part, Canvas& canvas) {
    constexpr double kSeam = 0.5;  // hides the gap that viewers leave between neighbours
    const std::vector<Spot> corners = SpotsOf(scene.skin, scene.skin.Nodes(part));
    const auto edges =
        std::span(scene.edges).subspan(scene.skin.Begin(part), scene.skin.Nodes(part).size());
    const Colour fill = scene.colours[part];
    const bool isMeshed =
        std::ranges::none_of(edges, [](EdgeKind e) { return e == EdgeKind::None; });
    canvas.Polygon(corners, fill,
                   // Where all edges are shown, the border draws them at once.
                   isMeshed ? Stroke{EdgeColour(fill, EdgeKind::Mesh), 2 * kMeshEdgeReach}
                            : Stroke{fill, kSeam});
    for (std::size_t i = 0; i < edges.size(); ++i) {
        if (edges[i] == EdgeKind::Feature) {
            const std::array<Spot, 2> ends = {corners[i], corners[(i + 1) % corners.size()]};
            canvas.Line(ends, {EdgeColour(fill, EdgeKind::Feature), 2 * kFeatureEdgeReach});
        }
    }
}

}  // namespace

double Brightness(const Skin& skin, std::size_t part) {
    constexpr double kShadow = 0.6;  // of a facet that the light hardly reaches
    // The lamp is to the left above the viewer's shoulder: no two faces of a box are equally
    // bright.
    constexpr Point kToLamp = {-0.2, -0.4, 0.9};
    if (skin.KindOf(part) != Skin::Kind::Facet) {
        return 1;
    }
    const Point normal = Normalized(NormalOf(skin, part));
    const double light = Dot(normal[2] < 0 ? -1 * normal : normal, kToLamp) / kToLamp[2];
    return kShadow + (1 - kShadow) * std::max(light, 0.0);
}

double MeanEdgeLength(const Skin& skin) {
    const FacetEdges edges(skin);
    double sum = 0;
    for (std::int64_t edge = 0; edge < edges.Count(); ++edge) {
        const auto [from, to] = edges.Nodes(edge);
        sum += Length(PointOf(skin, to) - PointOf(skin, from));
    }
    return edges.Count() > 0 ? sum / static_cast<double>(edges.Count()) : 0;
}

std::vector<EdgeKind> FindEdges(const Skin& skin, std::span<const int> groups, EdgeKind others) {
    std::vector<EdgeKind> kinds(skin.NumPartNodes(), others);
    const FacetEdges edges(skin);
    ForEachWithSameNodes(
        edges.Count(), static_cast<int>(skin.Points().size()),
        [&](std::int64_t edge) { return KeyOf(edges.Nodes(edge), 2); },
        [&](std::span<const std::int64_t> same) {
            for (const std::int64_t edge : same) {
                const bool goesOn = std::ranges::any_of(same, [&](std::int64_t other) {
                    return other != edge &&
                           groups[edges.PartOf(edge)] == groups[edges.PartOf(other)] &&
                           !edges.IsBent(edge, other);
                });
                kinds[edges.Place(edge)] = goesOn ? others : EdgeKind::Feature;
            }
        });
    return kinds;
}

void PaintPixels(const Scene& scene, Image& image, const Progress& progress) {
    ForEachVisibleRow(scene, image.size, [&](int y, std::span<const VisibleSample> samples) {
        progress(static_cast<double>(y) / image.size.height);
        for (int x = 0; x < image.size.width; ++x) {
            std::array<int, 3> sum{};
            for (int i = 0; i < kSamplesInPixel; ++i) {
                const VisibleSample& sample =
                    samples[static_cast<std::size_t>(x * kSamplesInPixel + i)];
                const Colour colour = sample.IsEmpty()
                                          ? kWhite
                                          : EdgeColour(scene.colours[sample.Part()], sample.Edge());
                sum[0] += colour.red;
                sum[1] += colour.green;
                sum[2] += colour.blue;
            }
            const auto mean = [](int total) {
                return static_cast<std::uint8_t>((total + kSamplesInPixel / 2) / kSamplesInPixel);
            };
            image.At(x, y) = {mean(sum[0]), mean(sum[1]), mean(sum[2])};
        }
    });
}

void PaintShapes(const Scene& scene, Canvas& canvas, const Progress& progress) {
    const Skin& skin = scene.skin;
    // What no sample shows is left out: the size of the file goes with what is seen, not with the
    // mesh.
    std::vector<bool> isSeen(skin.NumParts());
    ForEachVisibleRow(scene, canvas.Size(), [&](int y, std::span<const VisibleSample> samples) {
        progress(static_cast<double>(y) / canvas.Size().height);
        for (const VisibleSample& sample : samples) {
            if (!sample.IsEmpty()) {
                isSeen[sample.Part()] = true;
            }
        }
    });
    std::vector<std::pair<double, std::size_t>> byDepth;
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        if (isSeen[part]) {
            double depth = 0;
            for (const int node : skin.Nodes(part)) {
                depth += PointOf(skin, node)[2];
            }
            byDepth.emplace_back(
                depth / static_cast<double>(skin.Nodes(part).size()) + DepthAdvantage(skin, part),
                part);
        }
    }
    // Facets are sorted by part, too, so that parts of one depth have one order.
    std::ranges::sort(byDepth);
    for (const auto& [depth, part] : byDepth) {
        const std::vector<Spot> spots = SpotsOf(skin, skin.Nodes(part));
        switch (skin.KindOf(part)) {
            case Skin::Kind::Facet:
                PaintFacet(scene, part, canvas);
                break;
            case Skin::Kind::Line:
                canvas.Line(spots, {scene.colours[part], 2 * kLineReach});
                break;
            case Skin::Kind::Dot:
                canvas.Disc(spots[0], scene.dotRadius, scene.colours[part],
                            {EdgeColour(scene.colours[part], EdgeKind::Mesh), kDotBorder});
        }
    }
}

}  // namespace orqmodel
