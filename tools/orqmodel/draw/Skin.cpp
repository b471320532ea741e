#include "draw/Skin.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ORQBasFailure.h"
#include "draw/SharedNodes.h"

namespace orqmodel {
namespace {

// Coordinates are read into a small buffer and spread to three numbers each.
constexpr int kSlice = 1 << 16;  // nodes at a time

/// The elements of a block that are drawn.
struct Elements {
    int block;
    const ORQExcShape* shape;
    std::vector<int> ordinals;
    std::vector<int> nodes;  // [elements][nodes of the shape]

    std::span<const int> NodesOf(std::size_t element) const {
        const auto nNodes = static_cast<std::size_t>(shape->nNodes);
        return std::span(nodes).subspan(element * nNodes, nNodes);
    }
    std::size_t Count() const { return ordinals.size(); }
};

Elements ReadElements(const ORQExcModel& model, int place) {
    const ORQExcModel::Block& block = model.Blocks()[static_cast<std::size_t>(place)];
    Elements elements{place, block.shape, {}, {}};
    elements.ordinals.resize(static_cast<std::size_t>(block.elements.Size()));
    block.elements.OrderedMembers(elements.ordinals.data());
    elements.nodes.resize(elements.Count() * static_cast<std::size_t>(block.shape->nNodes));
    model.ReadConnectivity(block, 0, block.elements.Size(), elements.nodes);
    return elements;
}

Point MiddleOf(std::span<const int> nodes, const std::vector<Point>& points) {
    Point sum{};
    for (const int node : nodes) {
        sum = sum + points[static_cast<std::size_t>(node)];
    }
    return (1 / static_cast<double>(nodes.size())) * sum;
}

/// The elements without those whose middle is cut off.
Elements Clipped(const Elements& elements, const std::vector<Clip>& clips,
                 const std::vector<Point>& points) {
    Elements kept{elements.block, elements.shape, {}, {}};
    for (std::size_t i = 0; i < elements.Count(); ++i) {
        const std::span<const int> nodes = elements.NodesOf(i);
        if (AllKeep(clips, MiddleOf(nodes, points))) {
            kept.ordinals.push_back(elements.ordinals[i]);
            kept.nodes.insert(kept.nodes.end(), nodes.begin(), nodes.end());
        }
    }
    return kept;
}

/// A face of a solid by its number among those of all blocks.
class SolidFaces {
  public:
    explicit SolidFaces(const std::vector<Elements>& blocks) : m_blocks(blocks) {
        for (const Elements& block : blocks) {
            const std::size_t nSides = block.shape->dimension == 3 ? block.shape->sides.size() : 0;
            m_begin.push_back(m_begin.back() + static_cast<std::int64_t>(block.Count() * nSides));
        }
    }

    std::int64_t Count() const { return m_begin.back(); }
    std::int64_t Begin(std::size_t block) const { return m_begin[block]; }

    NodeKey<4> Key(std::int64_t face) const {
        const auto block =
            static_cast<std::size_t>(std::ranges::upper_bound(m_begin, face) - m_begin.begin() - 1);
        const Elements& elements = m_blocks[block];
        const std::size_t nSides = elements.shape->sides.size();
        const auto place = static_cast<std::size_t>(face - m_begin[block]);
        const ORQExcShape::Side& side = elements.shape->sides[place % nSides];
        const std::span<const int> nodes = elements.NodesOf(place / nSides);
        NodeKey<4> corners{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(side.nCorners); ++i) {
            corners[i] = nodes[static_cast<std::size_t>(side.nodes[i])];
        }
        return KeyOf(corners, static_cast<std::size_t>(side.nCorners));
    }

    /// Faces that only one element has, ascending. Faces of collapsed elements that have become
    /// lines do not count.
    std::vector<std::int64_t> Outer(int nNodes, const Progress& progress) const {
        // Between two steps of the progress, some hundredths of a second.
        constexpr std::size_t kFacesAtOnce = 1 << 18;
        std::vector<std::int64_t> outer;
        std::size_t nDone = 0;
        ForEachWithSameNodes(
            Count(), nNodes, [this](std::int64_t face) { return Key(face); },
            [&](std::span<const std::int64_t> same) {
                if (same.size() == 1 && Key(same[0])[2] >= 0) {
                    outer.push_back(same[0]);
                }
                const std::size_t before = nDone;
                nDone += same.size();
                if (before / kFacesAtOnce != nDone / kFacesAtOnce) {
                    progress(static_cast<double>(nDone) / static_cast<double>(Count()));
                }
            });
        std::ranges::sort(outer);
        return outer;
    }

  private:
    const std::vector<Elements>& m_blocks;
    std::vector<std::int64_t> m_begin{0};
};

void AddOuterFaces(Skin& skin, const Elements& elements, std::int64_t begin,
                   std::span<const std::int64_t> faces) {
    std::vector<int> nodes;
    for (const std::int64_t face : faces) {
        const auto nSides = static_cast<std::int64_t>(elements.shape->sides.size());
        const auto element = static_cast<std::size_t>((face - begin) / nSides);
        const auto side = static_cast<int>((face - begin) % nSides);
        const ORQExcShape::Side& local = elements.shape->sides[static_cast<std::size_t>(side)];
        nodes.clear();
        for (const int node : local.nodes) {
            nodes.push_back(elements.NodesOf(element)[static_cast<std::size_t>(node)]);
        }
        skin.AddFacet({elements.block, elements.ordinals[element], side}, nodes, local.nCorners);
    }
}

void AddElements(Skin& skin, const Elements& elements) {
    for (std::size_t i = 0; i < elements.Count(); ++i) {
        const Skin::Part part{elements.block, elements.ordinals[i], -1};
        const std::span<const int> nodes = elements.NodesOf(i);
        if (elements.shape->dimension == 2) {
            skin.AddFacet(part, nodes, elements.shape->nCorners);
        } else if (elements.shape->dimension == 1) {
            skin.AddLine(part, nodes);
        } else {
            skin.AddDot(part, nodes[0]);
        }
    }
}

void CheckPoints(const Skin& skin, const ORQExcModel& model) {
    for (std::size_t part = 0; part < skin.NumParts(); ++part) {
        for (const int node : skin.Nodes(part)) {
            for (const double value : skin.Points()[static_cast<std::size_t>(node)]) {
                if (!(std::abs(value) <= kFarthest)) {
                    throw ORQBasFailure(
                        ORQBasFailureKind::Damaged,
                        fmt::format("node {} has the coordinate {}, which cannot be drawn",
                                    model.NodeLabels()[static_cast<std::size_t>(node)], value));
                }
            }
        }
    }
}

}  // namespace

void Skin::EndPart(const Part& part, Kind kind) {
    m_parts.push_back(part);
    m_kinds.push_back(kind);
    m_begin.push_back(m_nodes.size());
}

void Skin::Add(const Part& part, Kind kind, std::span<const int> nodes) {
    m_nodes.insert(m_nodes.end(), nodes.begin(), nodes.end());
    EndPart(part, kind);
}

void Skin::AddDot(const Part& part, int node) {
    Add(part, Kind::Dot, {&node, 1});
}

void Skin::AddLine(const Part& part, std::span<const int> nodes) {
    m_nodes.push_back(nodes[0]);
    // The third node of a line lies between its ends.
    if (nodes.size() > 2) {
        m_nodes.push_back(nodes[2]);
    }
    m_nodes.push_back(nodes[1]);
    EndPart(part, Kind::Line);
}

void Skin::AddFacet(const Part& part, std::span<const int> nodes, int nCorners) {
    const auto count = static_cast<std::size_t>(nCorners);
    // Shapes with nodes on their edges list them behind the corners, in the order of the edges.
    const bool hasMiddles = nodes.size() >= 2 * count;
    for (std::size_t i = 0; i < count; ++i) {
        m_nodes.push_back(nodes[i]);
        if (hasMiddles) {
            m_nodes.push_back(nodes[count + i]);
        }
    }
    EndPart(part, Kind::Facet);
}

std::vector<Point> PointsOf(const ORQExcModel& model) {
    const auto dimension = static_cast<std::size_t>(model.Dimension());
    std::vector<Point> points(static_cast<std::size_t>(model.NumNodes()), Point{});
    std::vector<double> slice(kSlice * dimension);
    for (int begin = 0; dimension > 0 && begin < model.NumNodes(); begin += kSlice) {
        const int end = std::min(model.NumNodes(), begin + kSlice);
        const auto count = static_cast<std::size_t>(end - begin);
        model.ReadCoordinates(begin, end, std::span(slice).first(count * dimension));
        for (std::size_t i = 0; i < count; ++i) {
            for (std::size_t axis = 0; axis < dimension; ++axis) {
                points[static_cast<std::size_t>(begin) + i][axis] = slice[i * dimension + axis];
            }
        }
    }
    return points;
}

Skin SkinOf(const ORQExcModel& model, std::span<const int> blocks, const std::vector<Clip>& clips,
            const Progress& progress) {
    // The part of the time that reading takes, roughly, for the progress.
    constexpr double kReading = 0.3;
    Skin skin(PointsOf(model));
    std::vector<Elements> drawn;
    for (const int place : blocks) {
        drawn.push_back(ReadElements(model, place));
        if (!clips.empty()) {
            drawn.back() = Clipped(drawn.back(), clips, skin.Points());
        }
        progress(kReading * static_cast<double>(drawn.size()) / static_cast<double>(blocks.size()));
    }
    const SolidFaces faces(drawn);
    const std::vector<std::int64_t> outer =
        faces.Outer(model.NumNodes(), PartOf(progress, kReading, 1));
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        if (drawn[i].shape->dimension == 3) {
            const auto begin = std::ranges::lower_bound(outer, faces.Begin(i));
            const auto end = std::ranges::lower_bound(outer, faces.Begin(i + 1));
            AddOuterFaces(skin, drawn[i], faces.Begin(i), std::span(begin, end));
        } else {
            AddElements(skin, drawn[i]);
        }
    }
    if (model.NumElements() == 0) {
        for (int node = 0; node < model.NumNodes(); ++node) {
            if (AllKeep(clips, skin.Points()[static_cast<std::size_t>(node)])) {
                skin.AddDot({-1, -1, -1}, node);
            }
        }
    }
    if (skin.NumParts() == 0) {
        ORQBasThrowUsage(clips.empty() ? "there is nothing to draw"
                                       : "--clip: leaves nothing to draw");
    }
    CheckPoints(skin, model);
    return skin;
}

}  // namespace orqmodel
