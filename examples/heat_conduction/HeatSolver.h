#pragma once

#include <Eigen/Dense>
#include <Eigen/SparseCholesky>
#include <Eigen/SparseCore>
#include <vector>

#include "Conductivity.h"
#include "HeatModel.h"

namespace heat {

/// Temperatures of a solid over time: linear shapes in space, the implicit Euler rule in time,
/// heat capacity lumped at the nodes, and the conductivity of the last iteration (secant method).
/// Surfaces whose temperature is not held let no heat pass.
///
///   HeatSolver solver(model, conductivity, capacity, initial);
///   solver.Hold(nodes, 100.0);
///   solver.BeginAttempt(timeStep);
///   while (solver.Iterate() > tolerance) {}
///   solver.Accept();
///
/// Units are the model's; capacity is heat per volume and degree.
class HeatSolver {
  public:
    HeatSolver(const HeatModel& model, Conductivity conductivity, double capacity,
               double initialTemperature);

    /// Holds nodes at a temperature from now on; where a node is held twice, the later one counts.
    void Hold(const std::vector<int>& nodes, double temperature);

    /// Sets out from the accepted state.
    void BeginAttempt(double timeStep);
    /// Solves once with the conductivities of the temperatures so far, and answers the largest
    /// change. Throws HeatError when the equations cannot be solved.
    double Iterate();
    void Accept() { m_accepted = m_temperatures; }
    void Reject() { m_temperatures = m_accepted; }

    const Eigen::VectorXd& Temperatures() const { return m_temperatures; }
    /// The heat flux at the nodes, a column each: of each element extrapolated from its integration
    /// points, then averaged over the elements of the node. 0 at nodes without elements.
    Eigen::Matrix3Xd NodalFluxes() const;

  private:
    /// What does not change at an integration point: the gradients of the shapes in space, and the
    /// volume that the point stands for.
    struct Point {
        Eigen::Matrix3Xd gradients;
        double volume;
    };

    void Prepare(const HeatModel::Block& block);
    void Number();
    Eigen::VectorXd TemperaturesOf(const HeatModel::Block& block, std::size_t element) const;
    void Assemble();
    void Add(const HeatModel::Block& block, std::size_t element,
             const Eigen::MatrixXd& conductance);

    const HeatModel& m_model;
    Conductivity m_conductivity;
    std::vector<std::vector<Point>> m_points;  // by block: [elements][points]
    Eigen::VectorXd m_capacities;              // of each node
    std::vector<char> m_isHeld;
    std::vector<int> m_unknowns;  // of each node; -1 when it is held
    int m_nUnknowns = 0;
    double m_timeStep = 0;
    Eigen::VectorXd m_accepted;
    Eigen::VectorXd m_temperatures;
    std::vector<Eigen::Triplet<double>> m_entries;
    Eigen::SparseMatrix<double> m_matrix;
    Eigen::VectorXd m_right;
    Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> m_factors;
    bool m_isAnalyzed = false;
};

}  // namespace heat
