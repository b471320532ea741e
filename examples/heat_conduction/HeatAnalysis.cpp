#include "HeatAnalysis.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "HeatModel.h"
#include "HeatResults.h"
#include "HeatSolver.h"
#include "ORQObjDiagnostics.h"
#include "ORQObjModel.h"
#include "ORQSimTransaction.h"
#include "ORQSrvDiagnosticsHandler.h"

namespace heat {
namespace {

ORQSrvDiagnosticsHandler& Handler() {
    return omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
}

void SetJobStatus(ORQObjJobStatus status) {
    Handler().SetJobStatus(static_cast<int>(status));
}

void Report(HeatCondition code, ORQObjSeverity severity, std::vector<int> ints,
            std::vector<double> doubles, std::string text) {
    char* strings[] = {text.data()};
    Handler().AddWarningError(code, severity == ORQObjSeverity::Error, ints.data(),
                              static_cast<int>(ints.size()), doubles.data(),
                              static_cast<int>(doubles.size()), strings, 1, nullptr, 0, nullptr, 0);
}

void CheckOptions(const ORQObjDocument& document, const HeatOptions& options) {
    for (const auto& [name, value] : {std::pair{"capacity", options.capacity},
                                      {"end time", options.endTime},
                                      {"time step", options.timeStep},
                                      {"smallest time step", options.smallestTimeStep},
                                      {"tolerance", options.tolerance}}) {
        if (!(value > 0.0) || !std::isfinite(value)) {
            throw HeatError(std::string("the ") + name + " is no number above 0");
        }
    }
    if (!ORQObjModel(document.GetModel()).GetStep(options.step).IsNull()) {
        throw HeatError("the model has a step \"" + options.step + "\" already");
    }
}

// The increments from the first to the last, once everything is prepared.
class Increments {
  public:
    Increments(const HeatOptions& options, HeatSolver& solver, const HeatResults& results)
        : m_options(options), m_solver(solver), m_results(results), m_timeStep(options.timeStep) {}

    bool Run() {
        try {
            // An end that is missed by rounding only is reached.
            while (m_options.endTime - m_time > 1e-9 * m_options.endTime) {
                ++m_increment;
                Handler().BeginIncrement(m_increment, m_time);
                if (!Solve()) {
                    return false;
                }
                m_results.Write(m_time, m_solver.Temperatures(), m_solver.NodalFluxes());
                Handler().EndIncrement(m_time);
                std::this_thread::sleep_for(std::chrono::duration<double>(m_options.pause));
            }
        } catch (const HeatError& error) {
            Report(Unsolvable, ORQObjSeverity::Error, {m_increment}, {m_time}, error.what());
            return false;
        }
        return true;
    }

  private:
    // Attempts the increment with ever smaller time steps, and moves on by the one that converges.
    bool Solve() {
        double timeStep = std::min(m_timeStep, m_options.endTime - m_time);
        for (int attempt = 1; !Converges(timeStep); ++attempt) {
            m_solver.Reject();
            if (timeStep / 2 < m_options.smallestTimeStep) {
                Report(NoConvergence, ORQObjSeverity::Error, {m_increment}, {m_time, timeStep},
                       "no convergence with the smallest time step");
                return false;
            }
            timeStep /= 2;
            m_timeStep = timeStep;
            Report(CutBack, ORQObjSeverity::Warning, {m_increment, attempt}, {m_time, timeStep},
                   "no convergence; the increment is cut back");
        }
        m_solver.Accept();
        m_time += timeStep;
        if (m_iterations <= m_options.maxIterations / 2) {
            m_timeStep = std::min(2 * m_timeStep, m_options.timeStep);
        }
        return true;
    }

    bool Converges(double timeStep) {
        Handler().BeginAttempt(timeStep);
        m_solver.BeginAttempt(timeStep);
        bool hasConverged = false;
        for (m_iterations = 0; m_iterations < m_options.maxIterations && !hasConverged;
             ++m_iterations) {
            Handler().BeginIteration();
            hasConverged = m_solver.Iterate() <= m_options.tolerance;
            Handler().EndIteration();
        }
        Handler().EndAttempt();
        return hasConverged;
    }

    const HeatOptions& m_options;
    HeatSolver& m_solver;
    const HeatResults& m_results;
    double m_timeStep;
    double m_time = 0.0;
    int m_increment = 0;
    int m_iterations = 0;  // of the last attempt
};

}  // namespace

bool RunHeatAnalysis(ORQObjDocument document, const HeatOptions& options) {
    CheckOptions(document, options);
    const HeatModel model(document);
    const bool hasTable = !options.conductivity.empty();
    const Conductivity conductivity = hasTable ? Conductivity(options.conductivity)
                                               : Conductivity::Read(document, options.material);
    HeatSolver solver(model, conductivity, options.capacity, options.initialTemperature);
    for (const auto& [set, temperature] : options.held) {
        solver.Hold(model.NodesOf(set), temperature);
    }

    Handler().SetDocument(document);
    SetJobStatus(ORQObjJobStatus::Running);
    if (hasTable) {
        ORQSimTransaction transaction(document.ContextID());
        conductivity.Save(transaction, document, options.material);
        transaction.Commit();
    }
    const HeatResults results(document, options.step, model.Nodes());
    Handler().BeginStep(options.step.c_str());
    for (const std::string& block : model.LeftOut()) {
        Report(LeftOut, ORQObjSeverity::Warning, {}, {}, block);
    }
    const bool hasEnded = Increments(options, solver, results).Run();
    Handler().EndStep();
    SetJobStatus(hasEnded ? ORQObjJobStatus::Completed : ORQObjJobStatus::Failed);
    return hasEnded;
}

}  // namespace heat
