#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "ComponentSet.h"

namespace orq::database {

/// Part of the rows of a drawer: `members` in the order of rows from `firstRow` on.
struct DrawerSegment {
    std::int64_t firstRow;
    ComponentSetPtr members;
};

/// Which member of the row dimension has which row of a drawer.
///
/// Rows are only ever appended. Made for drawers that grow by thousands of appends of scattered
/// members: an append costs what it adds, and the set of all members is put together only when
/// somebody needs it whole.
class DrawerRows {
  public:
    /// Ordered: callers see the members in the order of their rows, not ascending.
    explicit DrawerRows(bool isOrdered = false) : m_isOrdered(isOrdered) {}

    bool IsOrdered() const { return m_isOrdered; }
    /// The segments by ascending row.
    const std::vector<DrawerSegment>& Segments() const { return m_segments; }
    /// The segments that hold the rows from `row` on, and the one that holds `row` itself.
    std::span<const DrawerSegment> SegmentsFrom(std::int64_t row) const;
    /// All members as callers see them. Costs the members that came since the last call, and a pass
    /// over all where they are scattered.
    const ComponentSetPtr& Members() const;
    /// The members of a view that have no row, in the order of the view. Costs the view.
    ComponentSetPtr Missing(const ComponentSetPtr& view) const;

    /// Adds a segment as it was stored.
    void Load(DrawerSegment segment);
    /// Gives new rows to members that have none, and returns the segment that changed. Members that
    /// follow the last segment's without a gap join it, so that a drawer that is filled in order
    /// keeps one segment.
    const DrawerSegment& Append(const ComponentSetPtr& members);

  private:
    std::int64_t End() const;
    void Note(const ComponentSetPtr& members) const;

    bool m_isOrdered;
    std::vector<DrawerSegment> m_segments;
    mutable ComponentSetPtr m_members = ComponentSet::Empty();  // without m_pending
    mutable std::vector<ComponentSetPtr> m_pending;
    // A bit for each number up to the highest member, once Missing has needed the members one by
    // one.
    mutable std::vector<bool> m_present;
    mutable bool m_hasPresent = false;
};

/// The members of a view that a set lacks, in the order of the view.
ComponentSetPtr Missing(const ComponentSetPtr& view, const ComponentSetPtr& present);

}  // namespace orq::database
