#include "PendingObjects.h"

#include <algorithm>
#include <utility>

namespace orq::storage {

bool PendingObjects::IsFull() const {
    constexpr std::size_t kNodeBytes = sizeof(Object) + 48;
    return m_nBlockBytes + m_ascending.capacity() * sizeof(Object) + m_others.size() * kNodeBytes >
           kMostBytes;
}

const PendingObjects::Object* PendingObjects::Find(std::int64_t id) const {
    if (!m_ascending.empty() && id <= m_ascending.back().id) {
        // Mostly the last one, which is being filled.
        const auto found = id == m_ascending.back().id
                               ? std::prev(m_ascending.end())
                               : std::ranges::lower_bound(m_ascending, id, {}, &Object::id);
        if (found->id == id) {
            return &*found;
        }
    }
    const auto found = m_others.find(id);
    return found == m_others.end() ? nullptr : &found->second;
}

void PendingObjects::Put(const ObjectRow& row, bool isNew) {
    Object* object = Known(row.id);
    if (object == nullptr) {
        const std::span<std::byte> room = TakeRoom(row.fields.size());
        const Object added{row.id, row.type, row.category, isNew, room, 0};
        const bool isBehindAll = m_ascending.empty() || row.id > m_ascending.back().id;
        object = isBehindAll ? &m_ascending.emplace_back(added)
                             : &m_others.emplace(row.id, added).first->second;
    } else if (object->room.size() < row.fields.size()) {
        object->room = TakeRoom(row.fields.size());
    }
    object->type = row.type;
    object->category = row.category;
    object->nBytes = row.fields.size();
    std::ranges::copy(row.fields, object->room.begin());
}

std::span<std::byte> PendingObjects::TakeRoom(std::size_t nBytes) {
    constexpr std::size_t kLeast = 64;
    const std::size_t wanted = nBytes < kBlock / 4 ? std::max(kLeast, 2 * nBytes) : nBytes;
    if (m_free.size() < wanted) {
        const std::size_t size = std::max(kBlock, wanted);
        m_blocks.reserve(m_blocks.size() + 1);
        m_blocks.push_back(std::make_unique_for_overwrite<std::byte[]>(size));
        m_free = {m_blocks.back().get(), size};
        m_nBlockBytes += size;
    }
    const std::span<std::byte> room = m_free.first(wanted);
    m_free = m_free.subspan(wanted);
    return room;
}

void PendingObjects::Clear() noexcept {
    std::vector<Object>().swap(m_ascending);
    m_others.clear();
    m_blocks.clear();
    m_free = {};
    m_nBlockBytes = 0;
}

}  // namespace orq::storage
