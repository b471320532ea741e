#include "model/ResultWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "ORQExcModel.h"
#include "ORQObjMesh.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimSchema.h"
#include "model/FieldPlan.h"
#include "model/PointArrays.h"

namespace orq::exchange {
namespace {

constexpr const char* kStep = "Step-1";
constexpr std::int64_t kValuesAtOnce = std::int64_t{1} << 19;  // 4 MB, unless a time has more
constexpr std::int64_t kMostAtOnce = std::int64_t{1} << 22;    // 32 MB of points and layers

using Place = ORQExcResultArray::Place;

ORQSimCSet SetOf(const ORQExcResultArray::Part& part, const ORQSimPosition& members) {
    if (members.IsNull()) {
        return {};
    }
    const ORQSimCollection collection(members.GetCollection());
    return part.members.empty()
               ? ORQSimCSet(collection.CreateTempCSetStrided(part.first, part.count, 1, 1))
               : ORQSimCSet(
                     collection.CreateTempOrderedCSet(part.members.data(), part.NumMembers()));
}

ORQSimPosition MembersOf(Place place, const ORQObjDocument& document) {
    const ORQObjMesh mesh(document.GetMesh());
    return place == Place::Node      ? mesh.GetNodeCollection()
           : place == Place::Element ? mesh.GetElementCollection()
                                     : ORQSimPosition();
}

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

    void WriteField(const FieldPlan& plan) {
        const ORQSimPosition members = MembersOf(plan.place, m_document);
        const ORQObjMeshedField field = AddField(m_document, m_step, plan);
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

    void WritePart(const ORQObjMeshedField& field, const FieldPlan& plan, int number,
                   const ORQSimPosition& members) {
        const ORQExcResultArray::Part& part =
            m_source.Arrays()[static_cast<std::size_t>(plan.arrays.front())]
                .parts[static_cast<std::size_t>(number)];
        const auto perMember = static_cast<std::int64_t>(plan.components.size()) * part.NumSpots();
        const std::int64_t perTime = perMember * part.NumMembers();
        if (part.NumSpots() > 1 && perTime > kMostAtOnce) {
            return WriteLargePart(
                field, plan, number, members,
                static_cast<int>(std::max<std::int64_t>(1, kMostAtOnce / perMember)));
        }
        const ORQObjFieldView view = ViewOf(part, SetOf(part, members));
        const int nAtOnce = static_cast<int>(
            std::max<std::int64_t>(1, kValuesAtOnce / std::max<std::int64_t>(1, perTime)));
        const int nTimes = static_cast<int>(part.times.size());
        std::vector<double> values;
        for (int begin = 0; begin < nTimes; begin += nAtOnce) {
            const int end = begin + std::min(nAtOnce, nTimes - begin);
            values.resize(static_cast<std::size_t>(perTime * (end - begin)));
            ReadComponents(plan, values, [&](int array, std::span<double> to) {
                m_source.ReadResult(array, number, begin, end, to);
            });
            field.WriteView(ORQSimCollection(m_times).CreateTempOrderedCSet(
                                part.times.data() + begin, end - begin),
                            view, values.data());
            m_advance(static_cast<std::int64_t>(values.size()));
        }
    }

    static ORQObjFieldView ViewOf(const ORQExcResultArray::Part& part, const ORQSimCSet& members) {
        return {
            members, {0, part.nLayers - 1}, {0, part.nSectionPoints - 1}, {0, part.nPoints - 1}};
    }

    /// The same for a part of which one time is too much to hold: some members at a time, and time
    /// by time, since some sources open a file for each.
    void WriteLargePart(const ORQObjMeshedField& field, const FieldPlan& plan, int number,
                        const ORQSimPosition& members, int nAtOnce) {
        const ORQExcResultArray::Part& part =
            m_source.Arrays()[static_cast<std::size_t>(plan.arrays.front())]
                .parts[static_cast<std::size_t>(number)];
        for (int time = 0; time < static_cast<int>(part.times.size()); ++time) {
            for (int first = 0; first < part.NumMembers(); first += nAtOnce) {
                WritePiece(field, plan, number, members, time, first,
                           std::min(nAtOnce, part.NumMembers() - first));
            }
        }
    }

    /// Members [first, first + count) of a part at one of its times.
    void WritePiece(const ORQObjMeshedField& field, const FieldPlan& plan, int number,
                    const ORQSimPosition& members, int time, int first, int count) {
        const ORQExcResultArray::Part& part =
            m_source.Arrays()[static_cast<std::size_t>(plan.arrays.front())]
                .parts[static_cast<std::size_t>(number)];
        ORQExcResultArray::Part some = part;
        some.count = count;
        if (part.members.empty()) {
            some.first += first;
        } else {
            some.members.assign(part.members.begin() + first, part.members.begin() + first + count);
        }
        m_piece.resize(plan.components.size() * static_cast<std::size_t>(count) *
                       static_cast<std::size_t>(part.NumSpots()));
        ReadComponents(plan, m_piece, [&](int array, std::span<double> to) {
            m_source.ReadMembers(array, number, time, first, count, to);
        });
        field.WriteView(ORQSimCollection(m_times).CreateTempOrderedCSet(
                            &part.times[static_cast<std::size_t>(time)], 1),
                        ViewOf(part, SetOf(some, members)), m_piece.data());
        m_advance(static_cast<std::int64_t>(m_piece.size()));
    }

    /// Puts the components of the plan's arrays beside each other.
    template <class ReadArray>
    void ReadComponents(const FieldPlan& plan, std::span<double> values,
                        const ReadArray& readArray) {
        if (plan.arrays.size() == 1) {
            return readArray(plan.arrays.front(), values);
        }
        const std::size_t nComponents = plan.arrays.size();
        m_component.resize(values.size() / nComponents);
        for (std::size_t k = 0; k < nComponents; ++k) {
            readArray(plan.arrays[k], std::span(m_component));
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
    std::vector<double> m_piece;
};

}  // namespace

ORQObjMeshedField AddField(const ORQObjDocument& document, const ORQSimPosition& step,
                           const FieldPlan& plan) {
    const ORQObjStepBuilder builder(document);
    const ORQSimPosition type = plan.identifier.empty()
                                    ? builder.UserFieldType(plan.name)
                                    : builder.StandardFieldType(plan.identifier);
    return builder.AddFieldResult(
        step, {plan.name, type, plan.gridType, MembersOf(plan.place, document), plan.components,
               plan.hasLayers, plan.axes, plan.arrayNames});
}

void WriteResults(ORQExcResultSource& source, const ORQObjDocument& document,
                  const ORQExcResultsMap* map, const std::function<void(std::int64_t)>& advance,
                  ORQExcReport& report) {
    const ORQExcModel model(document);
    const ORQSimPosition elements = ORQObjMesh(document.GetMesh()).GetElementCollection();
    const auto shapesOf = [&](const ORQExcResultArray::Part& part) {
        std::vector<const ORQExcShape*> shapes;
        const ORQSimCSet members = SetOf(part, elements);
        for (const ORQExcModel::Block& block : model.Blocks()) {
            if (!block.elements.Intersection(members).IsEmpty()) {
                shapes.push_back(block.shape);
            }
        }
        return shapes;
    };
    PointArrays arrays(source, shapesOf, map, report);
    Writer(arrays, document, advance, report).Write();
}

}  // namespace orq::exchange
