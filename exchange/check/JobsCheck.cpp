#include <fmt/format.h>

#include <map>
#include <utility>

#include "ORQExcCheck.h"
#include "ORQObjDiagnostics.h"
#include "ORQObjModel.h"
#include "ORQObjStep.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kDied = {
    .id = "JOB001",
    .level = ORQExcLevel::Error,
    .title = "analysis that died",
    .meaning = "the job is recorded as running, and no process has the database open for writing",
    .breaks = "results end before the analysis did",
    .mending = "run the analysis again; what it committed is whole"};
const ORQExcRule kFailed = {.id = "JOB002",
                            .level = ORQExcLevel::Error,
                            .title = "analysis that failed",
                            .meaning = "the analysis ended itself after an error",
                            .breaks = "results end before the analysis was to end",
                            .mending = "read its errors: orqmodel status NAME.orq"};
const ORQExcRule kRepeatedWarning = {
    .id = "JOB003",
    .level = ORQExcLevel::Note,
    .title = "warning that an analysis repeated",
    .meaning = "a step has the same sort of warning many times",
    .breaks = "increments that are cut back over and over take long, or lead nowhere",
    .mending = "find out what the first one is about: orqmodel status NAME.orq",
    .limit = 10.0,
    .limitOf = "times at most"};

const ORQExcRule kCutBack = {
    .id = "JOB004",
    .level = ORQExcLevel::Note,
    .title = "increments that were cut back",
    .meaning = "times of a step lie much nearer to each other than its first increment is long",
    .breaks = "nothing; the analysis hardly found its balance there",
    .mending =
        "look at the results before those times; nothing, where outputs are meant to be "
        "that near",
    .limit = 0.1,
    .limitOf = "of the first increment at least, between two times but the last"};

class JobsRun : public ORQExcCheckRun {
  public:
    explicit JobsRun(const ORQExcCheckedModel& model)
        : m_model(model), m_wasWritten(IsWritten(model.Document())) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const ORQObjDocument& document = m_model.Document();
        const auto status = ORQObjReadJobStatus(document);
        // What ended while the model was checked has not died: its last commit is not seen here.
        if (status == ORQObjJobStatus::Running && !m_wasWritten) {
            findings.push_back(
                {.rule = kDied.id, .message = "the job is recorded as running, and nobody writes"});
        }
        if (status == ORQObjJobStatus::Failed) {
            findings.push_back({.rule = kFailed.id, .message = "the job is recorded as failed"});
        }
        const ORQSimVector sequence = ORQObjModel(document.GetModel()).GetStepSequence();
        for (auto step = sequence.Begin(); step.NotDone(); ++step) {
            CheckConditions(ORQObjStep(*step), findings);
            CheckIncrements(ORQObjStep(*step), findings);
        }
    }

  private:
    /// The writer's lock ends with its process, whatever the job recorded last. Whoever mends the
    /// model is the writer, and no analysis is then.
    static bool IsWritten(const ORQObjDocument& document) {
        return !document.Database().Writer().empty() && !document.Database().IsWritable();
    }

    void CheckConditions(const ORQObjStep& step, std::vector<ORQExcFinding>& findings) const {
        std::map<int, int> counts;  // by code
        const ORQSimVector conditions = step.GetConditions();
        for (auto i = conditions.Begin(); i.NotDone(); ++i) {
            const ORQObjCondition condition(*i);
            counts[condition.GetCode()] +=
                condition.GetSeverity() == ORQObjSeverity::Warning ? 1 : 0;
        }
        for (const auto& [code, count] : counts) {
            if (count > m_model.Limit(kRepeatedWarning)) {
                findings.push_back({.rule = kRepeatedWarning.id,
                                    .object = fmt::format("step \"{}\"", step.GetName().UTF8()),
                                    .message = fmt::format("warning {} {} times", code, count)});
            }
        }
    }

    /// Increments as such are stored nowhere, the times of results are. The last of them is that of
    /// the end of the step, wherever an increment begins.
    void CheckIncrements(const ORQObjStep& step, std::vector<ORQExcFinding>& findings) const {
        const ORQSimPosition incrementation =
            step.Position().GetPosition(ORQSimSchema::Step_Gen_timeIncrementation);
        if (incrementation.IsNull()) {
            return;
        }
        const double first = incrementation.DataRecord().GetDouble(
            ORQSimRecordField::TimeIncrementation_firstIncrement);
        const std::vector<double> times = step.ReadTimes();
        double least = first;
        double after = 0;
        for (std::size_t i = 1; i + 1 < times.size(); ++i) {
            const double increment = times[i] - times[i - 1];
            if (increment > 0 && increment < least) {
                least = increment;
                after = times[i - 1];
            }
        }
        if (least < m_model.Limit(kCutBack) * first) {
            findings.push_back(
                {.rule = kCutBack.id,
                 .object = fmt::format("step \"{}\"", step.GetName().UTF8()),
                 .message = fmt::format("{:.3g} from time {:.9g} to the next; the first "
                                        "increment is {:g}",
                                        least, after, first)});
        }
    }

    const ORQExcCheckedModel& m_model;
    bool m_wasWritten;  // by another process
};

}  // namespace

ORQExcCheck JobsCheck() {
    return {{kDied, kFailed, kRepeatedWarning, kCutBack}, BeginRun<JobsRun>};
}

}  // namespace orq::exchange
