#include "FlawReport.h"

#include <algorithm>

#include "Erasure.h"
#include "ObjectPath.h"

namespace orq::database {

using storage::ComponentSetRow;
using storage::DrawerRow;
using storage::Table;

void FlawReport::Add(std::string text, Remove remove) {
    m_flaws.push_back({std::move(text), std::move(remove), 0, 0, false});
}

void FlawReport::AddObject(std::int64_t object, const std::string& text) {
    Add(Show(object) + ": " + text,
        [state = &m_state, object] { EraseObject(state->Store(), object); });
}

void FlawReport::AddSet(std::int64_t collection, int set, const std::string& text) {
    Add(NameInMessage(m_state, collection, set) + ": " + text,
        [state = &m_state, set] { EraseSet(state->Store(), set); });
}

void FlawReport::AddDrawer(std::int64_t distribution, int drawer, const std::string& text) {
    m_flaws.push_back({Show(distribution) + ", drawer " + std::to_string(drawer) + ": " + text,
                       [state = &m_state, distribution, drawer] {
                           EraseDrawer(state->Store(), distribution, drawer);
                       },
                       distribution, drawer, false});
}

void FlawReport::AddPart(Table table, std::int64_t owner, int second) {
    Add(std::string("a row of table ") + NameOf(table) + " belongs to " + Show(owner) +
            ", which does not exist",
        RemoveRow(table, owner, second));
}

// A search for the name can cost some thousand lookups, so only the first flaws get one.
std::string FlawReport::Show(std::int64_t object) {
    constexpr std::size_t kMostNamed = 1000;
    return m_flaws.size() < kMostNamed ? NameInMessage(m_state, object)
                                       : "object " + std::to_string(object);
}

std::string FlawReport::ShowTarget(const ORQSimDynamicID& id) {
    switch (id.Category()) {
        case ORQSimCategoryCSet:
            return "set " + std::to_string(id.Index()) + " of " + Show(id.MinorID());
        case ORQSimCategoryDrawer:
            return "drawer " + std::to_string(id.Index()) + " of " + Show(id.MinorID());
        default:
            return "object " + std::to_string(id.MinorID()) + " (category " +
                   std::to_string(id.Category()) + ")";
    }
}

bool FlawReport::Exists(const ORQSimDynamicID& id) {
    if (id.Category() == ORQSimCategoryCSet) {
        if (id.Index() == 0) {
            return !m_state.Objects().FindCollection(id.MinorID()).IsNull();
        }
        auto row = Rows().Find<ComponentSetRow>(id.Index());
        return row.Next() && row->collection == id.MinorID();
    }
    if (id.Category() == ORQSimCategoryDrawer) {
        return Rows().Has<DrawerRow>(id.MinorID(), id.Index());
    }
    return m_state.Objects().Find(id.MinorID()) == id;
}

std::string FlawReport::Loss(std::int64_t store, std::int64_t size) {
    if (m_salvage == nullptr || store == 0) {
        return "";
    }
    const auto damaged = m_salvage->DamagedStores().find(store);
    if (damaged != m_salvage->DamagedStores().end()) {
        return damaged->second;
    }
    return (m_salvage->MayHaveLost(Table::Extent, store) ||
            m_salvage->MayHaveLost(Table::SmallChunk, store)) &&
                   StoredBytes(store) < size
               ? "the catalogue's page that says where its data lies is damaged"
               : "";
}

std::int64_t FlawReport::StoredBytes(std::int64_t store) {
    std::int64_t bytes = 0;
    ForEachChunk(store, [&](std::int64_t, std::int64_t length) {
        bytes = std::min(bytes + length, kUnknown / 2);  // no sum of lengths that are none
    });
    return bytes;
}

void FlawReport::Own(std::int64_t store, Remove remove) {
    if (store != 0 && !m_stores.insert(store).second) {
        Add("store " + std::to_string(store) + " is used twice", std::move(remove));
    }
}

}  // namespace orq::database
