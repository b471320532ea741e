#include "PendingObjects.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace orq::storage {

bool PendingObjects::IsFull() const {
    constexpr std::size_t kNodeBytes = sizeof(Object) + 48;
    // The largest record does not count: one that alone is more would be written with each of its
    // fields.
    return m_pool.NumBytes() - m_nLargestRoom + m_ascending.capacity() * sizeof(Object) +
               m_others.size() * kNodeBytes >
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
    if (!row.fields.empty()) {
        std::memcpy(object->room.data(), row.fields.data(), row.fields.size());
    }
}

std::span<std::byte> PendingObjects::TakeRoom(std::size_t nBytes) {
    constexpr std::size_t kLeast = 64;
    // As much again: a record that grows by single fields moves a few times and no more.
    constexpr std::size_t kMostMore = 1 << 20;
    const std::size_t wanted = std::max(kLeast, nBytes + std::min(nBytes, kMostMore));
    const std::size_t nBefore = m_pool.NumBytes();
    const std::span<std::byte> room = m_pool.Take(wanted);
    if (m_pool.NumBytes() != nBefore) {
        m_nLargestRoom = std::max(m_nLargestRoom, wanted);
    }
    return room;
}

void PendingObjects::Clear() noexcept {
    std::vector<Object>().swap(m_ascending);
    m_others.clear();
    m_pool.Clear();
    m_nLargestRoom = 0;
}

}  // namespace orq::storage
