#include "PendingNames.h"

namespace orq::storage {

void PendingNames::Add(const MapEntryRow& row) {
    constexpr std::size_t kNodeBytes = 128;
    const bool isBehindAll = IsBehindAll(row);
    const bool isSameMap = row.object == m_object && row.slot == m_slot;
    std::string highest(isBehindAll ? row.key : std::string_view());
    m_entries.emplace_hint(m_entries.end(), Key(row.object, row.slot, row.key), row.target);
    m_nBytes += kNodeBytes + row.key.size();
    if (isBehindAll) {
        m_highest.swap(highest);
    } else if (!isSameMap) {
        ForgetHighest();
        m_object = row.object;
        m_slot = row.slot;
    }
}

void PendingNames::Clear() noexcept {
    m_entries.clear();
    m_nBytes = 0;
}

void PendingNames::ForgetHighest() noexcept {
    m_isHighestKnown = false;
    m_object = 0;
}

}  // namespace orq::storage
