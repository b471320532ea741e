#include "DrawerRows.h"

#include <algorithm>
#include <utility>

namespace orq::database {

namespace {

/// A view below this part of a drawer's members is compared member by member: a pass over all of
/// the drawer would cost more.
constexpr int kSmallPart = 8;

/// Halves are united first, so that k scattered sets of n members in all cost n log k, not n k.
ComponentSetPtr UnionOf(std::span<const ComponentSetPtr> sets) {
    if (sets.size() == 1) {
        return sets.front();
    }
    const std::size_t half = sets.size() / 2;
    return ComponentSet::Union(UnionOf(sets.first(half)), UnionOf(sets.subspan(half)));
}

ComponentSetPtr Concatenated(const ComponentSetPtr& first, std::span<const ComponentSetPtr> rest) {
    std::size_t size = static_cast<std::size_t>(first->Size());
    for (const ComponentSetPtr& set : rest) {
        size += static_cast<std::size_t>(set->Size());
    }
    std::vector<int> members(size);
    int* end = members.data();
    first->CopyMembers(end);
    end += first->Size();
    for (const ComponentSetPtr& set : rest) {
        set->CopyMembers(end);
        end += set->Size();
    }
    return ComponentSet::FromOrdered(std::move(members));
}

template <class IsPresent>
ComponentSetPtr Without(const ComponentSetPtr& view, IsPresent&& isPresent) {
    std::vector<int> members;
    view->ForEachRun([&](int, int first, int count) {
        for (int i = 0; i < count; ++i) {
            if (!isPresent(first + i)) {
                members.push_back(first + i);
            }
        }
    });
    if (static_cast<int>(members.size()) == view->Size()) {
        return view;
    }
    return view->IsAscending() ? ComponentSet::FromAscending(std::move(members))
                               : ComponentSet::FromOrdered(std::move(members));
}

}  // namespace

ComponentSetPtr Missing(const ComponentSetPtr& view, const ComponentSetPtr& present) {
    return view->IsAscending()
               ? ComponentSet::Difference(view, present)
               : Without(view, [&](int member) { return present->Seek(member) >= 0; });
}

std::span<const DrawerSegment> DrawerRows::SegmentsFrom(std::int64_t row) const {
    const auto after = std::ranges::upper_bound(m_segments, row, {}, &DrawerSegment::firstRow);
    return {after == m_segments.begin() ? after : after - 1, m_segments.end()};
}

const ComponentSetPtr& DrawerRows::Members() const {
    if (!m_pending.empty()) {
        m_members = m_isOrdered ? Concatenated(m_members, m_pending)
                                : ComponentSet::Union(m_members, UnionOf(m_pending));
        m_pending.clear();
    }
    return m_members;
}

ComponentSetPtr DrawerRows::Missing(const ComponentSetPtr& view) const {
    const bool isOneRun =
        m_pending.empty() && m_members->GetForm() == ComponentSet::Form::Contiguous;
    // Where all is one run, the difference costs nothing to speak of, however small the view.
    if (view->IsAscending() && (isOneRun || view->Size() > End() / kSmallPart)) {
        return ComponentSet::Difference(view, Members());
    }
    // Made at the first scattered append and kept up to date from then on, so that k small appends
    // cost what they add and not k passes over all rows.
    if (!m_hasPresent) {
        for (const DrawerSegment& segment : m_segments) {
            Note(segment.members);
        }
        m_hasPresent = true;
    }
    return Without(view, [&](int member) {
        const auto place = static_cast<std::size_t>(member);
        return member >= 0 && place < m_present.size() && m_present[place];
    });
}

void DrawerRows::Note(const ComponentSetPtr& members) const {
    // Damaged rows may name negative members, which no view does.
    if (members->IsEmpty() || members->Lowest() < 0) {
        return;
    }
    const std::size_t size = static_cast<std::size_t>(members->Highest()) + 1;
    if (m_present.size() < size) {
        m_present.resize(size);
    }
    members->ForEachRun(
        [&](int, int first, int count) { std::fill_n(m_present.begin() + first, count, true); });
}

std::int64_t DrawerRows::End() const {
    return m_segments.empty() ? 0 : m_segments.back().firstRow + m_segments.back().members->Size();
}

void DrawerRows::Load(DrawerSegment segment) {
    const ComponentSetPtr members = segment.members;
    const bool isFirst = m_segments.empty();
    // Later segments are united only by the next query, many at a time.
    m_segments.push_back(std::move(segment));
    if (isFirst) {
        m_members = members;
    } else {
        m_pending.push_back(members);
    }
    if (m_hasPresent) {
        Note(members);
    }
}

const DrawerSegment& DrawerRows::Append(const ComponentSetPtr& members) {
    using Form = ComponentSet::Form;
    const bool isRun = members->GetForm() == Form::Contiguous;
    const bool allAreOneRun = m_segments.size() == 1 && m_pending.empty() && isRun &&
                              m_members->GetForm() == Form::Contiguous;
    DrawerSegment* last = m_segments.empty() ? nullptr : &m_segments.back();
    // Appends of ranges that follow one another stay one segment, and one row of the catalogue.
    const bool continues =
        last != nullptr && isRun && last->members->GetForm() == Form::Contiguous &&
        std::int64_t{last->members->First()} + last->members->Size() == members->First();
    if (!continues) {
        Load({End(), members});
        return m_segments.back();
    }
    last->members =
        ComponentSet::Contiguous(last->members->First(), last->members->Size() + members->Size());
    if (allAreOneRun) {
        m_members = last->members;
    } else {
        m_pending.push_back(members);
    }
    if (m_hasPresent) {
        Note(members);
    }
    return *last;
}

}  // namespace orq::database
