// What an open database is to the classes of the interface: the store, and what is known of it.
#pragma once

#include <memory>
#include <string>

#include "DistributionTable.h"
#include "ORQSimIDs.h"
#include "ObjectTable.h"
#include "RecordTable.h"
#include "SetTable.h"
#include "UndoneNumbers.h"
#include "storage/Store.h"

namespace orq::database {

class DatabaseState : public std::enable_shared_from_this<DatabaseState> {
  public:
    explicit DatabaseState(std::unique_ptr<storage::Store> store);
    ~DatabaseState();
    DatabaseState(const DatabaseState&) = delete;
    DatabaseState& operator=(const DatabaseState&) = delete;

    // The database of an identity. Find returns null for a null or closed one; Reading returns null
    // for a null identity and for one that an undone transaction gave out, and throws for a closed
    // database; Writing throws for all of them, and without an open transaction.
    static DatabaseState* Find(ORQSimContextID context);
    static DatabaseState* Reading(const ORQSimDynamicID& id);
    static DatabaseState& Writing(const ORQSimDynamicID& id);
    // Throws Usage for a null or closed one, and for one that an undone transaction gave out.
    static DatabaseState& Existing(const ORQSimDynamicID& id);

    // Throws Usage, naming it, for an identity of another database and for one that an undone
    // transaction gave out; null passes. Every identity that goes into a row passes here.
    void CheckStorable(const ORQSimDynamicID& id) const;

    ORQSimContextID Context() const { return m_context; }
    const std::string& Path() const { return m_path; }
    // For messages: the path, or that there is none.
    std::string ShownPath() const;
    bool IsClosed() const { return m_store == nullptr; }
    void Close();

    // Another one after Refresh, so it is not to be kept.
    storage::Store& Store() { return *m_store; }
    storage::RowStore& Rows() { return m_store->Rows(); }
    storage::ChunkStore& Chunks() { return m_store->Chunks(); }

    ObjectTable& Objects() { return m_objects; }
    RecordTable& Records() { return m_records; }
    SetTable& Sets() { return m_sets; }
    DistributionTable& Distributions() { return m_distributions; }

    // Returns the level of the new transaction, from 1.
    int Begin();
    // Throws Usage when a transaction inside this level is still open.
    void CheckInnermost(int level) const;
    // Commits the innermost level; when that throws, the level has been undone.
    void Commit();
    // Undoes this level and all inside it. Where that fails, the handle refuses from then on. Does
    // nothing in another process than the one that began.
    void Rollback(int level) noexcept;
    bool Refresh();

    // Forgets what was read of rows; REQUIRES: nobody holds a state of a distribution.
    void ForgetCaches() noexcept;

  private:
    [[noreturn]] void RefuseToStore(const ORQSimDynamicID& id) const;
    void ForgetUndone() noexcept;

    std::unique_ptr<storage::Store> m_store;
    std::string m_path;
    ORQSimContextID m_context;
    UndoneNumbers m_undone;
    ObjectTable m_objects{*this};
    RecordTable m_records{*this};
    SetTable m_sets{*this};
    DistributionTable m_distributions{*this};
};

}  // namespace orq::database
