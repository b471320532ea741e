#include "model/ResultWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimSchema.h"
#include "model/FieldPlan.h"

namespace orq::exchange {
namespace {

constexpr const char* kStep = "Step-1";
constexpr std::int64_t kValuesAtOnce = std::int64_t{1} << 19;  // 4 MB, unless a time has more

using Place = ORQExcResultArray::Place;

class Writer {
  public:
    Writer(ORQExcResultSource& source, const ORQObjDocument& document,
           const std::function<void(std::int64_t)>& advance, ORQExcReport& report)
        : m_source(source),
          m_document(document),
          m_advance(advance),
          m_report(report),
          m_builder(document) {}

    void Write() {
        m_report.Append(m_source.ResultLosses());
        const std::vector<double>& times = m_source.Times();
        if (times.empty() && m_source.Arrays().empty()) {
            return;
        }
        m_step = m_builder.AddStep(kStep, ORQSimSchema::Step_General);
        m_times = ORQSimCSet(m_builder.AddTimes(m_step, times)).CollectionID();
        m_report.Keep("times", "", static_cast<std::int64_t>(times.size()));
        NoteTimesThatDoNotRise();
        for (const FieldPlan& plan : PlanFields(m_source.Arrays())) {
            WriteField(plan);
        }
    }

  private:
    void NoteTimesThatDoNotRise() {
        const std::vector<double>& times = m_source.Times();
        for (std::size_t i = 1; i < times.size(); ++i) {
            if (times[i] <= times[i - 1]) {
                m_report.Note(
                    "time", fmt::format("{}", i + 1), 1,
                    fmt::format("{} does not rise above the {} before it", times[i], times[i - 1]));
            }
        }
    }

    ORQSimPosition MembersOf(Place place) const {
        const ORQObjMesh mesh(m_document.GetMesh());
        return place == Place::Node      ? mesh.GetNodeCollection()
               : place == Place::Element ? mesh.GetElementCollection()
                                         : ORQSimPosition();
    }

    void WriteField(const FieldPlan& plan) {
        const ORQSimPosition type = plan.identifier.empty()
                                        ? m_builder.UserFieldType(plan.name)
                                        : m_builder.StandardFieldType(plan.identifier);
        const ORQSimPosition members = MembersOf(plan.place);
        const ORQObjMeshedField field = m_builder.AddFieldResult(
            m_step, {plan.name, type, plan.gridType, members, plan.components});
        const auto& parts = m_source.Arrays()[static_cast<std::size_t>(plan.arrays.front())].parts;
        for (std::size_t part = 0; part < parts.size(); ++part) {
            WritePart(field, plan, static_cast<int>(part), members);
        }
        m_report.Keep(ORQExcFieldKind(plan.place), plan.name,
                      static_cast<std::int64_t>(plan.components.size()));
        if (parts.empty()) {
            m_report.Note(ORQExcFieldKind(plan.place), plan.name, 1, "it has no values");
        }
    }

    static ORQSimCSet SetOf(const ORQExcResultArray::Part& part, const ORQSimPosition& members) {
        if (members.IsNull()) {
            return {};
        }
        const ORQSimCollection collection(members.GetCollection());
        return part.members.empty()
                   ? ORQSimCSet(collection.CreateTempCSetStrided(part.first, part.count, 1, 1))
                   : ORQSimCSet(
                         collection.CreateTempOrderedCSet(part.members.data(), part.NumMembers()));
    }

    void WritePart(const ORQObjMeshedField& field, const FieldPlan& plan, int number,
                   const ORQSimPosition& members) {
        const ORQExcResultArray::Part& part =
            m_source.Arrays()[static_cast<std::size_t>(plan.arrays.front())]
                .parts[static_cast<std::size_t>(number)];
        const ORQSimCSet set = SetOf(part, members);
        const auto perTime = static_cast<std::int64_t>(plan.components.size()) * part.NumMembers();
        const int nAtOnce = static_cast<int>(
            std::max<std::int64_t>(1, kValuesAtOnce / std::max<std::int64_t>(1, perTime)));
        const int nTimes = static_cast<int>(part.times.size());
        std::vector<double> values;
        for (int begin = 0; begin < nTimes; begin += nAtOnce) {
            const int end = begin + std::min(nAtOnce, nTimes - begin);
            values.resize(static_cast<std::size_t>(perTime * (end - begin)));
            ReadComponents(plan, number, begin, end, values);
            field.Write(ORQSimCollection(m_times).CreateTempOrderedCSet(part.times.data() + begin,
                                                                        end - begin),
                        set, values.data());
            m_advance(static_cast<std::int64_t>(values.size()));
        }
    }

    /// Puts the components of the plan's arrays beside each other.
    void ReadComponents(const FieldPlan& plan, int part, int begin, int end,
                        std::span<double> values) {
        if (plan.arrays.size() == 1) {
            m_source.ReadResult(plan.arrays.front(), part, begin, end, values);
            return;
        }
        const std::size_t nComponents = plan.arrays.size();
        m_component.resize(values.size() / nComponents);
        for (std::size_t k = 0; k < nComponents; ++k) {
            m_source.ReadResult(plan.arrays[k], part, begin, end, m_component);
            for (std::size_t i = 0; i < m_component.size(); ++i) {
                values[i * nComponents + k] = m_component[i];
            }
        }
    }

    ORQExcResultSource& m_source;
    ORQObjDocument m_document;
    const std::function<void(std::int64_t)>& m_advance;
    ORQExcReport& m_report;
    ORQObjStepBuilder m_builder;
    ORQSimPosition m_step;
    ORQSimCollectionID m_times;
    std::vector<double> m_component;
};

}  // namespace

void WriteResults(ORQExcResultSource& source, const ORQObjDocument& document,
                  const std::function<void(std::int64_t)>& advance, ORQExcReport& report) {
    Writer(source, document, advance, report).Write();
}

}  // namespace orq::exchange
