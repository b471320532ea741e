#include "PendingObjects.h"

#include <utility>

namespace orq::storage {

void PendingObjects::Put(const ObjectRow& row, bool isNew) {
    std::vector<std::byte> fields(row.fields.begin(), row.fields.end());
    // New objects come in the order of their numbers.
    const std::size_t nBefore = m_objects.size();
    const auto place = m_objects.try_emplace(m_objects.end(), row.id);
    Object& object = place->second;
    if (m_objects.size() > nBefore) {
        object.isNew = isNew;
        m_nBytes += kNodeBytes;
    }
    m_nBytes += fields.size();
    m_nBytes -= object.fields.size();
    object.type = row.type;
    object.category = row.category;
    object.fields = std::move(fields);
}

}  // namespace orq::storage
