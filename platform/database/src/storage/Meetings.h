// Where the changes of transactions that began on the same state meet.
//
// They meet in a row that both changed, and where one removed an object, a set or a drawer that a row
// of the other names: each fits the state alone, and both together would leave a link that leads
// nowhere. Rows of bookkeeping do not count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <unordered_map>

#include "ChangesetWalk.h"

namespace orq::storage {

/// The object that a row belongs to, which its first column that names one holds; of chunks their
/// store.
std::int64_t OwnerOf(const ChangesetWalk& change);

/// The rows that others changed. Memory: some 100 bytes a row.
class ChangedRows {
  public:
    /// `commit` is what ForEachMeeting calls this one.
    void Add(std::span<const std::byte> changeset, std::int64_t commit);

    /// Calls f(commit, change) for each change of another changeset that meets one of these.
    using OnMeeting = std::function<void(std::int64_t commit, const ChangesetWalk& change)>;
    void ForEachMeeting(std::span<const std::byte> changeset, const OnMeeting& f) const;

  private:
    using Commits = std::unordered_map<std::int64_t, std::int64_t>;
    // Numbers of objects, and of what a second run of numbers is for: sets and drawers.
    struct Things {
        Commits objects;
        Commits parts;
        Commits& Of(bool isPart) { return isPart ? parts : objects; }
        const Commits& Of(bool isPart) const { return isPart ? parts : objects; }
    };

    Commits m_rows;   // by a hash of table and key
    Things m_chunks;  // by store: small ones that are alone; as parts, others
    Things m_removed;
    Things m_named;
};

}  // namespace orq::storage
