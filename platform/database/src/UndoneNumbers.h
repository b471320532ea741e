#pragma once

#include <vector>

#include "NumberRanges.h"
#include "ORQSimIDs.h"
#include "storage/Store.h"

namespace orq::database {

/// The numbers that undone transaction levels gave out. They are never given again (invariant 9),
/// so an identity that has one denotes nothing for ever.
class UndoneNumbers {
  public:
    /// A level is about to begin. From here on, beginning and undoing it takes no memory.
    void Prepare();
    /// A level has begun, and gives these numbers next.
    void Begin(const storage::Numbers& next) { m_levelStarts.push_back(next); }
    /// The innermost level has been committed.
    void Commit() { m_levelStarts.pop_back(); }
    /// All levels but the outer `depth` have been undone; the next one would give these numbers.
    void Undo(int depth, const storage::Numbers& next) noexcept;

    /// Whether an identity has such a number. Cost: two binary searches over the undone levels, if
    /// there are any. Of several writers of a store, others may have numbers between those of a level.
    bool Contains(const ORQSimDynamicID& id, const storage::Store& store) const {
        return !(m_objects.IsEmpty() && m_sets.IsEmpty()) && Finds(id, store);
    }

  private:
    bool Finds(const ORQSimDynamicID& id, const storage::Store& store) const;

    std::vector<storage::Numbers> m_levelStarts;  // one per open level
    NumberRanges m_objects;
    NumberRanges m_sets;  // of drawers too
};

}  // namespace orq::database
