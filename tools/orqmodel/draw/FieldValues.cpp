#include "draw/FieldValues.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcElementValues.h"
#include "ORQExcNearNames.h"
#include "queries/Invariants.h"
#include "queries/RowSource.h"

namespace orqmodel {
namespace {

using Field = ORQExcResults::Field;
using Place = ORQExcResultArray::Place;

std::string ComponentsOf(const Field& field) {
    std::string components;
    for (const ORQExcResults::Component& each : field.components) {
        components += (components.empty() ? "" : ", ") + each.label;
    }
    return components;
}

/// Values by node, of values of one group.
FieldValues WithoutSides(FieldValues shown, int nNodes) {
    std::vector<double> byNode(static_cast<std::size_t>(nNodes),
                               std::numeric_limits<double>::quiet_NaN());
    for (std::size_t row = 0; row < shown.values.size(); ++row) {
        byNode[static_cast<std::size_t>(shown.sides->nodes[row])] = shown.values[row];
    }
    shown.values = std::move(byNode);
    shown.sides = nullptr;
    return shown;
}

}  // namespace

int FieldValues::RowOf(int element, int node) const {
    if (sides == nullptr) {
        // Points behind the nodes are those of an outline.
        const int row = isNodal ? node : element;
        return row < static_cast<int>(values.size()) ? row : -1;
    }
    const int group = element < 0 ? -1 : sides->groupOf[static_cast<std::size_t>(element)];
    if (group < 0) {
        return -1;
    }
    const auto at = [&](int place) {
        return sides->nodes.begin() +
               static_cast<std::ptrdiff_t>(sides->begin[static_cast<std::size_t>(place)]);
    };
    const auto found = std::lower_bound(at(group), at(group + 1), node);
    return found == at(group + 1) || *found != node
               ? -1
               : static_cast<int>(found - sides->nodes.begin());
}

Quantity QuantityOf(const Field& field, const std::string& label, const std::string& component) {
    const std::string& wanted = component.empty() ? label : component;
    const auto found =
        std::ranges::find(field.components, wanted, &ORQExcResults::Component::label);
    if (found != field.components.end()) {
        const auto place = static_cast<std::size_t>(found - field.components.begin());
        return {wanted, [place](std::span<const double> values) { return values[place]; }};
    }
    if (!component.empty()) {
        ORQBasThrowUsage(
            fmt::format("--component {}: {} has {}", component, field.name, ComponentsOf(field)));
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
    ORQBasThrowUsage(fmt::format("--field {}: it has several components; name one of {}", label,
                                 ComponentsOf(field)));
}

Field FindShownField(const ORQExcResults& results, const std::string& label) {
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
    // The name that a file gives to one point or layer.
    for (const Field& field : results.FieldsAtSpots()) {
        if (std::ranges::count(field.components, label, &ORQExcResults::Component::label) != 0) {
            return field;
        }
    }
    ORQBasThrowUsage(fmt::format("--field {}: the model has no such results{}", label,
                                 ORQExcNearNames(label, known)));
}

ShownField::ShownField(const ORQExcModel& model, const ORQExcResults& results,
                       const std::string& label, const ShownPlace& place)
    : m_model(model),
      m_results(results),
      m_label(label),
      m_field(FindShownField(results, label)),
      m_quantity(QuantityOf(m_field, label, place.component)) {
    ChoosePlace(place);
}

void ShownField::ChooseNodes(const ShownPlace& place) {
    m_isAtNodes = place.at == "nodes";
    m_acrossBorders = place.acrossBorders;
    if (!m_isAtNodes) {
        return;
    }
    if (m_field.place != Place::Element || m_field.IsAtSpot()) {
        ORQBasThrowUsage(
            fmt::format("--field {}: it has no values of whole elements to carry to "
                        "nodes",
                        m_label));
    }
    if (place.isExtreme || !place.point.empty()) {
        ORQBasThrowUsage("--at nodes: takes the values of all points of each element");
    }
    m_quantity.name += ", at nodes";
}

void ShownField::ChoosePlace(const ShownPlace& place) {
    ChooseNodes(place);
    const bool namesLayer = !place.layer.empty() || !place.sectionPoint.empty();
    const bool namesPlace = namesLayer || !place.point.empty();
    if (!m_field.HasSpots()) {
        if (namesPlace || place.isExtreme) {
            ORQBasThrowUsage(fmt::format(
                "--field {}: it has no values within elements to choose from", m_label));
        }
        return;
    }
    m_isExtreme = place.isExtreme;
    if (m_isExtreme) {
        if (namesPlace) {
            ORQBasThrowUsage("--extreme: looks at all places, so none can be named");
        }
        m_quantity.name += ", of the largest magnitude";
        return;
    }
    // "all" names no one layer.
    if (m_field.hasLayers &&
        (place.layer == "all" || place.layer.empty() || place.sectionPoint.empty())) {
        ORQBasThrowUsage(fmt::format(
            "--field {}: it has values in layers; --layer and --section-point name one, "
            "--extreme takes the largest",
            m_label));
    }
    PlaceOptions wanted;
    wanted.layer = place.layer;
    wanted.sectionPoint = place.sectionPoint;
    m_places = FindPlaces(m_model, m_results, m_field, m_model.Elements(), wanted);
    if (namesLayer) {
        m_quantity.name +=
            fmt::format(", layer {}, section point {}", place.layer, place.sectionPoint);
    }
    if (!place.point.empty()) {
        m_point = PlaceFrom("--point", place.point);
        std::erase_if(m_places, [&](const ElementPlace& one) { return one.nPoints <= m_point; });
        if (m_places.empty()) {
            ORQBasThrowUsage(fmt::format("--point {}: no element has so many points of {}",
                                         place.point, m_field.name));
        }
        m_quantity.name += ", point " + place.point;
    }
}

/// Reads some members into the values of all; returns how many were read.
std::int64_t ShownField::Read(int time, const Field& field, const ORQSimCSet& members,
                              std::vector<double>& values) const {
    const std::size_t nComponents = field.components.size();
    std::vector<double> components(static_cast<std::size_t>(members.Size()) * nComponents);
    const std::int64_t nRead = m_results.Read(field, time - 1, members, components);
    std::size_t at = 0;
    for (ORQSimCSetIterator i(members); !i.IsDone(); i.Next(), at += nComponents) {
        values[static_cast<std::size_t>(i.CurrentValue())] =
            m_quantity.of(std::span(components).subspan(at, nComponents));
    }
    return nRead;
}

std::vector<double> ShownField::ValuesAt(int time) const {
    const ORQSimCSet all = IsNodal() ? m_model.Nodes() : m_model.Elements();
    std::vector<double> values(static_cast<std::size_t>(all.Size()),
                               std::numeric_limits<double>::quiet_NaN());
    std::int64_t nRead = 0;
    if (m_isExtreme) {
        const auto worst =
            ORQExcElementValues(m_model, m_results, m_field).WorstOf(time - 1, all, m_quantity.of);
        std::ranges::transform(worst, values.begin(), &ORQExcElementValues::Worst::value);
        nRead = std::ranges::count_if(values, [](double value) { return !std::isnan(value); });
    } else if (!m_field.HasSpots()) {
        nRead = Read(time, m_field, all, values);
    }
    for (const ElementPlace& place : m_places) {
        nRead += Read(time, m_results.AtSpot(m_field, {place.layer, place.sectionPoint, m_point}),
                      place.members, values);
    }
    if (nRead == 0) {
        ORQBasThrowUsage(fmt::format("--field {}: it has no values at step {}", m_label, time));
    }
    return values;
}

/// The elements at each layer and section point that was chosen: of some sections the top one has
/// another number.
std::map<std::pair<int, int>, ORQSimCSet> ShownField::MembersByLayer() const {
    if (!m_field.hasLayers) {
        return {{{-1, -1}, m_results.MembersOf(m_field)}};
    }
    std::map<std::pair<int, int>, ORQSimCSet> membersOf;
    for (const ElementPlace& place : m_places) {
        ORQSimCSet& members = membersOf[{place.layer, place.sectionPoint}];
        members = members.Union(place.members);
    }
    return membersOf;
}

/// Values at nodes, averaged within each block and section unless borders are crossed.
FieldValues ShownField::AtNodes(int time) const {
    FieldValues shown{true, {}, m_quantity.name, TimeText(m_results, time)};
    FieldValues::Sides sides{
        std::vector<int>(static_cast<std::size_t>(m_model.NumElements()), -1), {0}, {}};
    const ORQExcElementValues within(m_model, m_results, m_field);
    const std::size_t nComponents = m_field.components.size();
    for (const auto& [layer, members] : MembersByLayer()) {
        for (const auto& group : within.GroupsOf(members, m_acrossBorders)) {
            const ORQExcElementValues::AtNodes at =
                within.ReadNodes(time - 1, group.elements, layer.first, layer.second);
            for (ORQSimCSetIterator i(group.elements); !i.IsDone(); i.Next()) {
                sides.groupOf[static_cast<std::size_t>(i.CurrentValue())] =
                    static_cast<int>(sides.begin.size()) - 1;
            }
            sides.nodes.insert(sides.nodes.end(), at.nodes.begin(), at.nodes.end());
            sides.begin.push_back(sides.nodes.size());
            for (std::size_t row = 0; row < at.nodes.size(); ++row) {
                shown.values.push_back(
                    m_quantity.of(std::span(at.values).subspan(row * nComponents, nComponents)));
            }
        }
    }
    if (shown.values.empty()) {
        ORQBasThrowUsage(
            fmt::format("--field {}: it has no values at nodes at step {}", m_label, time));
    }
    shown.sides = std::make_shared<const FieldValues::Sides>(std::move(sides));
    return shown.sides->begin.size() > 2 ? shown : WithoutSides(shown, m_model.NumNodes());
}

FieldValues ShownField::At(int time) const {
    if (m_isAtNodes) {
        return AtNodes(time);
    }
    return {IsNodal(), ValuesAt(time), m_quantity.name, TimeText(m_results, time)};
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
