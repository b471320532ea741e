#include "queries/AnalysisStatus.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "ORQObjModel.h"
#include "ORQSimLinks.h"
#include "queries/OpenModel.h"

namespace orqmodel {
namespace {

/// Gathers conditions, equal ones as one.
class Folding {
  public:
    explicit Folding(std::vector<AnalysisNews::Condition>& conditions) : m_conditions(conditions) {}

    void Add(const ORQObjCondition& condition) {
        AnalysisNews::Condition found{condition.GetCode(), condition.GetSeverity(),
                                      condition.ReadArguments(), 1};
        const auto [place, is_new] = m_places.emplace(KeyOf(found), m_conditions.size());
        if (is_new) {
            m_conditions.push_back(std::move(found));
        } else {
            ++m_conditions[place->second].count;
        }
    }

  private:
    static std::string KeyOf(const AnalysisNews::Condition& condition) {
        std::string key =
            fmt::format("{} {}", condition.code, static_cast<int>(condition.severity));
        for (const ORQObjConditionArgument& argument : condition.arguments) {
            const std::string value = std::visit(
                [](const auto& number) {
                    if constexpr (std::is_same_v<std::decay_t<decltype(number)>, ORQString>) {
                        return number.UTF8();
                    } else {
                        return fmt::to_string(number);
                    }
                },
                argument);
            // The type and the length stand before each value, so that no two lists of arguments
            // have the same key.
            key += fmt::format(" {} {} {}", argument.index(), value.size(), value);
        }
        return key;
    }

    std::vector<AnalysisNews::Condition>& m_conditions;
    std::unordered_map<std::string, std::size_t> m_places;
};

}  // namespace

std::string AnalysisNews::State() const {
    if (!job) {
        return "none";
    }
    switch (*job) {
        case ORQObjJobStatus::Running:
            // The writer's lock ends with its process, whatever the job recorded last.
            return writer.empty() ? "died" : "running";
        case ORQObjJobStatus::Completed:
            return "completed";
        case ORQObjJobStatus::Failed:
            return "failed";
    }
    return "other";
}

bool AnalysisNews::IsGoingOn() const {
    const bool hasEnded = job == ORQObjJobStatus::Completed || job == ORQObjJobStatus::Failed;
    return !hasEnded && !writer.empty();
}

std::optional<AnalysisNews> AnalysisFollower::Look() {
    auto database = OpenModel(m_path);
    AnalysisNews news;
    news.writer = database.Writer();
    if (news.writer.empty()) {
        // A writer may have committed and ended since the database was opened. Without its last
        // commit, a job that completed would be reported as one that died.
        database.Refresh();
    }
    news.generation = database.Generation();
    const bool hasChanged = m_generation != news.generation;
    news.job = ORQObjReadJobStatus(ORQObjDocument(database));
    // Steps change only by commits, so that a look at the same generation reads none of them.
    if (hasChanged) {
        ReadSteps(database, news);
    }
    m_generation = news.generation;
    if (news.steps.empty() && m_state == news.State()) {
        return std::nullopt;
    }
    m_state = news.State();
    return news;
}

void AnalysisFollower::ReadSteps(const ORQSimDatabase& database, AnalysisNews& news) {
    const ORQObjModel model(ORQObjDocument(database).GetModel());
    const ORQSimVector sequence = model.GetStepSequence();
    for (auto i = sequence.Begin(); i.NotDone(); ++i) {
        const ORQObjStep step(*i);
        AnalysisNews::Step stepNews{step.GetName().UTF8(), {}, {}, {}};
        if (ReadStep(step, m_seen[stepNews.name], stepNews)) {
            news.steps.push_back(std::move(stepNews));
        }
    }
}

bool AnalysisFollower::ReadStep(const ORQObjStep& step, Seen& seen, AnalysisNews::Step& news) {
    const bool isNew = !std::exchange(seen.step, true);
    if (step.GetTimes().Size() > seen.times) {
        news.times = step.ReadTimes();
        news.times.erase(news.times.begin(), news.times.begin() + seen.times);
        seen.times += static_cast<int>(news.times.size());
    }
    std::vector<ORQObjMeshedField> fields = step.GetFieldResults();
    std::ranges::copy(step.GetHistoryFields(), std::back_inserter(fields));
    for (const ORQObjMeshedField& field : fields) {
        const int times = field.GetTimes().Size();
        const int newTimes =
            times - std::exchange(seen.fieldTimes[field.Position().ID().MinorID()], times);
        if (isNew || newTimes > 0) {
            news.fields.push_back({field.GetName().UTF8(), newTimes});
        }
    }
    const ORQSimVector conditions = step.GetConditions();
    Folding folding(news.conditions);
    for (const int size = conditions.Size(); seen.conditions < size; ++seen.conditions) {
        folding.Add(ORQObjCondition(conditions[seen.conditions]));
    }
    return isNew || !news.times.empty() || !news.fields.empty() || !news.conditions.empty();
}

}  // namespace orqmodel
