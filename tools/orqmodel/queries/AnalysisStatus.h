#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ORQObjDiagnostics.h"
#include "ORQObjStep.h"
#include "ORQSimDatabase.h"

namespace orqmodel {

/// What an analysis has stored since the previous look.
struct AnalysisNews {
    /// Equal conditions, as often as they were reported.
    struct Condition {
        int code;
        ORQObjSeverity severity;
        std::vector<ORQObjConditionArgument> arguments;
        int count;
    };
    /// A field that has values at more times than before.
    struct Field {
        std::string name;
        int newTimes;
    };
    struct Step {
        std::string name;
        std::vector<double> times;
        std::vector<Field> fields;
        std::vector<Condition> conditions;  // By their first appearance.
    };

    std::int64_t generation = 0;
    std::optional<ORQObjJobStatus> job;
    std::string writer;       // Who has the database open for writing; empty for nobody.
    std::vector<Step> steps;  // That have news; in the order of the analysis.

    /// "none", "running", "completed", "failed", "other" for a status of the host's own, or "died":
    /// recorded as running, while no process has the database open for writing.
    std::string State() const;
    /// Whether more may come from the job.
    bool IsGoingOn() const;
};

/// Follows an analysis that another process may be running, by short looks at its database. Nothing
/// stays open between two looks, so that the writer is never held up.
class AnalysisFollower {
  public:
    explicit AnalysisFollower(std::string path) : m_path(std::move(path)) {}

    /// What is new since the last look; at the first, everything. Empty when nothing is, in the
    /// steps or in the state of the job.
    std::optional<AnalysisNews> Look();

  private:
    struct Seen {
        bool step = false;
        int times = 0;
        int conditions = 0;
        /// Times by the number of the field in the database, which no other one gets.
        std::map<std::int64_t, int> fieldTimes;
    };

    void ReadSteps(const ORQSimDatabase& database, AnalysisNews& news);
    static bool ReadStep(const ORQObjStep& step, Seen& seen, AnalysisNews::Step& news);

    std::string m_path;
    std::int64_t m_generation = 0;
    std::string m_state;
    std::map<std::string, Seen> m_seen;
};

}  // namespace orqmodel
