#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <set>

#include "ORQBasFailure.h"
#include "ORQExcResults.h"
#include "ORQObjMesh.h"
#include "ORQObjStep.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "model/ArrayPattern.h"
#include "model/NoValue.h"
#include "model/OrdinalSet.h"

namespace {

using Place = ORQExcResultArray::Place;

Place PlaceOf(const ORQObjMeshedField& field, const ORQSimPosition& nodes) {
    if (!field.HasMembers()) {
        return Place::Model;
    }
    return field.GetMemberCollection() == nodes.GetCollection() ? Place::Node : Place::Element;
}

int Rank(Place place) {
    return place == Place::Model ? 0 : place == Place::Node ? 1 : 2;
}

bool Has(ORQSimIntRange range, int number) {
    return number < 0 || (range.First() <= number && number <= range.Last());
}

bool HasSpot(const ORQObjFieldView& view, const ORQExcSpot& spot) {
    return Has(view.layers, spot.layer) && Has(view.sectionPoints, spot.sectionPoint) &&
           Has(view.points, spot.point);
}

ORQSimIntRange Hull(ORQSimIntRange a, ORQSimIntRange b) {
    return a.IsEmpty() ? b
           : b.IsEmpty()
               ? a
               : ORQSimIntRange(std::min(a.First(), b.First()), std::max(a.Last(), b.Last()));
}

/// Adds what some elements have to views of which each element is in one.
void AddView(ORQObjFieldView added, std::vector<ORQObjFieldView>& views) {
    const auto hasSame = [](const ORQObjFieldView& a, const ORQObjFieldView& b) {
        return a.layers == b.layers && a.points == b.points && a.sectionPoints == b.sectionPoints;
    };
    const auto put = [&](ORQObjFieldView view) {
        const auto known = std::ranges::find_if(
            views, [&](const ORQObjFieldView& other) { return hasSame(other, view); });
        known == views.end()
            ? views.push_back(std::move(view))
            : static_cast<void>(known->members = known->members.Union(view.members));
    };
    std::vector<ORQObjFieldView> joined;
    for (ORQObjFieldView& view : views) {
        if (hasSame(view, added)) {
            continue;
        }
        const ORQSimCSet common = view.members.Intersection(added.members);
        if (!common.IsEmpty()) {
            joined.push_back({common, Hull(view.layers, added.layers),
                              Hull(view.sectionPoints, added.sectionPoints),
                              Hull(view.points, added.points)});
            view.members = view.members - common;
            added.members = added.members - common;
        }
    }
    joined.push_back(std::move(added));
    for (ORQObjFieldView& view : joined) {
        if (!view.members.IsEmpty()) {
            put(std::move(view));
        }
    }
    std::erase_if(views, [](const ORQObjFieldView& view) { return view.members.IsEmpty(); });
}

/// The pattern of a field's array names; that of exports where it brought none, or one that cannot
/// be understood.
orq::exchange::ArrayPattern PatternOf(const ORQExcResults::Field& field) {
    using orq::exchange::ArrayPattern;
    if (!field.arrayNames.empty()) {
        try {
            return ArrayPattern(field.arrayNames);
        } catch (const ORQBasFailure&) {
            // Another program's way to name them: ours does as well.
        }
    }
    return ArrayPattern::Default(field.hasLayers,
                                 !field.hasPoints                                         ? ""
                                 : field.gridType == ORQSimSchema::Field_IntegrationPoint ? "point"
                                 : field.gridType == ORQSimSchema::Field_ElementNodal     ? "node"
                                                                                          : "face");
}

}  // namespace

ORQExcResults::ORQExcResults(const ORQObjDocument& document) : m_document(document) {
    const ORQSimPosition nodes = ORQObjMesh(document.GetMesh()).GetNodeCollection();
    const ORQSimVector sequence = document.GetModel().GetVector(ORQSimSchema::Model_stepSequence);
    for (auto i = sequence.Begin(); i.NotDone(); ++i) {
        const ORQObjStep step(*i);
        const std::size_t place = m_steps.size();
        m_steps.push_back(step.GetName().UTF8());
        const ORQSimCSet times = step.GetTimes();
        const std::vector<double> values = step.ReadTimes();
        for (std::size_t k = 0; k < values.size(); ++k) {
            m_frames.push_back({static_cast<int>(place), times[static_cast<int>(k)], values[k]});
        }
        for (const ORQObjMeshedField& field : step.GetFieldResults()) {
            AddField(place, field, nodes);
        }
        for (const ORQObjMeshedField& field : step.GetHistoryFields()) {
            AddField(place, field, nodes);
        }
    }
    for (Field& field : m_fields) {
        field.ofStep.resize(m_steps.size());
    }
    std::ranges::stable_sort(m_fields, {}, [](const Field& field) { return Rank(field.place); });
}

ORQExcResults ORQExcResults::With(std::vector<Field> fields) const {
    ORQExcResults results = *this;
    results.m_fields = std::move(fields);
    return results;
}

/// Adds a field of a step. Fields of several steps with one name, place and components are one,
/// unless their components stand along other axes or their points are others; two of one step stay
/// apart.
void ORQExcResults::AddField(std::size_t step, const ORQObjMeshedField& stored,
                             const ORQSimPosition& nodes) {
    Field field{PlaceOf(stored, nodes),
                stored.GetName().UTF8(),
                stored.GetIdentifier().UTF8(),
                stored.GetGridType(),
                {},
                {},
                stored.HasPoints(),
                stored.HasLayers(),
                stored.GetAxes(),
                stored.GetArrayNames().UTF8()};
    const ORQSimCSet codes = stored.GetComponents();
    for (int i = 0; i < codes.Size(); ++i) {
        field.components.push_back({codes[i], stored.GetComponentLabel(i).UTF8()});
    }
    auto known = std::ranges::find_if(m_fields, [&](const Field& other) {
        return other.place == field.place && other.name == field.name &&
               other.ofStep.size() <= step && other.hasPoints == field.hasPoints &&
               other.hasLayers == field.hasLayers && other.axes == field.axes &&
               (!field.hasPoints || other.gridType == field.gridType) &&
               std::ranges::equal(other.components, field.components, {}, &Component::label,
                                  &Component::label);
    });
    if (known == m_fields.end()) {
        known = m_fields.insert(known, std::move(field));
    }
    known->ofStep.resize(step);
    known->ofStep.push_back(stored);
}

ORQSimCSet ORQExcResults::MembersOf(const Field& field) const {
    if (field.made != nullptr) {
        return field.made->members;
    }
    ORQSimCSet members;
    for (const ORQObjMeshedField& stored : field.ofStep) {
        for (const ORQObjFieldBlock& block : stored.GetBlocks()) {
            if (HasSpot(block.view, field.spot)) {
                members = members.Union(block.view.members);
            }
        }
    }
    return members;
}

std::vector<ORQObjFieldView> ORQExcResults::ViewsOf(const Field& field) const {
    std::vector<ORQObjFieldView> views;
    for (const ORQObjMeshedField& stored : field.ofStep) {
        for (const ORQObjFieldBlock& block : stored.GetBlocks()) {
            AddView(block.view, views);
        }
    }
    return views;
}

std::vector<ORQObjFieldView> ORQExcResults::ViewsOf(const Field& field, int frame,
                                                    const ORQSimCSet& elements) const {
    const Frame& at = m_frames[static_cast<std::size_t>(frame)];
    std::vector<ORQObjFieldView> views;
    for (ORQObjFieldBlock& block : field.ofStep[static_cast<std::size_t>(at.step)].GetBlocks()) {
        if (block.times.SeekMember(at.member) >= 0) {
            block.view.members = block.view.members.Intersection(elements);
            AddView(std::move(block.view), views);
        }
    }
    return views;
}

std::vector<ORQExcSpot> ORQExcResults::SpotsOf(const Field& field) const {
    if (!field.HasSpots()) {
        return {field.spot};
    }
    std::set<ORQExcSpot> spots;
    const auto forEach = [](ORQSimIntRange range, const auto& act) {
        for (int i = range.First(); i <= range.Last(); ++i) {
            act(i);
        }
        if (range.IsEmpty()) {
            act(-1);
        }
    };
    for (const ORQObjFieldView& view : ViewsOf(field)) {
        forEach(view.layers, [&](int layer) {
            forEach(view.sectionPoints, [&](int sectionPoint) {
                forEach(view.points, [&](int point) {
                    spots.insert({layer, sectionPoint, point});
                });
            });
        });
    }
    return {spots.begin(), spots.end()};
}

ORQExcResults::Field ORQExcResults::AtSpot(const Field& field, const ORQExcSpot& spot) const {
    Field at = field;
    at.spot = spot;
    if (at.IsAtSpot()) {
        const orq::exchange::ArrayPattern pattern = PatternOf(field);
        at.name = pattern.Name(field.name, spot);
        for (Component& component : at.components) {
            component.label = pattern.Name(component.label, spot);
        }
    }
    return at;
}

std::vector<ORQExcResults::Field> ORQExcResults::FieldsAtSpots() const {
    std::vector<Field> fields;
    for (const Field& field : m_fields) {
        for (const ORQExcSpot& spot : SpotsOf(field)) {
            fields.push_back(AtSpot(field, spot));
        }
    }
    return fields;
}

int ORQExcResults::NumTimes(const Field& field) const {
    int count = 0;
    for (const ORQObjMeshedField& stored : field.ofStep) {
        count += stored.GetTimes().Size();
    }
    return count;
}

ORQObjFieldView ORQExcResults::ViewAt(const ORQSimCSet& members, const ORQExcSpot& spot) {
    const auto only = [](int number) {
        return number < 0 ? ORQSimIntRange() : ORQSimIntRange(number, number);
    };
    return {members, only(spot.layer), only(spot.sectionPoint), only(spot.point)};
}

std::int64_t ORQExcResults::ReadView(const Field& field, int frame, const ORQObjFieldView& view,
                                     std::span<double> values) const {
    const Frame& at = m_frames[static_cast<std::size_t>(frame)];
    std::ranges::fill(values, orq::exchange::kNoValue);
    const ORQObjMeshedField& stored = field.ofStep[static_cast<std::size_t>(at.step)];
    return stored.Position().IsNull() ? 0 : stored.ReadView(at.member, view, values.data());
}

std::int64_t ORQExcResults::Read(const Field& field, int frame, const ORQSimCSet& members,
                                 std::span<double> values) const {
    if (field.made != nullptr) {
        return field.made->read(frame, members, values);
    }
    if (field.HasSpots()) {
        return ReadMeans(field, frame, members, values);
    }
    return ReadView(field, frame, ViewAt(members, field.spot), values);
}

std::int64_t ORQExcResults::ReadMeans(const Field& field, int frame, const ORQSimCSet& members,
                                      std::span<double> values) const {
    if (field.hasLayers && field.spot.layer < 0) {
        ORQBasThrowUsage(
            fmt::format("{} has values in layers: one of them has to be named", field.name));
    }
    std::ranges::fill(values, orq::exchange::kNoValue);
    std::int64_t nRead = 0;
    // Some elements at a time, since their points are several times what is answered.
    constexpr int kElementsAtOnce = 4096;
    for (const ORQObjFieldView& view : ViewsOf(field, frame, members)) {
        for (int begin = 0; begin < view.members.Size(); begin += kElementsAtOnce) {
            const int end = std::min(view.members.Size(), begin + kElementsAtOnce);
            nRead += AddMeans(field, frame, orq::exchange::SliceOf(view.members, begin, end),
                              view.points.Last() + 1, members, values);
        }
    }
    return nRead;
}

/// Adds the means of some elements with equal points to the values of all members.
std::int64_t ORQExcResults::AddMeans(const Field& field, int frame, const ORQSimCSet& some,
                                     int nPoints, const ORQSimCSet& members,
                                     std::span<double> values) const {
    const std::size_t nComponents = field.components.size();
    const auto nAtOnce = static_cast<std::size_t>(nPoints);
    std::vector<double> atPoints(static_cast<std::size_t>(some.Size()) * nAtOnce * nComponents);
    ORQObjFieldView view = ViewAt(some, field.spot);
    view.points = {0, nPoints - 1};
    ReadView(field, frame, view, atPoints);
    std::int64_t nRead = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(some.Size()); ++i) {
        const auto to = static_cast<std::size_t>(members.SeekMember(some[static_cast<int>(i)]));
        for (std::size_t k = 0; k < nComponents; ++k) {
            double sum = 0;
            for (std::size_t point = 0; point < nAtOnce; ++point) {
                sum += atPoints[(i * nAtOnce + point) * nComponents + k];
            }
            // A point without a value leaves the mean without one.
            values[to * nComponents + k] = sum / static_cast<double>(nPoints);
            nRead += std::isnan(sum) ? 0 : 1;
        }
    }
    return nRead;
}
