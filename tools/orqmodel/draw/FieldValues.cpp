#include "draw/FieldValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <limits>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "queries/Invariants.h"
#include "queries/RowSource.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;
using Place = ORQExcResultArray::Place;

Quantity QuantityOf(const Field& field, const std::string& label) {
    const auto component =
        std::ranges::find(field.components, label, &ORQExcResults::Component::label);
    if (component != field.components.end()) {
        const auto place = static_cast<std::size_t>(component - field.components.begin());
        return {label, [place](std::span<const double> values) { return values[place]; }};
    }
    if (field.components.size() == 1) {
        return {field.name, [](std::span<const double> values) { return values[0]; }};
    }
    if (IsVector(field)) {
        return {field.name + " magnitude", Magnitude};
    }
    if (const auto tensor = TensorOf::Components(field)) {
        return {field.name + " von Mises", [tensor = *tensor](std::span<const double> values) {
                    return VonMises(tensor(values));
                }};
    }
    std::string components;
    for (const ORQExcResults::Component& each : field.components) {
        components += (components.empty() ? "" : ", ") + each.label;
    }
    ORQBasThrowUsage(
        fmt::format("--field {}: it has several components; name one of {}", label, components));
}

const Field& FindField(const ORQExcResults& results, const std::string& label) {
    std::vector<std::string> known;
    for (const Field& field : results.Fields()) {
        const bool isIt =
            field.name == label ||
            std::ranges::count(field.components, label, &ORQExcResults::Component::label) != 0;
        if (isIt && field.place == Place::Model) {
            ORQBasThrowUsage(fmt::format(
                "--field {}: is of the whole model; nothing can be coloured by it", label));
        }
        if (isIt) {
            return field;
        }
        if (field.place != Place::Model) {
            known.push_back(field.name);
        }
    }
    ORQBasThrowUsage(fmt::format("--field {}: the model has no such results{}", label,
                                 ORQExcNearNames(label, known)));
}

}  // namespace

ShownField::ShownField(const ORQExcModel& model, const ORQExcResults& results,
                       const std::string& label)
    : m_model(model),
      m_results(results),
      m_label(label),
      m_field(FindField(results, label)),
      m_quantity(QuantityOf(m_field, label)) {}

FieldValues ShownField::At(int time) const {
    const ORQSimCSet members = m_field.place == Place::Node ? m_model.Nodes() : m_model.Elements();
    const std::size_t nComponents = m_field.components.size();
    std::vector<double> components(static_cast<std::size_t>(members.Size()) * nComponents);
    if (m_results.Read(m_field, time - 1, members, components) == 0) {
        ORQBasThrowUsage(fmt::format("--field {}: it has no values at step {}", m_label, time));
    }
    FieldValues shown{m_field.place == Place::Node, {}, m_quantity.name, TimeText(m_results, time)};
    for (std::size_t i = 0; i < components.size(); i += nComponents) {
        shown.values.push_back(m_quantity.of(std::span(components).subspan(i, nComponents)));
    }
    return shown;
}

std::vector<int> TimesOf(const ORQExcResults& results, const ORQExcResults::Field& field) {
    std::vector<ORQSimCSet> timesOfStep;
    for (const ORQObjMeshedField& stored : field.ofStep) {
        // A step may lack the field.
        timesOfStep.push_back(stored.Position().IsNull() ? ORQSimCSet() : stored.GetTimes());
    }
    std::vector<int> times;
    for (std::size_t i = 0; i < results.Frames().size(); ++i) {
        const ORQExcResults::Frame& frame = results.Frames()[i];
        if (timesOfStep[static_cast<std::size_t>(frame.step)].SeekMember(frame.member) >= 0) {
            times.push_back(static_cast<int>(i) + 1);
        }
    }
    return times;
}

std::string TimeText(const ORQExcResults& results, int time) {
    const ORQExcResults::Frame& at = results.Frames()[static_cast<std::size_t>(time - 1)];
    const std::string text =
        fmt::format("time {:.6g}, {} of {}", at.time, time, results.Frames().size());
    return results.Steps().size() > 1
               ? fmt::format("{}, {}", results.Steps()[static_cast<std::size_t>(at.step)], text)
               : text;
}

FieldValues MeasuresOf(const ORQExcModel& model, const std::string& measure) {
    FieldValues shown{false,
                      std::vector<double>(static_cast<std::size_t>(model.NumElements()),
                                          std::numeric_limits<double>::quiet_NaN()),
                      measure, ""};
    const std::unique_ptr<RowSource> rows = MeasureRows(model, model.Elements(), measure);
    for (RowBlock block; rows->Next(block);) {
        std::size_t row = 0;
        for (ORQSimCSetIterator i(block.members); !i.IsDone(); i.Next()) {
            shown.values[static_cast<std::size_t>(i.CurrentValue())] = block.values[row++];
        }
    }
    return shown;
}

}  // namespace orqmodel
