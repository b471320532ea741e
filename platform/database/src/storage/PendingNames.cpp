#include "PendingNames.h"

#include <cstring>

namespace orq::storage {

void PendingNames::Add(const MapEntryRow& row) {
    constexpr std::size_t kNodeBytes = 48;
    const bool isBehindAll = IsBehindAll(row);
    const bool isSameMap = row.object == m_object && row.slot == m_slot;
    std::string highest(isBehindAll ? row.key : std::string_view());
    const std::span<std::byte> text = m_texts.Take(row.key.size());
    if (!row.key.empty()) {
        std::memcpy(text.data(), row.key.data(), row.key.size());
    }
    MapEntryRow kept = row;
    kept.key = {reinterpret_cast<const char*>(text.data()), text.size()};
    const bool isLast = m_ascending.empty() || IsBefore()(m_ascending.back(), kept);
    if (isLast) {
        m_ascending.push_back(kept);
    } else {
        m_others.insert(kept);
    }
    m_nBytes += sizeof kept + kept.key.size() + (isLast ? 0 : kNodeBytes);
    if (isBehindAll) {
        m_highest.swap(highest);
    } else if (!isSameMap) {
        ForgetHighest();
        m_object = row.object;
        m_slot = row.slot;
    }
}

std::vector<const MapEntryRow*> PendingNames::InOrder() const {
    std::vector<const MapEntryRow*> all;
    all.reserve(m_ascending.size() + m_others.size());
    auto other = m_others.begin();
    for (const MapEntryRow& row : m_ascending) {
        for (; other != m_others.end() && IsBefore()(*other, row); ++other) {
            all.push_back(&*other);
        }
        all.push_back(&row);
    }
    for (; other != m_others.end(); ++other) {
        all.push_back(&*other);
    }
    return all;
}

void PendingNames::Clear() noexcept {
    m_ascending.clear();
    m_others.clear();
    m_texts.Clear();
    m_nBytes = 0;
}

void PendingNames::ForgetHighest() noexcept {
    m_isHighestKnown = false;
    m_object = 0;
}

}  // namespace orq::storage
