#include "check/ShellNeighbours.h"

#include <algorithm>
#include <cmath>

namespace orq::exchange {

ShellNeighbours::ShellNeighbours(double degrees)
    : m_cosine(std::cos(degrees * 3.14159265358979323846 / 180)) {}

void ShellNeighbours::Add(const ORQExcCheckedElements& elements) {
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
                m_edges.push_back({low, high, static_cast<int>(m_elements.size()), from < to});
            }
        }
        m_elements.push_back(elements.ordinals[i]);
        m_normals.push_back(NormalOf(elements.PointsOf(i).first(nCorners * 3)));
    }
}

/// The unit normal, by the diagonals of a quadrilateral or two sides of a triangle.
Point ShellNeighbours::NormalOf(std::span<const double> corners) {
    const auto at = [&](std::size_t k) {
        return Point{corners[3 * k], corners[3 * k + 1], corners[3 * k + 2]};
    };
    return Normalized(corners.size() == 9 ? Cross(at(1) - at(0), at(2) - at(0))
                                          : Cross(at(2) - at(0), at(3) - at(1)));
}

bool ShellNeighbours::ContinueEachOther(int a, int b) const {
    return std::abs(Dot(m_normals[static_cast<std::size_t>(a)],
                        m_normals[static_cast<std::size_t>(b)])) >= m_cosine;
}

std::vector<ShellNeighbours::Neighbour> ShellNeighbours::Find() {
    std::vector<Neighbour> neighbours;
    std::ranges::sort(m_edges);
    for (std::size_t i = 0; i < m_edges.size();) {
        std::size_t end = i + 1;
        while (end < m_edges.size() && m_edges[end].low == m_edges[i].low &&
               m_edges[end].high == m_edges[i].high) {
            ++end;
        }
        if (end == i + 2 && ContinueEachOther(m_edges[i].shell, m_edges[i + 1].shell)) {
            const bool isAgainst = m_edges[i].isUpward == m_edges[i + 1].isUpward;
            neighbours.push_back({m_edges[i].shell, m_edges[i + 1].shell, isAgainst});
            neighbours.push_back({m_edges[i + 1].shell, m_edges[i].shell, isAgainst});
        }
        i = end;
    }
    m_edges = {};
    std::ranges::sort(neighbours);
    EraseDoubled(neighbours);
    return neighbours;
}

void ShellNeighbours::EraseDoubled(std::vector<Neighbour>& neighbours) {
    std::size_t nKept = 0;
    for (std::size_t i = 0; i < neighbours.size();) {
        const Neighbour first = neighbours[i];
        std::size_t end = i + 1;
        while (end < neighbours.size() && neighbours[end].shell == first.shell &&
               neighbours[end].other == first.other) {
            ++end;
        }
        if (end == i + 1) {
            neighbours[nKept++] = first;
        }
        i = end;
    }
    neighbours.resize(nKept);
}

}  // namespace orq::exchange
