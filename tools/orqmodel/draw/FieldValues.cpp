#include "draw/FieldValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>

#include "ORQBasFailure.h"
#include "ORQExcNearNames.h"
#include "queries/Invariants.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;
using Place = ORQExcResultArray::Place;

/// What is made of the components of a member.
struct Quantity {
    std::string name;
    std::function<double(std::span<const double>)> of;
};

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

FieldValues FieldValuesAt(const ORQExcModel& model, const ORQExcResults& results,
                          const std::string& label, int number) {
    const Field& field = FindField(results, label);
    const Quantity quantity = QuantityOf(field, label);
    const int nFrames = static_cast<int>(results.Frames().size());
    if (number > nFrames) {
        ORQBasThrowUsage(fmt::format("--step {}: the model has {} times", number, nFrames));
    }
    const bool isNodal = field.place == Place::Node;
    const ORQSimCSet members = isNodal ? model.Nodes() : model.Elements();
    const std::size_t nComponents = field.components.size();
    std::vector<double> values(static_cast<std::size_t>(members.Size()) * nComponents);
    int frame = number > 0 ? number - 1 : nFrames - 1;
    while (frame >= 0 && results.Read(field, frame, members, values) == 0) {
        frame = number > 0 ? -1 : frame - 1;
    }
    if (frame < 0) {
        ORQBasThrowUsage(fmt::format("--field {}: it has no values{}", label,
                                     number > 0 ? fmt::format(" at step {}", number) : ""));
    }
    FieldValues shown{isNodal, {}, quantity.name, ""};
    for (std::size_t i = 0; i < values.size(); i += nComponents) {
        shown.values.push_back(quantity.of(std::span(values).subspan(i, nComponents)));
    }
    const ORQExcResults::Frame& at = results.Frames()[static_cast<std::size_t>(frame)];
    shown.time = fmt::format("time {:.6g}, {} of {}", at.time, frame + 1, nFrames);
    if (results.Steps().size() > 1) {
        shown.time =
            fmt::format("{}, {}", results.Steps()[static_cast<std::size_t>(at.step)], shown.time);
    }
    return shown;
}

}  // namespace orqmodel
