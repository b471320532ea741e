#include <algorithm>
#include <cmath>
#include <utility>

#include "ORQExcCheck.h"
#include "ORQExcPoint.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180;

const ORQExcRule kTurned = {
    .id = "ELM008",
    .level = ORQExcLevel::Warning,
    .title = "shell whose normal is turned against its neighbours'",
    .meaning =
        "the shell goes around an edge in the direction of the shell beside it, which "
        "continues its surface",
    .breaks = "pressure, offsets, layers and upper and lower stresses change sides there",
    .mending = "turn the order of its nodes",
    .limit = 60.0,
    .limitOf = "degrees between the planes of shells that continue each other"};

class NormalsRun : public ORQExcCheckRun {
  public:
    explicit NormalsRun(const ORQExcCheckedModel& model)
        : m_model(model), m_cosine(std::cos(model.Limit(kTurned) * kDegree)) {}

    bool VisitsElements() const override { return m_model.Model().Dimension() > 0; }
    void Visit(const ORQExcCheckedElements& elements) override {
        const ORQExcShape& shape = *elements.block.shape;
        if (shape.dimension != 2) {
            return;
        }
        const auto nCorners = static_cast<std::size_t>(shape.nCorners);
        for (std::size_t i = 0; i < elements.ordinals.size(); ++i) {
            const std::span<const int> nodes = elements.NodesOf(i).first(nCorners);
            for (std::size_t k = 0; k < nCorners; ++k) {
                const int from = nodes[k];
                const int to = nodes[(k + 1) % nCorners];
                if (from != to) {
                    const auto [low, high] = std::minmax(from, to);
                    m_edges.push_back({low, high, static_cast<int>(m_shells.size()), from < to});
                }
            }
            m_shells.push_back(elements.ordinals[i]);
            m_normals.push_back(NormalOf(elements.PointsOf(i).first(nCorners * 3)));
        }
    }

    void Finish(std::vector<ORQExcFinding>& findings) override {
        FindNeighbours();
        if (std::ranges::any_of(m_neighbours, &Neighbour::isAgainst)) {
            findings.push_back({.rule = kTurned.id,
                                .message = "faces the other way than the shells around it",
                                .place = ORQExcFinding::Place::Element,
                                .members = Turned()});
        }
    }

  private:
    struct Edge {
        int low;
        int high;
        int shell;      // place in m_shells
        bool isUpward;  // from the lower node to the higher one
        auto operator<=>(const Edge&) const = default;
    };
    struct Neighbour {
        int shell;
        int other;
        bool isAgainst;
        auto operator<=>(const Neighbour&) const = default;
    };

    /// Of length 1, by the diagonals of a quadrilateral or two sides of a triangle.
    static Point NormalOf(std::span<const double> corners) {
        const auto at = [&](std::size_t k) {
            return Point{corners[3 * k], corners[3 * k + 1], corners[3 * k + 2]};
        };
        return Normalized(corners.size() == 9 ? Cross(at(1) - at(0), at(2) - at(0))
                                              : Cross(at(2) - at(0), at(3) - at(1)));
    }

    /// At a fold, as between a web and a flange, no side is the wrong one.
    bool ContinueEachOther(int a, int b) const {
        return std::abs(Dot(m_normals[static_cast<std::size_t>(a)],
                            m_normals[static_cast<std::size_t>(b)])) >= m_cosine;
    }

    /// Both ways, by shell. Where more than two shells meet, as at a stiffener, none is the
    /// neighbour of another.
    void FindNeighbours() {
        std::ranges::sort(m_edges);
        for (std::size_t i = 0; i < m_edges.size();) {
            std::size_t end = i + 1;
            while (end < m_edges.size() && m_edges[end].low == m_edges[i].low &&
                   m_edges[end].high == m_edges[i].high) {
                ++end;
            }
            if (end == i + 2 && ContinueEachOther(m_edges[i].shell, m_edges[i + 1].shell)) {
                const bool isAgainst = m_edges[i].isUpward == m_edges[i + 1].isUpward;
                m_neighbours.push_back({m_edges[i].shell, m_edges[i + 1].shell, isAgainst});
                m_neighbours.push_back({m_edges[i + 1].shell, m_edges[i].shell, isAgainst});
            }
            i = end;
        }
        m_edges = {};
        std::ranges::sort(m_neighbours);
        EraseDoubled();
    }

    /// Two shells with several edges in common lie upon each other.
    void EraseDoubled() {
        std::size_t nKept = 0;
        for (std::size_t i = 0; i < m_neighbours.size();) {
            const Neighbour first = m_neighbours[i];
            std::size_t end = i + 1;
            while (end < m_neighbours.size() && m_neighbours[end].shell == first.shell &&
                   m_neighbours[end].other == first.other) {
                ++end;
            }
            if (end == i + 1) {
                m_neighbours[nKept++] = first;
            }
            i = end;
        }
        m_neighbours.resize(nKept);
    }

    /// Of each connected surface the shells that face the other way than most. A surface with one
    /// side only, such as a Moebius strip, has some as well.
    std::vector<int> Turned() const {
        constexpr int kUnknown = -1;
        std::vector<int> way(m_shells.size(), kUnknown);
        std::vector<int> turned;
        for (std::size_t first = 0; first < m_shells.size(); ++first) {
            if (way[first] != kUnknown) {
                continue;
            }
            std::vector<int> surface = {static_cast<int>(first)};
            way[first] = 0;
            std::size_t nTurned = 0;
            for (std::size_t i = 0; i < surface.size(); ++i) {
                const int shell = surface[i];
                auto next = std::ranges::lower_bound(m_neighbours, shell, {}, &Neighbour::shell);
                for (; next != m_neighbours.end() && next->shell == shell; ++next) {
                    int& other = way[static_cast<std::size_t>(next->other)];
                    if (other == kUnknown) {
                        other = way[static_cast<std::size_t>(shell)] ^ (next->isAgainst ? 1 : 0);
                        nTurned += static_cast<std::size_t>(other);
                        surface.push_back(next->other);
                    }
                }
            }
            const int few = 2 * nTurned <= surface.size() ? 1 : 0;
            for (const int shell : surface) {
                if (way[static_cast<std::size_t>(shell)] == few) {
                    turned.push_back(m_shells[static_cast<std::size_t>(shell)]);
                }
            }
        }
        std::ranges::sort(turned);
        return turned;
    }

    const ORQExcCheckedModel& m_model;
    double m_cosine;
    std::vector<int> m_shells;     // ordinals
    std::vector<Point> m_normals;  // by shell
    std::vector<Edge> m_edges;
    std::vector<Neighbour> m_neighbours;
};

}  // namespace

ORQExcCheck NormalsCheck() {
    return {{kTurned}, BeginRun<NormalsRun>};
}

}  // namespace orq::exchange
