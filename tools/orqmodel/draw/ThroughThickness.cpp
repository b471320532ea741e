#include "draw/ThroughThickness.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "ORQBasFailure.h"
#include "ORQExcShellValues.h"
#include "ORQExcTexts.h"
#include "ORQSimCollection.h"
#include "draw/FieldValues.h"
#include "draw/LayerStack.h"
#include "queries/LabelLookup.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;

[[noreturn]] void ThrowNoElement(const ORQExcModel& model, const ThroughOptions& options) {
    int below = 0;
    int above = std::numeric_limits<int>::max();
    for (const int label : model.ElementLabels()) {
        below = label < options.element ? std::max(below, label) : below;
        above = label > options.element ? std::min(above, label) : above;
    }
    std::string near;
    if (below > 0) {
        near = std::to_string(below);
    }
    if (above < std::numeric_limits<int>::max()) {
        near += fmt::format("{}{}", near.empty() ? "" : " and ", above);
    }
    ORQBasThrowUsage(fmt::format("--through {}: no element{} has the label{}", options.element,
                                 options.instance.empty() ? "" : " of " + options.instance,
                                 near.empty() ? "" : "; the nearest are " + near));
}

int ElementOf(const ORQExcModel& model, const ThroughOptions& options) {
    const auto found = FindLabelled(model.Document(), ORQObjLabelerType::Element, options.element,
                                    options.instance);
    if (!found) {
        ThrowNoElement(model, options);
    }
    return found->ordinal;
}

/// Sets the section with its layers, and their heights.
void ReadLayers(const ORQExcModel& model, int element, ThroughThickness& through) {
    const ORQExcSections sections(model.Document());
    const ORQExcSections::Section* const section = sections.GoverningSection(element);
    const ORQExcSections::Stack stack =
        section == nullptr ? ORQExcSections::Stack() : sections.ReadAt(*section, element);
    if (stack.layers.empty()) {
        ORQBasThrowUsage(
            fmt::format("--through {}: the element has no section with layers", through.element));
    }
    const auto total = stack.Total();
    if (!total || !(total->high > 0)) {
        ORQBasThrowUsage(
            fmt::format("--through {}: how thick the layers of section {} are is not "
                        "known",
                        through.element, ORQExcPrintable(section->name)));
    }
    through.section = section->name;
    through.layers = stack.layers;
    const double offset =
        ORQExcShellValuesOf(model, ORQExcShellValue::Offset)[static_cast<std::size_t>(element)];
    through.isFromNodes = !std::isnan(offset);
    through.middle = through.isFromNodes ? offset : 0;
    through.borders = {through.middle - total->high / 2};
    for (const ORQExcSections::Layer& layer : stack.layers) {
        through.borders.push_back(through.borders.back() + MeanOf(layer.thickness));
    }
}

/// Reads the values at the section points of a layer of an element; none where the field has none
/// there.
std::vector<ThroughThickness::Value> ReadLayer(const ORQExcResults& results, const Field& field,
                                               int frame, const ORQObjFieldView& view, int layer,
                                               const Quantity& quantity, double bottom,
                                               double top) {
    std::vector<ThroughThickness::Value> values;
    if (layer < view.layers.First() || layer > view.layers.Last()) {
        return values;
    }
    const int last = view.sectionPoints.Last();
    for (int point = 0; point <= last; ++point) {
        std::vector<double> components(field.components.size());
        results.Read(results.AtSpot(field, {layer, point, field.spot.point}), frame, view.members,
                     components);
        const double part = last == 0 ? 0.5 : static_cast<double>(point) / last;
        values.push_back({bottom + part * (top - bottom), quantity.of(components)});
    }
    return values;
}

/// The time, from 1, at which the values are taken.
int TimeOf(const ORQExcResults& results, const Field& field, const ThroughOptions& options) {
    const std::vector<int> times = TimesOf(results, field);
    const auto nTimes = static_cast<int>(results.Frames().size());
    if (options.time > nTimes) {
        ORQBasThrowUsage(fmt::format("--step {}: the model has {} times", options.time, nTimes));
    }
    if (times.empty()) {
        ORQBasThrowUsage(fmt::format("--field {}: it has no values", options.field));
    }
    return options.time > 0 ? options.time : times.back();
}

}  // namespace

ThroughThickness ReadThrough(const ORQExcModel& model, const ORQExcResults& results,
                             const ThroughOptions& options) {
    ThroughThickness through{};
    through.element = options.element;
    Field field = FindShownField(results, options.field);
    const Quantity quantity = QuantityOf(field, options.field, options.component);
    if (!field.hasLayers || field.IsAtSpot()) {
        ORQBasThrowUsage(
            fmt::format("--field {}: it has no values in layers to draw through the "
                        "thickness",
                        options.field));
    }
    const int element = ElementOf(model, options);
    ReadLayers(model, element, through);

    const int time = TimeOf(results, field, options);
    const ORQSimCSet one = ORQSimCollection(model.Elements().CollectionID())
                               .CreateVolatileCSetStrided(element, 1, 1, 1);
    const std::vector<ORQObjFieldView> views = results.ViewsOf(field, time - 1, one);
    if (views.empty()) {
        ORQBasThrowUsage(fmt::format("--through {}: {} has no values in the element at step {}",
                                     options.element, field.name, time));
    }
    const ORQObjFieldView& view = views.front();
    if (view.layers.Last() >= std::ssize(through.layers)) {
        ORQBasThrowUsage(
            fmt::format("--through {}: {} has {} layers in the element, and its section {} has {}",
                        options.element, field.name, view.layers.Last() + 1,
                        ORQExcPrintable(through.section), through.layers.size()));
    }
    through.quantity = quantity.name;
    if (!options.point.empty()) {
        if (!field.hasPoints) {
            ORQBasThrowUsage(
                fmt::format("--point {}: {} has no points", options.point, field.name));
        }
        field.spot.point = PlaceFrom("--point", options.point);
        if (field.spot.point > view.points.Last()) {
            ORQBasThrowUsage(fmt::format("--point {}: the element has {} points of {}",
                                         options.point, view.points.Last() + 1, field.name));
        }
        through.quantity += ", point " + options.point;
    }
    through.time = TimeText(results, time);
    for (std::size_t layer = 0; layer < through.layers.size(); ++layer) {
        through.values.push_back(ReadLayer(results, field, time - 1, view, static_cast<int>(layer),
                                           quantity, through.borders[layer],
                                           through.borders[layer + 1]));
    }
    return through;
}

}  // namespace orqmodel
