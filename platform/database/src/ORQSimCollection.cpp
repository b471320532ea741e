#include "ORQSimCollection.h"

#include <algorithm>
#include <string>
#include <vector>

#include "ComponentSet.h"
#include "DatabaseState.h"
#include "Links.h"
#include "ORQBasFailure.h"
#include "ORQSimPosition.h"

using orq::database::ComponentSet;
using orq::database::ComponentSetPtr;
using orq::database::DatabaseState;
using orq::database::IsObject;
using orq::storage::Index;
using orq::storage::MemberRow;

namespace {

std::vector<int> Copy(const int* members, int count) {
    if (count < 0) {
        ORQBasThrowUsage("a set cannot have " + std::to_string(count) + " members");
    }
    return {members, members + count};
}

void CheckNotNegative(int lowest) {
    if (lowest < 0) {
        ORQBasThrowUsage("a set cannot have member " + std::to_string(lowest));
    }
}

ComponentSetPtr Plain(const int* members, int count) {
    ComponentSetPtr set = ComponentSet::FromMembers(Copy(members, count));
    CheckNotNegative(set->IsEmpty() ? 0 : set->Lowest());
    return set;
}

ComponentSetPtr Ordered(const int* members, int count) {
    return ComponentSet::FromOrdered(Copy(members, count));
}

ComponentSetPtr Strided(int first, int count, int stride, int block) {
    CheckNotNegative(count > 0 ? first : 0);
    return ComponentSet::Strided(first, count, stride, block);
}

ORQSimCSetID Store(const ORQSimCollectionID& id, const ComponentSetPtr& members) {
    return DatabaseState::Writing(id).Sets().Store(id, members);
}

ORQSimCSetID KeepForNow(const ORQSimCollectionID& id, const ComponentSetPtr& members) {
    DatabaseState* state = DatabaseState::Reading(id);
    if (state == nullptr) {
        ORQBasThrowUsage("a set needs a collection");
    }
    return state->Sets().Temps().FindOrAdd(id, members);
}

// A set names the object of its collection, and a drawer that of its distribution: as a member it
// would stand for the wrong object.
void CheckCanBeMember(const DatabaseState& state, const ORQSimPosition& object) {
    if (object.IsNull()) {
        ORQBasThrowUsage("a member must be an object; this one is null");
    }
    if (!IsObject(object.ID())) {
        ORQBasThrowUsage(
            "sets, drawers and types are no objects and cannot be members; given was "
            "one of object " +
            std::to_string(object.ID().MinorID()));
    }
    state.CheckStorable(object.ID());
}

}  // namespace

int ORQSimCollection::Space() const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    return state == nullptr ? 0 : state->Objects().Space(m_id);
}

void ORQSimCollection::ExtendSpace(int space) {
    DatabaseState& state = DatabaseState::Writing(m_id);
    if (space > state.Objects().Space(m_id)) {
        state.Objects().SetSpace(m_id, space);
    }
}

ORQSimCSetID ORQSimCollection::CreateCSet(const int* members, int count, bool) {
    return Store(m_id, Plain(members, count));
}
ORQSimCSetID ORQSimCollection::CreateOrderedCSet(const int* members, int count) {
    return Store(m_id, Ordered(members, count));
}
ORQSimCSetID ORQSimCollection::CreateCSetStrided(int first, int count, int stride, int block) {
    return Store(m_id, Strided(first, count, stride, block));
}

ORQSimCSetID ORQSimCollection::CreateTempCSet(const int* members, int count, bool) const {
    return KeepForNow(m_id, Plain(members, count));
}
ORQSimCSetID ORQSimCollection::CreateTempOrderedCSet(const int* members, int count) const {
    return KeepForNow(m_id, Ordered(members, count));
}
ORQSimCSetID ORQSimCollection::CreateTempCSetStrided(int first, int count, int stride,
                                                     int block) const {
    return KeepForNow(m_id, Strided(first, count, stride, block));
}

ORQSimCSet ORQSimCollection::CreateVolatileCSet(const int* members, int count, bool) const {
    return {m_id, {}, Plain(members, count)};
}
ORQSimCSet ORQSimCollection::CreateVolatileOrderedCSet(const int* members, int count) const {
    return {m_id, {}, Ordered(members, count)};
}
ORQSimCSet ORQSimCollection::CreateVolatileCSetStrided(int first, int count, int stride,
                                                       int block) const {
    return {m_id, {}, Strided(first, count, stride, block)};
}

ORQSimCSetID ORQSimCollection::SeekCSet(const ORQSimCSet& set, bool sameOrder) const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return {};
    }
    const auto seek = [&](const ComponentSetPtr& members) {
        const ORQSimCSetID stored = state->Sets().FindStored(m_id, members);
        return stored.IsNull() ? state->Sets().Temps().Find(m_id, members) : stored;
    };
    const ORQSimCSetID same = seek(set.Payload());
    return same.IsNull() && !sameOrder ? seek(ComponentSet::Ascending(set.Payload())) : same;
}

ORQSimCSetID ORQSimCollection::EmptyCSetID() const {
    return m_id.IsNull() ? ORQSimCSetID()
                         : ORQSimCSetID(m_id.ContextID(), m_id.MinorID(), m_id.TypeID(), 0);
}

int ORQSimCollection::AddMember(const ORQSimPosition& object) {
    CheckCanBeMember(DatabaseState::Writing(m_id), object);
    const int member = Space();
    ExtendSpace(member + 1);
    SetMember(member, object);
    return member;
}

void ORQSimCollection::SetMember(int member, const ORQSimPosition& object) {
    DatabaseState& state = DatabaseState::Writing(m_id);
    if (member < 0 || member >= Space()) {
        ORQBasThrowUsage("member " + std::to_string(member) + " is outside the space of " +
                         std::to_string(Space()) + " members");
    }
    CheckCanBeMember(state, object);
    if (!state.Rows().InsertNew(MemberRow{m_id.MinorID(), member, object.ID().MinorID()})) {
        ORQBasThrowUsage("member " + std::to_string(member) + " is another object already");
    }
}

ORQSimPosition ORQSimCollection::GetMember(int member) const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<MemberRow>(m_id.MinorID(), member);
    return row.Next() ? ORQSimPosition(state->Objects().Find(row->object)) : ORQSimPosition();
}

int ORQSimCollection::MemberIndex(const ORQSimPosition& object) const {
    DatabaseState* state = DatabaseState::Reading(m_id);
    if (state == nullptr || object.IsNull() || !IsObject(object.ID()) ||
        object.ID().ContextID() != m_id.ContextID()) {
        return -1;
    }
    auto row = state->Rows().FindBy<Index::MemberByObject>(object.ID().MinorID(), m_id.MinorID());
    return row.Next() ? row->member : -1;
}
