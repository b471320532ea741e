// What a database tells of its commits, so that another one can follow it: the rows that each
// changed, as a changeset of SQLite's session extension, and the places of the bulk file that it
// wrote. All tables are recorded, whichever there are.
#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "BulkFile.h"
#include "Sqlite.h"

namespace orq::storage {

/// Records what a transaction changes in all tables, from its making on.
class ChangeRecorder {
  public:
    explicit ChangeRecorder(Connection& connection);
    ~ChangeRecorder();
    ChangeRecorder(const ChangeRecorder&) = delete;
    ChangeRecorder& operator=(const ChangeRecorder&) = delete;

    /// The changeset. Valid as long as this.
    std::span<const std::byte> Take();

  private:
    Connection& m_connection;
    sqlite3_session* m_session = nullptr;
    void* m_changeset = nullptr;
};

/// Which tables of a changeset are meant.
enum class ChangedTables { All, ButBookkeeping };

/// Applies a changeset to the tables of a catalogue in the open transaction. Throws Damaged, naming
/// the table, for changes of other tables, and where what it changes is not as it says.
void ApplyChangeset(Connection& connection, std::span<const std::byte> changeset,
                    ChangedTables tables);

/// How many rows a changeset adds, changes and removes, by table: "object +2, child +5 ~1 -3".
/// Throws Damaged.
std::string SummaryOf(std::span<const std::byte> changeset);

/// Places of these that lie within the others, in the order of the file. Both may be in any order.
std::vector<BulkFile::Place> Meet(std::vector<BulkFile::Place> places,
                                  std::vector<BulkFile::Place> others);

}  // namespace orq::storage
