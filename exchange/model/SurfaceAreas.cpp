#include "model/SurfaceAreas.h"

#include <algorithm>

namespace orq::exchange {

namespace {

SurfaceAreas::Surface Grouped(const std::vector<ORQExcMeshSource::Side>& sides) {
    SurfaceAreas::Surface surface;
    surface.nSides = std::ssize(sides);
    for (const ORQExcMeshSource::Side& side : sides) {
        surface.bySide[side.side].elements.push_back(side.element);
    }
    for (auto& [side, group] : surface.bySide) {
        std::ranges::sort(group.elements);
        const auto repeated = std::unique(group.elements.begin(), group.elements.end());
        surface.nRepeated += group.elements.end() - repeated;
        group.elements.erase(repeated, group.elements.end());
    }
    return surface;
}

}  // namespace

SurfaceAreas::SurfaceAreas(ORQExcMeshSource& source)
    : m_dimension(static_cast<std::size_t>(source.Dimension())) {
    for (std::size_t i = 0; i < source.SideSets().size(); ++i) {
        m_surfaces.push_back(Grouped(source.ReadSideSet(static_cast<int>(i))));
    }
    // Pointers to groups are taken once all surfaces are there: adding one moves the others.
    for (Surface& surface : m_surfaces) {
        for (auto& [side, group] : surface.bySide) {
            for (const int element : group.elements) {
                m_waiting.push_back({element, side, &group});
            }
        }
    }
    std::ranges::stable_sort(m_waiting, {}, &Waiting::element);
}

void SurfaceAreas::PassConnectivity(const ORQExcShape& shape, int firstElement,
                                    std::span<const int> connectivity) {
    const auto nNodes = static_cast<std::size_t>(shape.nNodes);
    const auto nElements = connectivity.size() / nNodes;
    for (; m_nPassed < m_waiting.size(); ++m_nPassed) {
        const auto& [element, number, group] = m_waiting[m_nPassed];
        const auto row = static_cast<std::size_t>(element - firstElement);
        if (row >= nElements) {
            return;
        }
        const ORQExcShape::Side& side = shape.sides[static_cast<std::size_t>(number)];
        if (group->nodes.empty() || group->nodes.back().first != &side) {
            group->nodes.emplace_back(&side, std::vector<int>());
        }
        for (const int place : side.nodes) {
            group->nodes.back().second.push_back(
                connectivity[row * nNodes + static_cast<std::size_t>(place)]);
        }
    }
}

void SurfaceAreas::CollectNodes() {
    m_waiting = {};
    for (const Surface& surface : m_surfaces) {
        for (const auto& [side, group] : surface.bySide) {
            for (const auto& [shapeSide, nodes] : group.nodes) {
                m_nodes.insert(m_nodes.end(), nodes.begin(), nodes.end());
            }
        }
    }
    std::ranges::sort(m_nodes);
    m_nodes.erase(std::unique(m_nodes.begin(), m_nodes.end()), m_nodes.end());
    // Before duplicates went, a node stood there for each of its sides.
    m_nodes.shrink_to_fit();
    m_points.assign(3 * m_nodes.size(), 0.0);  // the third coordinate stays 0 in the plane
}

std::size_t SurfaceAreas::PlaceOf(int node) const {
    return static_cast<std::size_t>(std::ranges::lower_bound(m_nodes, node) - m_nodes.begin());
}

void SurfaceAreas::PassCoordinates(int firstNode, std::span<const double> coordinates) {
    // The first coordinates show that all connectivity has passed.
    if (!m_waiting.empty()) {
        CollectNodes();
    }
    const int end = firstNode + static_cast<int>(coordinates.size() / m_dimension);
    for (std::size_t i = PlaceOf(firstNode); i < m_nodes.size() && m_nodes[i] < end; ++i) {
        const std::size_t row = static_cast<std::size_t>(m_nodes[i] - firstNode);
        std::ranges::copy(coordinates.subspan(row * m_dimension, m_dimension),
                          m_points.begin() + static_cast<std::ptrdiff_t>(3 * i));
    }
}

ORQBasMap<int, double> SurfaceAreas::AreasOf(std::size_t surface) const {
    ORQBasMap<int, double> areas;
    for (const auto& [number, group] : m_surfaces[surface].bySide) {
        for (const auto& [side, nodes] : group.nodes) {
            const std::size_t nNodes = side->nodes.size();
            std::vector<double> corners(3 * nNodes);
            std::vector<double> shares(nNodes);
            for (std::size_t first = 0; first < nodes.size(); first += nNodes) {
                for (std::size_t k = 0; k < nNodes; ++k) {
                    std::copy_n(m_points.begin() +
                                    static_cast<std::ptrdiff_t>(3 * PlaceOf(nodes[first + k])),
                                3, corners.begin() + static_cast<std::ptrdiff_t>(3 * k));
                }
                ORQExcTributaryShares(*side, corners, shares);
                for (std::size_t k = 0; k < nNodes; ++k) {
                    areas[nodes[first + k]] += shares[k];
                }
            }
        }
    }
    return areas;
}

}  // namespace orq::exchange
