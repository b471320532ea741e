// The changes of a changeset of SQLite's session extension, one after the other.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace orq::storage {

/// The bytes must stay. Throws Damaged where they are no changeset.
class ChangesetWalk {
  public:
    explicit ChangesetWalk(std::span<const std::byte> changeset);
    ~ChangesetWalk() { sqlite3changeset_finalize(m_changes); }
    ChangesetWalk(const ChangesetWalk&) = delete;
    ChangesetWalk& operator=(const ChangesetWalk&) = delete;

    /// Moves to the next (at first, the first) change; false when there is none.
    bool Next();
    std::string_view Table() const { return m_table; }
    /// SQLITE_INSERT, SQLITE_UPDATE or SQLITE_DELETE.
    int Operation() const { return m_operation; }
    int NumColumns() const { return m_nColumns; }
    bool IsKey(int column) const { return m_keys[column] != 0; }

    /// What the change puts into a column; null where it leaves it as it is. Valid until Next.
    sqlite3_value* After(int column) const;
    /// What was in it; null where the change does not say.
    sqlite3_value* Before(int column) const;
    /// What is known of a column: After, else Before.
    sqlite3_value* Known(int column) const;
    std::int64_t Number(int column) const;

  private:
    sqlite3_changeset_iter* m_changes = nullptr;
    std::string_view m_table;
    int m_operation = 0;
    int m_nColumns = 0;
    unsigned char* m_keys = nullptr;
};

/// A change of nothing but how many drawers a distribution has. Several may count at once.
struct DrawerCount {
    std::int64_t distribution;
    std::int64_t before;
    std::int64_t after;
};
std::optional<DrawerCount> DrawerCountOf(const ChangesetWalk& change);

/// Tables that every commit changes for its own bookkeeping: the state and free space.
bool IsBookkeeping(std::string_view table);

}  // namespace orq::storage
