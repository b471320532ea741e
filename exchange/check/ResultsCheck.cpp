#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>
#include <utility>

#include "ORQExcCheck.h"
#include "ORQExcResults.h"
#include "ORQSimCollection.h"
#include "check/Checks.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

constexpr double kRounding = 1e-9;  // of the largest value

constexpr int kMembersAtOnce = 1 << 16;  // members at a time; bounds the memory

const ORQExcRule kNotFiniteResult = {.id = "FLD001",
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

const ORQExcRule kJump = {.id = "FLD002",
                          .level = ORQExcLevel::Note,
                          .title = "result that jumps between two times of a step",
                          .meaning = "the largest value grows many times from one time to the next",
                          .breaks = "likely the analysis lost its balance there",
                          .mending = "look at the time before it; nothing, at an impact",
                          .limit = 1000.0,
                          .limitOf = "times the largest value of the time before"};
const ORQExcRule kLarge = {
    .id = "FLD003",
    .level = ORQExcLevel::Note,
    .title = "displacement larger than the model",
    .meaning = "a node moves farther than the model is large",
    .breaks = "a part is not held, or units do not agree",
    .mending = "hold the part; nothing, for mode shapes, which have any size",
    .limit = 1.0,
    .limitOf = "diagonals of the model"};

/// Results that are called displacements: "displacement", "DISPL_X", "disp", "U".
bool IsDisplacement(std::string name) {
    std::ranges::transform(name, name.begin(), [](unsigned char letter) {
        return static_cast<char>(std::tolower(letter));
    });
    return name.starts_with("disp") || name == "u";
}

class ResultsRun : public ORQExcCheckRun {
  public:
    explicit ResultsRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const ORQExcResults results(m_model.Document());
        if (m_model.IsWanted(kTimes.id)) {
            CheckTimes(results, findings);
        }
        const auto isWanted = [&](const ORQExcRule& rule) { return m_model.IsWanted(rule.id); };
        if (isWanted(kNotFiniteResult) || isWanted(kJump) || isWanted(kLarge)) {
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
        Extreme last;  // of the frame before
        bool hasJump = false;
        bool isLarge = false;
        for (std::size_t frame = 0; frame < results.Frames().size(); ++frame) {
            std::vector<int> wrong;
            Extreme largest;
            for (int begin = 0; begin < all.Size(); begin += kMembersAtOnce) {
                AddNotFinite(results, field, static_cast<int>(frame), all, begin, wrong, largest);
            }
            // The first of a kind is told: what follows is more of the same.
            if (!hasJump && IsJump(results, static_cast<int>(frame), last, largest)) {
                hasJump = true;
                AddExtreme(kJump, results, field, static_cast<int>(frame), PlaceOf(all), largest,
                           fmt::format("reaches {:.3g} at time {:.9g}, after {:.3g}", largest.value,
                                       results.Frames()[frame].time, last.value),
                           findings);
            }
            if (!isLarge && field.place == Place::Node && IsDisplacement(field.name) &&
                largest.value > m_model.Limit(kLarge) * m_model.Diagonal()) {
                isLarge = true;
                AddExtreme(
                    kLarge, results, field, static_cast<int>(frame), PlaceOf(all), largest,
                    fmt::format("reaches {:.3g} at time {:.9g}; the model measures {:.3g}",
                                largest.value, results.Frames()[frame].time, m_model.Diagonal()),
                    findings);
            }
            last = largest;
            if (!wrong.empty()) {
                const auto& at = results.Frames()[frame];
                findings.push_back(
                    {.rule = kNotFiniteResult.id,
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

    /// The value of the largest size, and who has it.
    struct Extreme {
        double value = 0;
        int member = -1;
    };

    bool IsJump(const ORQExcResults& results, int frame, const Extreme& last,
                const Extreme& largest) const {
        const auto& frames = results.Frames();
        const auto at = static_cast<std::size_t>(frame);
        // What was nothing but rounding did not jump, it began.
        return frame > 0 && frames[at].step == frames[at - 1].step &&
               last.value > kRounding * largest.value &&
               largest.value > m_model.Limit(kJump) * last.value;
    }

    static void AddExtreme(const ORQExcRule& rule, const ORQExcResults& results,
                           const ORQExcResults::Field& field, int frame, ORQExcFinding::Place place,
                           const Extreme& extreme, std::string message,
                           std::vector<ORQExcFinding>& findings) {
        const int step = results.Frames()[static_cast<std::size_t>(frame)].step;
        findings.push_back(
            {.rule = rule.id,
             .object = fmt::format("step \"{}\", field \"{}\"",
                                   results.Steps()[static_cast<std::size_t>(step)], field.name),
             .message = std::move(message),
             .place = place});
        if (place != ORQExcFinding::Place::Model) {
            findings.back().members = {extreme.member};
        }
    }

    static void AddNotFinite(const ORQExcResults& results, const ORQExcResults::Field& field,
                             int frame, const ORQSimCSet& all, int begin, std::vector<int>& wrong,
                             Extreme& largest) {
        std::vector<int> members;
        for (int i = begin; i < std::min(begin + kMembersAtOnce, all.Size()); ++i) {
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
            if (std::abs(values[i]) > largest.value && std::isfinite(values[i])) {
                largest = {std::abs(values[i]), member};
            }
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
    return {{kNotFiniteResult, kTimes, kJump, kLarge}, BeginRun<ResultsRun>};
}

}  // namespace orq::exchange
