#include "ORQSimLinks.h"

#include <algorithm>
#include <utility>

#include "Links.h"
#include "ORQBasFailure.h"
#include "ORQSimSchema.h"

using orq::database::DatabaseState;
using orq::database::LinkList;
using orq::database::ObjectTable;
using orq::database::ReadingLinks;
using orq::database::ReadLinks;
using orq::database::StorableTarget;
using orq::database::WritingLinks;
using orq::storage::MapEntryRow;
using orq::storage::SetEntryRow;
using orq::storage::Table;
using orq::storage::VectorEntryRow;

namespace orq::database {

bool IsObject(const ORQSimDynamicID& id) {
    return id.Category() != ORQSimCategoryCSet && id.Category() != ORQSimCategoryDrawer &&
           id.Category() != ORQSimCategoryType;
}

DatabaseState* ReadingLinks(const ORQSimPosition& object) {
    return IsObject(object.ID()) ? DatabaseState::Reading(object.ID()) : nullptr;
}

DatabaseState& WritingLinks(const ORQSimPosition& object, int slot) {
    if (object.IsNull()) {
        ORQBasThrowUsage("a null object cannot hold the link " + ORQSimSchema::NameOf(slot));
    }
    DatabaseState& state = DatabaseState::Writing(object.ID());
    if (!IsObject(object.ID())) {
        ORQBasThrowUsage("sets, drawers and types hold no links");
    }
    return state;
}

ORQSimDynamicID StorableTarget(DatabaseState& state, const ORQSimPosition& target) {
    if (target.IsNull() || target.ID().Category() == ORQSimCategoryType) {
        ORQBasThrowUsage("a link needs an object to lead to");
    }
    state.CheckStorable(target.ID());
    return target.ID().Category() == ORQSimCategoryCSet
               ? ORQSimDynamicID(state.Sets().Persistent(ORQSimCSetID(target.ID())))
               : target.ID();
}

}  // namespace orq::database

namespace {

// Of all links of one kind under a slot; of a null object there are none.
template <class Link>
ORQSimLinkIterator BeginOf(const ORQSimPosition& object, int slot) {
    const auto links = std::make_shared<LinkList>();
    if (DatabaseState* state = ReadingLinks(object); state != nullptr) {
        ReadLinks<Link>(*state, object, slot, *links);
    }
    return ORQSimLinkIterator(links);
}

}  // namespace

ORQSimLinkIterator::ORQSimLinkIterator(std::shared_ptr<const LinkList> links)
    : m_links(std::move(links)) {
    ++*this;
}

ORQSimLinkIterator& ORQSimLinkIterator::operator++() {
    m_isDone = !m_links->Next(m_place);
    return *this;
}

// --- Map -----------------------------------------------------------------------------------------

int ORQSimMap::Size() const {
    DatabaseState* state = ReadingLinks(m_object);
    return state == nullptr ? 0
                            : static_cast<int>(state->Rows().Count(
                                  Table::MapEntry, m_object.ID().MinorID(), m_slot));
}

ORQSimPosition ORQSimMap::Find(const ORQString& name) const {
    DatabaseState* state = ReadingLinks(m_object);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<MapEntryRow>(m_object.ID().MinorID(), m_slot,
                                               std::string_view(name.UTF8()));
    return row.Next() ? ORQSimPosition(state->Objects().IdentityOf(row->target)) : ORQSimPosition();
}

ORQSimLinkIterator ORQSimMap::Begin() const {
    return BeginOf<MapEntryRow>(m_object, m_slot);
}

bool ORQSimMap::Insert(const ORQString& name, const ORQSimPosition& target) const {
    DatabaseState& state = WritingLinks(m_object, m_slot);
    const ORQSimDynamicID id = StorableTarget(state, target);
    return state.Rows().InsertNew(
        MapEntryRow{m_object.ID().MinorID(), m_slot, name.UTF8(), ObjectTable::TargetOf(id)});
}

bool ORQSimMap::Remove(const ORQString& name) const {
    return WritingLinks(m_object, m_slot)
               .Rows()
               .Erase(Table::MapEntry, m_object.ID().MinorID(), m_slot,
                      std::string_view(name.UTF8())) > 0;
}

// --- Vector --------------------------------------------------------------------------------------

int ORQSimVector::Size() const {
    DatabaseState* state = ReadingLinks(m_object);
    if (state == nullptr) {
        return 0;
    }
    // The next place follows the last one and not the number of rows: recovery may leave gaps, and
    // the entries behind them keep their places.
    auto last = state->Rows().FindLast<VectorEntryRow>(m_object.ID().MinorID(), m_slot);
    return last.Next() ? last->key + 1 : 0;
}

ORQSimPosition ORQSimVector::operator[](int place) const {
    DatabaseState* state = ReadingLinks(m_object);
    if (state == nullptr) {
        return {};
    }
    auto row = state->Rows().Find<VectorEntryRow>(m_object.ID().MinorID(), m_slot, place);
    return row.Next() ? ORQSimPosition(state->Objects().IdentityOf(row->target)) : ORQSimPosition();
}

ORQSimLinkIterator ORQSimVector::Begin() const {
    return BeginOf<VectorEntryRow>(m_object, m_slot);
}

void ORQSimVector::PushBack(const ORQSimPosition& target) const {
    DatabaseState& state = WritingLinks(m_object, m_slot);
    const ORQSimDynamicID id = StorableTarget(state, target);
    state.Rows().Insert(
        VectorEntryRow{m_object.ID().MinorID(), m_slot, Size(), ObjectTable::TargetOf(id)});
}

void ORQSimVector::Truncate(int size) const {
    DatabaseState& state = WritingLinks(m_object, m_slot);
    for (int place = Size() - 1; place >= size && place >= 0; --place) {
        state.Rows().Erase(Table::VectorEntry, m_object.ID().MinorID(), m_slot, place);
    }
}

// --- Set -----------------------------------------------------------------------------------------

int ORQSimSet::Size() const {
    if (!IsStored()) {
        return static_cast<int>(m_own.size());
    }
    DatabaseState* state = ReadingLinks(m_object);
    return state == nullptr ? 0
                            : static_cast<int>(state->Rows().Count(
                                  Table::SetEntry, m_object.ID().MinorID(), m_slot));
}

bool ORQSimSet::Empty() const {
    if (!IsStored()) {
        return m_own.empty();
    }
    DatabaseState* state = ReadingLinks(m_object);
    return state == nullptr || !state->Rows().Has<SetEntryRow>(m_object.ID().MinorID(), m_slot);
}

bool ORQSimSet::IsMember(const ORQSimPosition& target) const {
    if (!IsStored()) {
        return std::ranges::binary_search(m_own, target);
    }
    DatabaseState* state = ReadingLinks(m_object);
    if (state == nullptr || target.IsNull()) {
        return false;
    }
    const ORQSimDynamicID& id = target.ID();
    return state->Rows().Has<SetEntryRow>(m_object.ID().MinorID(), m_slot, id.MinorID(),
                                          id.Category(), id.TypeID().Index(), id.Index());
}

ORQSimLinkIterator ORQSimSet::Begin() const {
    if (IsStored()) {
        return BeginOf<SetEntryRow>(m_object, m_slot);
    }
    const auto links = std::make_shared<LinkList>();
    for (const ORQSimPosition& position : m_own) {
        links->Add({}, position);
    }
    return ORQSimLinkIterator(links);
}

void ORQSimSet::Insert(const ORQSimPosition& target) {
    if (IsStored()) {
        DatabaseState& state = WritingLinks(m_object, m_slot);
        const ORQSimDynamicID id = StorableTarget(state, target);
        state.Rows().InsertNew(
            SetEntryRow{m_object.ID().MinorID(), m_slot, ObjectTable::TargetOf(id)});
        return;
    }
    if (target.IsNull() && !m_allowsNull) {
        return;
    }
    const auto place = std::ranges::lower_bound(m_own, target);
    if (place == m_own.end() || *place != target) {
        m_own.insert(place, target);
    }
}

void ORQSimSet::Remove(const ORQSimPosition& target) {
    if (IsStored()) {
        const ORQSimDynamicID& id = target.ID();
        WritingLinks(m_object, m_slot)
            .Rows()
            .Erase(Table::SetEntry, m_object.ID().MinorID(), m_slot, id.MinorID(), id.Category(),
                   id.TypeID().Index(), id.Index());
    } else {
        std::erase(m_own, target);
    }
}
