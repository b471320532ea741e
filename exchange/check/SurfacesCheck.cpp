#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "ORQExcCheck.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kTurnedFace = {
    .id = "SET005",
    .level = ORQExcLevel::Warning,
    .title = "surface with faces turned against each other",
    .meaning = "two faces of the surface that share an edge look to different sides",
    .breaks = "pressure and contact change sides there",
    .mending = "name the other side of the shells, or turn the elements"};

class SurfacesRun : public ORQExcCheckRun {
  public:
    explicit SurfacesRun(const ORQExcCheckedModel& model) : m_model(model.Model()) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        for (const ORQExcModel::Surface& surface : m_model.Surfaces()) {
            std::vector<int> turned = Turned(surface);
            if (!turned.empty()) {
                findings.push_back({.rule = kTurnedFace.id,
                                    .object = fmt::format("surface \"{}\"", surface.name),
                                    .message = "faces look to different sides of an edge",
                                    .place = ORQExcFinding::Place::Element,
                                    .members = std::move(turned)});
            }
        }
    }

  private:
    struct Edge {
        int low;
        int high;
        bool isUpward;  // around the face from the lower node to the higher one
        int element;
    };

    /// Elements of faces that go around an edge in the direction of the face beside them. Where more
    /// than two faces meet, none is beside another.
    std::vector<int> Turned(const ORQExcModel::Surface& surface) const {
        std::vector<Edge> edges = EdgesOf(surface);
        std::ranges::sort(edges, {}, [](const Edge& edge) {
            return std::tuple(edge.low, edge.high, edge.element);
        });
        std::vector<int> turned;
        for (std::size_t i = 0; i < edges.size();) {
            std::size_t end = i + 1;
            while (end < edges.size() && edges[end].low == edges[i].low &&
                   edges[end].high == edges[i].high) {
                ++end;
            }
            if (end == i + 2 && edges[i].isUpward == edges[i + 1].isUpward &&
                edges[i].element != edges[i + 1].element) {
                turned.push_back(edges[i + 1].element);
            }
            i = end;
        }
        std::ranges::sort(turned);
        turned.erase(std::unique(turned.begin(), turned.end()), turned.end());
        return turned;
    }

    /// The edges of all faces. Sides that are edges have no side to look to and are left out, as
    /// are faces that the shape lacks, which are a finding of another rule.
    std::vector<Edge> EdgesOf(const ORQExcModel::Surface& surface) const {
        std::vector<ORQExcModel::Face> faces;
        std::vector<std::size_t> nCorners;
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            for (const ORQExcModel::Face& face : surface.faces) {
                const auto& sides = block.shape->sides;
                if (face.side >= 0 && face.side < std::ssize(sides) &&
                    !sides[static_cast<std::size_t>(face.side)].IsEdge() &&
                    block.elements.SeekMember(face.element) >= 0) {
                    faces.push_back(face);
                    nCorners.push_back(static_cast<std::size_t>(
                        sides[static_cast<std::size_t>(face.side)].nCorners));
                }
            }
        }
        const std::vector<ORQExcModel::FaceNodes> nodes = m_model.NodesOf(faces);
        std::vector<Edge> edges;
        for (std::size_t i = 0; i < faces.size(); ++i) {
            for (std::size_t k = 0; k < nCorners[i]; ++k) {
                const int from = nodes[i][k];
                const int to = nodes[i][(k + 1) % nCorners[i]];
                edges.push_back(
                    {std::min(from, to), std::max(from, to), from < to, faces[i].element});
            }
        }
        return edges;
    }

    const ORQExcModel& m_model;
};

}  // namespace

ORQExcCheck SurfacesCheck() {
    return {{kTurnedFace}, BeginRun<SurfacesRun>};
}

}  // namespace orq::exchange
