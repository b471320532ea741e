#include "ORQSimCSet.h"

#include <utility>

#include "ComponentSet.h"
#include "DatabaseState.h"
#include "ORQBasFailure.h"
#include "ORQSimPosition.h"
#include "omi_BlkBitVect.h"

using orq::database::ComponentSet;
using orq::database::ComponentSetPtr;
using orq::database::DatabaseState;

namespace {

ComponentSetPtr MembersOf(const ORQSimCSetID& id) {
    DatabaseState* state = DatabaseState::Reading(id);
    return state == nullptr ? ComponentSet::Empty() : state->Sets().Members(id);
}

ComponentSetPtr AllMembers(const ORQSimCollectionID& collection) {
    DatabaseState* state = DatabaseState::Reading(collection);
    return state == nullptr ? ComponentSet::Empty()
                            : ComponentSet::Contiguous(0, state->Objects().Space(collection));
}

}  // namespace

ORQSimCSet::ORQSimCSet() : m_members(ComponentSet::Empty()) {}

ORQSimCSet::ORQSimCSet(const ORQSimCSetID& id)
    : m_collection(id.CollectionID()), m_id(id), m_members(MembersOf(id)) {}

ORQSimCSet::ORQSimCSet(const ORQSimCollectionID& collection)
    : m_collection(collection), m_members(AllMembers(collection)) {}

ORQSimCSet::ORQSimCSet(const ORQSimPosition& position)
    : ORQSimCSet(position.GetCollection().IsNull() ? ORQSimCSet(ORQSimCSetID(position.ID()))
                                                   : ORQSimCSet(position.GetCollection())) {}

ORQSimCSet::ORQSimCSet(const ORQSimCollectionID& collection, const ORQSimCSetID& id,
                       ComponentSetPtr members)
    : m_collection(collection), m_id(id), m_members(std::move(members)) {}

int ORQSimCSet::Size() const {
    return m_members->Size();
}
bool ORQSimCSet::IsAscending() const {
    return m_members->IsAscending();
}
ORQSimPosition ORQSimCSet::Pos() const {
    return m_id;
}

ORQSimCSetID ORQSimCSet::AscendingID() const {
    if (IsAscending() && !m_id.IsNull()) {
        return m_id;
    }
    return ORQSimCSet(m_collection, {}, ComponentSet::Ascending(m_members))
        .RegisterWithTempCollection();
}

int ORQSimCSet::operator[](int location) const {
    if (location < 0 || location >= Size()) {
        ORQBasThrowUsage("location " + std::to_string(location) + " is outside a set of " +
                         std::to_string(Size()) + " members");
    }
    return m_members->At(location);
}

int ORQSimCSet::SeekMember(int member) const {
    return m_members->Seek(member);
}

void ORQSimCSet::Members(int* out) const {
    ComponentSet::Ascending(m_members)->CopyMembers(out);
}
void ORQSimCSet::OrderedMembers(int* out) const {
    m_members->CopyMembers(out);
}

void ORQSimCSet::AsBitVector(omi_BlkBitVect& bits) const {
    if (!IsEmpty() && m_members->Lowest() < 0) {
        ORQBasThrowUsage("a bit vector cannot hold member " + std::to_string(m_members->Lowest()));
    }
    bits.Clear();
    m_members->ForEachRun([&](int, int first, int count) { bits.SetRange(first, count); });
}

ORQSimIntRange ORQSimCSet::Bounds() const {
    return IsEmpty() ? ORQSimIntRange() : ORQSimIntRange(m_members->Lowest(), m_members->Highest());
}

bool ORQSimCSet::SameMembers(const ORQSimCSet& other) const {
    if (Size() != other.Size()) {
        return false;
    }
    return IsEmpty() ||
           (m_collection == other.m_collection && ComponentSet::Ascending(m_members)->SameSequence(
                                                      *ComponentSet::Ascending(other.m_members)));
}

ORQSimCSet ORQSimCSet::Combined(const ORQSimCSet& other, ComponentSetPtr members) const {
    return {m_collection.IsNull() ? other.m_collection : m_collection, {}, std::move(members)};
}

namespace {

void CheckSameCollection(const ORQSimCSet& a, const ORQSimCSet& b) {
    if (!a.CollectionID().IsNull() && !b.CollectionID().IsNull() &&
        a.CollectionID() != b.CollectionID()) {
        ORQBasThrowUsage("sets of collections " + std::to_string(a.CollectionID().MinorID()) +
                         " and " + std::to_string(b.CollectionID().MinorID()) +
                         " cannot be combined");
    }
}

}  // namespace

ORQSimCSet ORQSimCSet::Union(const ORQSimCSet& other) const {
    CheckSameCollection(*this, other);
    return Combined(other, ComponentSet::Union(m_members, other.m_members));
}

ORQSimCSet ORQSimCSet::Intersection(const ORQSimCSet& other) const {
    CheckSameCollection(*this, other);
    return Combined(other, ComponentSet::Intersection(m_members, other.m_members));
}

ORQSimCSet ORQSimCSet::operator-(const ORQSimCSet& other) const {
    CheckSameCollection(*this, other);
    return Combined(other, ComponentSet::Difference(m_members, other.m_members));
}

ORQSimCSetID ORQSimCSet::RegisterWithCollection() const {
    if (m_collection.IsNull()) {
        return m_id;
    }
    DatabaseState& state = DatabaseState::Existing(m_collection);
    state.CheckStorable(m_id);
    if (m_id.Index() >= 0) {
        return m_id;
    }
    const ORQSimCSetID known = state.Sets().FindStored(m_collection, m_members);
    return known.IsNull()
               ? DatabaseState::Writing(m_collection).Sets().Store(m_collection, m_members)
               : known;
}

ORQSimCSetID ORQSimCSet::RegisterWithTempCollection() const {
    DatabaseState* state = DatabaseState::Reading(m_collection);
    return state == nullptr ? ORQSimCSetID()
                            : state->Sets().Temps().FindOrAdd(m_collection, m_members);
}

ORQSimCSetIterator::ORQSimCSetIterator(const ORQSimCSet& set)
    : m_members(set.Payload()), m_size(set.Size()) {}

int ORQSimCSetIterator::CurrentValue() const {
    return m_members->At(m_location);
}
