#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "ORQExcCheck.h"
#include "ORQExcResults.h"
#include "ORQSimCollection.h"
#include "check/Checks.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

constexpr int kSlice = 1 << 16;  // members at a time; bounds the memory

const ORQExcRule kNotFinite = {.id = "FLD001",
                               .level = ORQExcLevel::Error,
                               .title = "result that is not finite",
                               .meaning = "a value is infinite or no number",
                               .breaks = "extremes and averages over it mean nothing",
                               .mending = "find out where the analysis diverged"};
const ORQExcRule kTimes = {.id = "STP001",
                           .level = ORQExcLevel::Error,
                           .title = "times of a step that do not rise",
                           .meaning = "a time is not later than the one before it",
                           .breaks = "values cannot be placed between times",
                           .mending = "write the step again with its times in order"};

class ResultsRun : public ORQExcCheckRun {
  public:
    explicit ResultsRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const ORQExcResults results(m_model.Document());
        if (m_model.IsWanted(kTimes.id)) {
            CheckTimes(results, findings);
        }
        if (m_model.IsWanted(kNotFinite.id)) {
            for (const ORQExcResults::Field& field : results.FieldsAtSpots()) {
                CheckValues(results, field, findings);
            }
        }
    }

  private:
    static void CheckTimes(const ORQExcResults& results, std::vector<ORQExcFinding>& findings) {
        const auto& frames = results.Frames();
        int last = -1;  // the step that was told
        for (std::size_t i = 1; i < frames.size(); ++i) {
            if (frames[i].step == frames[i - 1].step && frames[i].step != last &&
                !(frames[i].time > frames[i - 1].time)) {
                last = frames[i].step;
                findings.push_back(
                    {.rule = kTimes.id,
                     .object = fmt::format("step \"{}\"",
                                           results.Steps()[static_cast<std::size_t>(last)]),
                     .message = fmt::format("time {:.9g} comes after {:.9g}", frames[i].time,
                                            frames[i - 1].time)});
            }
        }
    }

    void CheckValues(const ORQExcResults& results, const ORQExcResults::Field& field,
                     std::vector<ORQExcFinding>& findings) const {
        using Place = ORQExcResultArray::Place;
        if (field.place == Place::Model) {
            return;  // one number a time is plain to see
        }
        const ORQSimCSet all = results.MembersOf(field);
        for (std::size_t frame = 0; frame < results.Frames().size(); ++frame) {
            std::vector<int> wrong;
            for (int begin = 0; begin < all.Size(); begin += kSlice) {
                AddNotFinite(results, field, static_cast<int>(frame), all, begin, wrong);
            }
            if (!wrong.empty()) {
                const auto& at = results.Frames()[frame];
                findings.push_back(
                    {.rule = kNotFinite.id,
                     .object = fmt::format("step \"{}\", field \"{}\"",
                                           results.Steps()[static_cast<std::size_t>(at.step)],
                                           field.name),
                     .message = fmt::format("values at time {:.9g} are not finite", at.time),
                     .place = PlaceOf(all),
                     .members = std::move(wrong)});
                if (findings.back().place == ORQExcFinding::Place::Model) {
                    findings.back().members.clear();
                }
                return;  // what follows a divergence is more of the same
            }
        }
    }

    /// Values may stand at members of other collections, which are no nodes and no elements.
    ORQExcFinding::Place PlaceOf(const ORQSimCSet& members) const {
        const ORQExcModel& model = m_model.Model();
        return members.CollectionID() == model.Nodes().CollectionID() ? ORQExcFinding::Place::Node
               : members.CollectionID() == model.Elements().CollectionID()
                   ? ORQExcFinding::Place::Element
                   : ORQExcFinding::Place::Model;
    }

    static void AddNotFinite(const ORQExcResults& results, const ORQExcResults::Field& field,
                             int frame, const ORQSimCSet& all, int begin, std::vector<int>& wrong) {
        std::vector<int> members;
        for (int i = begin; i < std::min(begin + kSlice, all.Size()); ++i) {
            members.push_back(all[i]);
        }
        const std::size_t nComponents = field.components.size();
        std::vector<double> values(members.size() * nComponents);
        const std::int64_t nStored = results.Read(
            field, frame, OrdinalSet(ORQSimCollection(all.CollectionID()), members), values);
        // What has no value reads as no number, so only the numbers of both tell a stored one.
        const auto nNaN = std::ranges::count_if(values, [](double v) { return std::isnan(v); });
        const bool hasStoredNaN = nNaN > static_cast<std::int64_t>(values.size()) - nStored;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const int member = members[i / nComponents];
            if ((std::isinf(values[i]) || (hasStoredNaN && std::isnan(values[i]))) &&
                (wrong.empty() || wrong.back() != member)) {
                wrong.push_back(member);
            }
        }
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck ResultsCheck() {
    return {{kNotFinite, kTimes}, BeginRun<ResultsRun>};
}

}  // namespace orq::exchange
