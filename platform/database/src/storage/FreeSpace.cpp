#include "FreeSpace.h"

#include <iterator>

namespace orq::storage {

void FreeSpace::BeginTransaction(std::int64_t current) {
    m_current = current;
    m_loaded = false;
}

void FreeSpace::Load() {
    if (m_loaded) {
        return;
    }
    m_holes.clear();
    for (const FreeExtentRow& row : m_catalogue.Find<FreeExtentRow>()) {
        m_holes[row.offset] = {row.length, row.generation};
    }
    // Once for a transaction is enough: a reader who comes later sees the last committed state, and
    // nothing of that is free.
    m_oldestSnapshot = m_reuses ? m_lock.OldestSnapshot(m_current) : -1;
    m_loaded = true;
    MergeReusable();
}

void FreeSpace::Put(std::int64_t offset, const Hole& hole) {
    m_holes[offset] = hole;
    m_catalogue.Put(FreeExtentRow{offset, hole.length, hole.generation});
}

void FreeSpace::Remove(Holes::iterator hole) {
    m_catalogue.Erase(Table::FreeExtent, hole->first);
    m_holes.erase(hole);
}

void FreeSpace::MergeReusable() {
    for (auto hole = m_holes.begin(); hole != m_holes.end();) {
        const auto next = std::next(hole);
        if (next != m_holes.end() && hole->first + hole->second.length == next->first &&
            IsReusable(hole->second) && IsReusable(next->second)) {
            // Generation 0: no reader is left that needs any of it.
            const Hole merged{hole->second.length + next->second.length, 0};
            Remove(next);
            Put(hole->first, merged);
        } else {
            hole = next;
        }
    }
}

std::int64_t FreeSpace::Allocate(std::int64_t capacity, std::int64_t& bulkEnd) {
    Load();
    // The smallest that is large enough, so that large holes stay for large chunks. Holes are few,
    // since neighbours are merged, so each is looked at.
    auto best = m_holes.end();
    for (auto hole = m_holes.begin(); hole != m_holes.end(); ++hole) {
        if (IsReusable(hole->second) && hole->second.length >= capacity &&
            (best == m_holes.end() || hole->second.length < best->second.length)) {
            best = hole;
        }
    }
    if (best == m_holes.end()) {
        const std::int64_t offset = bulkEnd;
        bulkEnd += capacity;
        return offset;
    }
    const std::int64_t offset = best->first;
    const Hole rest{best->second.length - capacity, best->second.generation};
    Remove(best);
    if (rest.length > 0) {
        Put(offset + capacity, rest);
    }
    return offset;
}

void FreeSpace::Free(std::int64_t offset, std::int64_t capacity) {
    Load();
    // That of the transaction that is open, once it is committed.
    Put(offset, {capacity, m_current + 1});
}

bool FreeSpace::ReachesEnd(std::int64_t bulkEnd) {
    auto last = m_catalogue.FindLast<FreeExtentRow>();
    return last.Next() && last->offset + last->length == bulkEnd;
}

void FreeSpace::TrimEnd(std::int64_t& bulkEnd) {
    Load();
    while (!m_holes.empty()) {
        const auto last = std::prev(m_holes.end());
        if (last->first + last->second.length != bulkEnd || !IsReusable(last->second)) {
            break;
        }
        bulkEnd = last->first;
        Remove(last);
    }
}

}  // namespace orq::storage
