#include "ObjectTable.h"

#include "DatabaseState.h"

namespace orq::database {

using storage::Table;

ORQSimDynamicID ObjectTable::New(int type, int category) {
    const std::int64_t object = m_state.Store().NewObject();
    m_state.Rows().Insert(storage::ObjectRow{object, type, category});
    return IdentityOf({object, category, type, 0});
}

ORQSimDynamicID ObjectTable::Find(std::int64_t object) const {
    auto row = m_state.Rows().Find<storage::ObjectRow>(object);
    return row.Next() ? IdentityOf({object, row->category, row->type, 0}) : ORQSimDynamicID();
}

int ObjectTable::Space(const ORQSimCollectionID& collection) {
    const std::int64_t object = collection.MinorID();
    KnownSpace& known = PlaceOfSpace(object);
    if (known.collection != object) {
        auto row = m_state.Rows().Find<storage::CollectionRow>(object);
        if (!row.Next()) {
            return 0;  // what does not exist may come to exist
        }
        known = {object, row->space};
    }
    return known.space;
}

void ObjectTable::SetSpace(const ORQSimCollectionID& collection, int space) {
    // Before the row is written: if that throws, the next reader looks it up.
    PlaceOfSpace(collection.MinorID()) = {};
    m_state.Rows().Put(storage::CollectionRow{collection.MinorID(), space});
}

ORQSimDynamicID ObjectTable::IdentityOf(const storage::Target& target) const {
    return {target.category, m_state.Context(), target.object, ORQSimTypeID(target.type),
            target.index};
}

ObjectTable::KnownChild& ObjectTable::PlaceOfChild(std::int64_t object, int slot, int member) {
    // One entry a place and no chains: a clash costs a lookup in the catalogue, no more.
    const std::uint64_t hash =
        (static_cast<std::uint64_t>(object) * 31 + static_cast<std::uint64_t>(slot)) * 31 +
        static_cast<std::uint64_t>(member);
    return m_children[hash % m_children.size()];
}

ORQSimDynamicID ObjectTable::Child(std::int64_t object, int slot, int member) {
    KnownChild& known = PlaceOfChild(object, slot, member);
    if (known.object != object || known.slot != slot || known.member != member) {
        auto row = m_state.Rows().Find<storage::ChildRow>(object, slot, member);
        known = {object, slot, member, row.Next() ? IdentityOf(row->target) : ORQSimDynamicID()};
    }
    return known.target;
}

void ObjectTable::SetChild(std::int64_t object, int slot, int member,
                           const ORQSimDynamicID& target) {
    // Before the row is written: if that throws, the next reader looks it up.
    PlaceOfChild(object, slot, member) = {};
    if (target.IsNull()) {
        m_state.Rows().Erase(Table::Child, object, slot, member);
    } else {
        m_state.Rows().Put(storage::ChildRow{object, slot, member, TargetOf(target)});
    }
}

}  // namespace orq::database
