#include "HeatSolver.h"

#include <string>
#include <utility>

#include "ORQSrvExtrapolation.h"

namespace heat {

using Eigen::Matrix3Xd;
using Eigen::MatrixXd;
using Eigen::VectorXd;

HeatSolver::HeatSolver(const HeatModel& model, Conductivity conductivity, double capacity,
                       double initialTemperature)
    : m_model(model),
      m_conductivity(std::move(conductivity)),
      m_capacities(VectorXd::Zero(model.NumNodes())),
      m_isHeld(static_cast<std::size_t>(model.NumNodes())),
      m_accepted(VectorXd::Constant(model.NumNodes(), initialTemperature)),
      m_temperatures(m_accepted) {
    for (const HeatModel::Block& block : model.Blocks()) {
        Prepare(block);
    }
    m_capacities *= capacity;
    // Nodes of no solid element keep the temperature they have.
    for (int node = 0; node < model.NumNodes(); ++node) {
        m_isHeld[static_cast<std::size_t>(node)] = m_capacities[node] == 0.0 ? 1 : 0;
    }
    Number();
}

void HeatSolver::Prepare(const HeatModel::Block& block) {
    const auto nNodes = block.element->points.size();
    std::vector<Point>& points = m_points.emplace_back();
    points.reserve(block.nodes.size());
    for (std::size_t element = 0; element < block.elements.size(); ++element) {
        const int* const nodes = block.nodes.data() + element * nNodes;
        Matrix3Xd corners(3, nNodes);
        for (std::size_t i = 0; i < nNodes; ++i) {
            corners.col(static_cast<Eigen::Index>(i)) = m_model.Coordinates().col(nodes[i]);
        }
        for (const IntegrationPoint& point : block.element->points) {
            const Eigen::Matrix3d jacobian = point.localGradients * corners.transpose();
            const double determinant = jacobian.determinant();
            if (!(determinant > 0.0)) {
                throw HeatError("block \"" + block.name + "\": its element " +
                                std::to_string(element + 1) + " has no volume or is inside out");
            }
            points.push_back(
                {jacobian.inverse() * point.localGradients, point.weight * determinant});
            for (std::size_t i = 0; i < nNodes; ++i) {
                m_capacities[nodes[i]] +=
                    points.back().volume * point.shapes[static_cast<Eigen::Index>(i)];
            }
        }
    }
}

void HeatSolver::Hold(const std::vector<int>& nodes, double temperature) {
    for (const int node : nodes) {
        m_isHeld[static_cast<std::size_t>(node)] = true;
        m_accepted[node] = temperature;
    }
    m_temperatures = m_accepted;
    Number();
}

void HeatSolver::Number() {
    m_unknowns.assign(m_isHeld.size(), -1);
    m_nUnknowns = 0;
    for (std::size_t node = 0; node < m_isHeld.size(); ++node) {
        if (!m_isHeld[node]) {
            m_unknowns[node] = m_nUnknowns++;
        }
    }
    m_isAnalyzed = false;
}

// --- One attempt ---------------------------------------------------------------------------------

void HeatSolver::BeginAttempt(double timeStep) {
    m_timeStep = timeStep;
    m_temperatures = m_accepted;
}

double HeatSolver::Iterate() {
    if (m_nUnknowns == 0) {
        return 0.0;
    }
    Assemble();
    if (!std::exchange(m_isAnalyzed, true)) {
        m_factors.analyzePattern(m_matrix);
    }
    m_factors.factorize(m_matrix);
    const VectorXd solution = m_factors.solve(m_right);
    if (m_factors.info() != Eigen::Success || !solution.allFinite()) {
        throw HeatError("the equations of the temperatures cannot be solved");
    }
    double change = 0.0;
    for (int node = 0; node < m_model.NumNodes(); ++node) {
        const int unknown = m_unknowns[static_cast<std::size_t>(node)];
        if (unknown >= 0) {
            change = std::max(change, std::abs(solution[unknown] - m_temperatures[node]));
            m_temperatures[node] = solution[unknown];
        }
    }
    return change;
}

VectorXd HeatSolver::TemperaturesOf(const HeatModel::Block& block, std::size_t element) const {
    const int nNodes = block.element->NumNodes();
    const int* const nodes = block.nodes.data() + element * block.element->points.size();
    VectorXd temperatures(nNodes);
    for (int i = 0; i < nNodes; ++i) {
        temperatures[i] = m_temperatures[nodes[i]];
    }
    return temperatures;
}

void HeatSolver::Assemble() {
    m_entries.clear();
    m_right = VectorXd::Zero(m_nUnknowns);
    for (int node = 0; node < m_model.NumNodes(); ++node) {
        const int unknown = m_unknowns[static_cast<std::size_t>(node)];
        if (unknown >= 0) {
            const double rate = m_capacities[node] / m_timeStep;
            m_entries.emplace_back(unknown, unknown, rate);
            m_right[unknown] += rate * m_accepted[node];
        }
    }
    for (std::size_t b = 0; b < m_points.size(); ++b) {
        const HeatModel::Block& block = m_model.Blocks()[b];
        const Point* point = m_points[b].data();
        for (std::size_t element = 0; element < block.elements.size(); ++element) {
            const VectorXd temperatures = TemperaturesOf(block, element);
            MatrixXd conductance = MatrixXd::Zero(temperatures.size(), temperatures.size());
            for (const IntegrationPoint& shape : block.element->points) {
                const double conductivity = m_conductivity.At(shape.shapes.dot(temperatures));
                conductance.noalias() += conductivity * point->volume *
                                         (point->gradients.transpose() * point->gradients);
                ++point;
            }
            Add(block, element, conductance);
        }
    }
    m_matrix.resize(m_nUnknowns, m_nUnknowns);
    m_matrix.setFromTriplets(m_entries.begin(), m_entries.end());
}

void HeatSolver::Add(const HeatModel::Block& block, std::size_t element,
                     const MatrixXd& conductance) {
    const int* const nodes = block.nodes.data() + element * block.element->points.size();
    for (int i = 0; i < conductance.rows(); ++i) {
        const int row = m_unknowns[static_cast<std::size_t>(nodes[i])];
        if (row < 0) {
            continue;
        }
        for (int j = 0; j < conductance.cols(); ++j) {
            const int column = m_unknowns[static_cast<std::size_t>(nodes[j])];
            if (column >= 0) {
                m_entries.emplace_back(row, column, conductance(i, j));
            } else {
                m_right[row] -= conductance(i, j) * m_temperatures[nodes[j]];
            }
        }
    }
}

// --- Fluxes --------------------------------------------------------------------------------------

Matrix3Xd HeatSolver::NodalFluxes() const {
    // Values at the nodes of each element, element after element; where the rows of an element
    // begin.
    Matrix3Xd atNodes;
    std::vector<Eigen::Index> firstRows(static_cast<std::size_t>(m_model.NumElements()), -1);
    for (std::size_t b = 0; b < m_points.size(); ++b) {
        const HeatModel::Block& block = m_model.Blocks()[b];
        const int nNodes = block.element->NumNodes();
        const Eigen::Index first = atNodes.cols();
        Matrix3Xd atPoints(3, m_points[b].size());
        for (std::size_t element = 0; element < block.elements.size(); ++element) {
            const VectorXd temperatures = TemperaturesOf(block, element);
            const Eigen::Index row = static_cast<Eigen::Index>(element) * nNodes;
            for (int p = 0; p < nNodes; ++p) {
                const Point& point = m_points[b][static_cast<std::size_t>(row + p)];
                const IntegrationPoint& shape = block.element->points[static_cast<std::size_t>(p)];
                atPoints.col(row + p) = -m_conductivity.At(shape.shapes.dot(temperatures)) *
                                        (point.gradients * temperatures);
            }
            firstRows[static_cast<std::size_t>(block.elements[element])] = first + row;
        }
        atNodes.conservativeResize(3, first + atPoints.cols());
        ORQSrvExtrapolation::ExtrapolateDoublePrecision(
            nNodes, nNodes, 3, static_cast<int>(block.elements.size()), atPoints.data(),
            atNodes.col(first).data(), block.element->extrapolation.data());
    }

    Matrix3Xd fluxes = Matrix3Xd::Zero(3, m_model.NumNodes());
    const ORQSrvInverseConnectivity& uses = m_model.Uses();
    for (int node = 0; node < m_model.NumNodes(); ++node) {
        int count = 0;
        for (int i = uses.m_offsets[node]; i < uses.m_offsets[node + 1]; ++i) {
            const unsigned element = uses.m_entries[i] & 0x1FFFFFF;
            const unsigned place = uses.m_entries[i] >> 25;
            if (firstRows[element] >= 0) {
                fluxes.col(node) += atNodes.col(firstRows[element] + place);
                ++count;
            }
        }
        if (count > 0) {
            fluxes.col(node) /= count;
        }
    }
    return fluxes;
}

}  // namespace heat
