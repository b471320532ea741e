#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcResults.h"
#include "compare/ComparedModels.h"
#include "compare/Pairs.h"
#include "model/OrdinalSet.h"

namespace orq::exchange {
namespace {

using Change = ORQExcDifference::Change;
using Field = ORQExcResults::Field;
using Frame = ORQExcResults::Frame;
using Place = ORQExcResultArray::Place;

struct Step {
    std::string name;
    int number;
    std::vector<int> frames;  // places in ORQExcResults::Frames()
};

std::vector<Step> StepsOf(const ORQExcResults& results) {
    std::vector<Step> steps;
    for (const std::string& name : results.Steps()) {
        steps.push_back({name, static_cast<int>(steps.size()) + 1, {}});
    }
    for (std::size_t i = 0; i < results.Frames().size(); ++i) {
        steps[static_cast<std::size_t>(results.Frames()[i].step)].frames.push_back(
            static_cast<int>(i));
    }
    return steps;
}

/// A field under its name and place: fields of nodes and of elements may share a name.
struct NamedField {
    std::string name;
    int number;
    const Field* field;
};

/// The fields must outlive the names.
std::vector<NamedField> NamedFields(const std::vector<Field>& all) {
    std::vector<NamedField> fields;
    for (const Field& field : all) {
        fields.push_back(
            {fmt::format("{} ({})", field.name, ORQExcFieldKind(field.place)), 0, &field});
    }
    return fields;
}

/// The largest difference of a field at one time.
struct Largest {
    std::int64_t count = 0;  // values that differ
    double amount = 0;
    double before = 0;
    double after = 0;
    int member = 0;
    std::size_t component = 0;

    /// Enters a pair of values. A value that only one model has differs without an amount.
    void Take(double a, double b, int of, std::size_t at) {
        const double difference = std::isnan(b - a) ? 0 : std::abs(b - a);
        if (count++ == 0 || difference > amount) {
            amount = difference;
            before = a;
            after = b;
            member = of;
            component = at;
        }
    }
};

/// Up to rounding, whatever the tolerance of values: a wide one would pair neighbouring times.
bool AreSameTime(double a, double b) {
    // Times go through texts of 15 digits and sums of increments in files.
    constexpr double kRounding = 1e-12;
    return std::abs(a - b) <= kRounding * std::max(std::abs(a), std::abs(b));
}

class ResultComparison {
  public:
    explicit ResultComparison(ComparedModels& models)
        : m_models(models), m_before(models.before.Document()), m_after(models.after.Document()) {}

    void Compare() {
        // The values of fields are compared at the times that CompareSteps pairs.
        CompareSteps();
        // Values at points and in layers are compared one place at a time.
        const std::vector<Field> allBefore = m_before.FieldsAtSpots();
        const std::vector<Field> allAfter = m_after.FieldsAtSpots();
        const std::vector<NamedField> before = NamedFields(allBefore);
        const std::vector<NamedField> after = NamedFields(allAfter);
        for (const auto& [from, to] : ComparePairs(DifferenceKind::Field, PointersTo(before),
                                                   PointersTo(after), m_models.differences)) {
            CompareField(from->name, *from->field, *to->field);
        }
    }

  private:
    /// Pairs the times of steps that both models have.
    void CompareSteps() {
        const std::vector<Step> before = StepsOf(m_before);
        const std::vector<Step> after = StepsOf(m_after);
        for (const auto& [from, to] : ComparePairs(DifferenceKind::Step, PointersTo(before),
                                                   PointersTo(after), m_models.differences)) {
            PairFrames(*from, *to);
        }
    }

    /// Pairs the times of a step. They ascend, so one pass over both finds the equal ones.
    void PairFrames(const Step& from, const Step& to) {
        std::int64_t nRemoved = 0;
        std::int64_t nAdded = 0;
        auto a = from.frames.begin();
        auto b = to.frames.begin();
        while (a != from.frames.end() || b != to.frames.end()) {
            const bool hasBoth = a != from.frames.end() && b != to.frames.end();
            if (hasBoth && AreSameTime(TimeBefore(*a), TimeAfter(*b))) {
                m_frames.emplace_back(*a++, *b++);
            } else if (b == to.frames.end() || (hasBoth && TimeBefore(*a) < TimeAfter(*b))) {
                ++nRemoved;
                ++a;
            } else {
                ++nAdded;
                ++b;
            }
        }
        AddCount(DifferenceKind::Step, from.name, "times removed", nRemoved);
        AddCount(DifferenceKind::Step, from.name, "times added", nAdded);
    }

    double TimeBefore(int frame) const {
        return m_before.Frames()[static_cast<std::size_t>(frame)].time;
    }
    double TimeAfter(int frame) const {
        return m_after.Frames()[static_cast<std::size_t>(frame)].time;
    }

    void CompareField(const std::string& name, const Field& from, const Field& to) {
        m_models.differences.Compare(DifferenceKind::Field, name, "components", LabelsOf(from),
                                     LabelsOf(to));
        const std::vector<Matching::Pairs> chunks = CompareMembers(name, from, to);
        for (const auto& [frameBefore, frameAfter] : m_frames) {
            Largest largest;
            for (const Matching::Pairs& some : chunks) {
                CompareValues(from, frameBefore, to, frameAfter, some, largest);
            }
            if (largest.count > 0) {
                AddLargest(name, from, frameBefore, largest);
            }
        }
    }

    static std::string LabelsOf(const Field& field) {
        std::string labels;
        for (const ORQExcResults::Component& component : field.components) {
            labels += (labels.empty() ? "" : ", ") + component.label;
        }
        return labels;
    }

    Matching& MatchingOf(const Field& field) {
        return field.place == Place::Node ? m_models.nodes : m_models.elements;
    }

    /// Reports how many of the common members have values in one model only, and returns the others
    /// in chunks, which bound the memory of a comparison.
    std::vector<Matching::Pairs> CompareMembers(const std::string& name, const Field& from,
                                                const Field& to) {
        if (from.place == Place::Model) {
            return {{{0}, {0}}};
        }
        const ORQSimCSet before = m_before.MembersOf(from);
        const ORQSimCSet after = m_after.MembersOf(to);
        const Matching& matching = MatchingOf(from);
        std::vector<Matching::Pairs> chunks;
        std::int64_t nRemoved = 0;
        std::int64_t nCommon = 0;
        for (ORQSimCSetIterator member(before); !member.IsDone(); member.Next()) {
            const int image = matching.ImageOf(member.CurrentValue());
            if (image == Matching::kNone) {
                continue;
            }
            if (after.SeekMember(image) < 0) {
                ++nRemoved;
                continue;
            }
            if (nCommon++ % ComparedModels::kChunk == 0) {
                chunks.emplace_back();
            }
            chunks.back().before.push_back(member.CurrentValue());
            chunks.back().after.push_back(image);
        }
        // Members that are new are differences of the mesh already.
        const auto nNew = std::ranges::count_if(
            matching.Added(), [&](int ordinal) { return after.SeekMember(ordinal) >= 0; });
        AddCount(DifferenceKind::Field, name, "members removed", nRemoved);
        AddCount(DifferenceKind::Field, name, "members added", after.Size() - nNew - nCommon);
        return chunks;
    }

    std::vector<double> Read(const ORQExcResults& results, const Field& field, int frame,
                             const ORQExcModel& model, const std::vector<int>& members) const {
        const ORQSimCSet all = field.place == Place::Node ? model.Nodes() : model.Elements();
        std::vector<double> values(members.size() * field.components.size());
        results.Read(field, frame,
                     field.place == Place::Model
                         ? ORQSimCSet()
                         : OrdinalSet(ORQSimCollection(all.CollectionID()), members),
                     values);
        return values;
    }

    /// Compares the components that both fields have.
    void CompareValues(const Field& from, int frameBefore, const Field& to, int frameAfter,
                       const Matching::Pairs& pairs, Largest& largest) const {
        const std::vector<double> before =
            Read(m_before, from, frameBefore, m_models.before, pairs.before);
        const std::vector<double> after =
            Read(m_after, to, frameAfter, m_models.after, pairs.after);
        for (std::size_t component = 0; component < from.components.size(); ++component) {
            const auto same = std::ranges::find(to.components, from.components[component].label,
                                                &ORQExcResults::Component::label);
            if (same == to.components.end()) {
                continue;
            }
            const auto other = static_cast<std::size_t>(same - to.components.begin());
            for (std::size_t i = 0; i < pairs.before.size(); ++i) {
                const double a = before[i * from.components.size() + component];
                const double b = after[i * to.components.size() + other];
                if (!m_models.differences.AreEqual(a, b)) {
                    largest.Take(a, b, pairs.before[i], component);
                }
            }
        }
    }

    void AddLargest(const std::string& name, const Field& field, int frame,
                    const Largest& largest) {
        const Frame& at = m_before.Frames()[static_cast<std::size_t>(frame)];
        ORQExcDifference& difference =
            m_models.differences.Add(DifferenceKind::Field, Change::Changed, name);
        difference.what = "values";
        difference.at =
            fmt::format("{} at time {} of {}", field.components[largest.component].label, at.time,
                        m_before.Steps()[static_cast<std::size_t>(at.step)]);
        difference.amount = largest.amount;
        difference.before = NumberText(largest.before);
        difference.after = NumberText(largest.after);
        difference.count = largest.count;
        if (field.place != Place::Model) {
            difference.members.push_back(MatchingOf(field).Before(largest.member));
            difference.members.back().amount = largest.amount;
        }
    }

    void AddCount(DifferenceKind kind, const std::string& name, const char* what,
                  std::int64_t count) {
        if (count > 0) {
            ORQExcDifference& difference = m_models.differences.Add(kind, Change::Changed, name);
            difference.what = what;
            difference.count = count;
        }
    }

    ComparedModels& m_models;
    ORQExcResults m_before;
    ORQExcResults m_after;
    std::vector<std::pair<int, int>> m_frames;  // that both models have
};

}  // namespace

void CompareResults(ComparedModels& models) {
    ResultComparison(models).Compare();
}

}  // namespace orq::exchange
