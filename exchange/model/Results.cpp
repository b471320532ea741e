#include <algorithm>
#include <limits>

#include "ORQExcResults.h"
#include "ORQObjMesh.h"
#include "ORQObjStep.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"

namespace {

using Place = ORQExcResultArray::Place;

Place PlaceOf(const ORQObjMeshedField& field, const ORQSimPosition& nodes) {
    if (!field.HasMembers()) {
        return Place::Model;
    }
    const ORQSimGrid grid = ORQSimDistribution(field.GetDistribution()).Grid();
    return grid.Collection(1) == nodes.GetCollection() ? Place::Node : Place::Element;
}

int Rank(Place place) {
    return place == Place::Model ? 0 : place == Place::Node ? 1 : 2;
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

/// Adds a field of a step. Fields of several steps with one name, place and components are one; two
/// of one step stay apart.
void ORQExcResults::AddField(std::size_t step, const ORQObjMeshedField& stored,
                             const ORQSimPosition& nodes) {
    Field field{PlaceOf(stored, nodes),
                stored.GetName().UTF8(),
                stored.GetIdentifier().UTF8(),
                stored.GetGridType(),
                {},
                {}};
    const ORQSimCSet codes = stored.GetComponents();
    for (int i = 0; i < codes.Size(); ++i) {
        field.components.push_back({codes[i], stored.GetComponentLabel(i).UTF8()});
    }
    auto known = std::ranges::find_if(m_fields, [&](const Field& other) {
        return other.place == field.place && other.name == field.name &&
               other.ofStep.size() <= step &&
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
    ORQSimCSet members;
    for (const ORQObjMeshedField& stored : field.ofStep) {
        if (stored.Position().IsNull() || !stored.HasMembers()) {
            continue;
        }
        for (const auto& drawer : ORQSimDistribution(stored.GetDistribution()).QueryDrawers()) {
            members = members.Union(drawer.CSet(1));
        }
    }
    return members;
}

int ORQExcResults::NumTimes(const Field& field) const {
    int count = 0;
    for (const ORQObjMeshedField& stored : field.ofStep) {
        count += stored.GetTimes().Size();
    }
    return count;
}

std::int64_t ORQExcResults::Read(const Field& field, int frame, const ORQSimCSet& members,
                                 std::span<double> values) const {
    const Frame& at = m_frames[static_cast<std::size_t>(frame)];
    std::ranges::fill(values, std::numeric_limits<double>::quiet_NaN());
    const ORQObjMeshedField& stored = field.ofStep[static_cast<std::size_t>(at.step)];
    return stored.Position().IsNull() ? 0 : stored.Read(at.member, members, values.data());
}
