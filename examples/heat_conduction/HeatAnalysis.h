#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Conductivity.h"
#include "ORQObjDocument.h"

namespace heat {

/// Codes of the conditions that the analysis reports. Their arguments:
enum HeatCondition : int {
    LeftOut = 1,        ///< warning; string: the block that takes no part
    CutBack = 2,        ///< warning; ints: increment, attempt; doubles: time, new time step
    NoConvergence = 3,  ///< error; int: increment; doubles: time, last time step
    Unsolvable = 4      ///< error; int: increment; double: time; string: why
};

/// Numbers are in the model's units.
struct HeatOptions {
    std::string step = "Heat conduction";
    std::string material = "SOLID";
    /// The table to be kept with the material; empty for the one that it has.
    std::vector<Conductivity::Row> conductivity;
    double capacity = 1.0;  ///< heat per volume and degree
    double initialTemperature = 0.0;
    std::vector<std::pair<std::string, double>> held;  ///< node sets and their temperatures
    double endTime = 1.0;
    double timeStep = 0.05;
    double smallestTimeStep = 1e-6;
    double tolerance = 1e-6;  ///< largest change of temperature in the last iteration
    int maxIterations = 12;
    double pause = 0.0;  ///< seconds after each increment, for those who watch
};

/// Runs a transient analysis and writes its results, increment by increment, into the document's
/// database; reports conditions and the status of the job through the diagnostics handler. Answers
/// whether the end was reached; if not, an error is among the conditions.
///
/// Options and models that make no analysis, and a step that is there already, throw HeatError
/// before anything is written. Failures of the database pass through as ORQBasFailure; the job is
/// then left as running, and who asks finds that its process has ended.
bool RunHeatAnalysis(ORQObjDocument document, const HeatOptions& options);

}  // namespace heat
