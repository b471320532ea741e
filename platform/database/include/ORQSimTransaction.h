#pragma once

#include <memory>

#include "ORQBasExport.h"
#include "ORQSimIDs.h"

class ORQSimPosition;

/// Brackets changes to one database: all of them become durable with Commit, or none.
///
///   ORQSimTransaction transaction(position);
///   ... change ...
///   transaction.Commit();
///
/// Without Commit the destructor undoes everything. A transaction opened while another is open on
/// the same database joins it: its commit takes effect with the outermost one's, its end without a
/// commit undoes its own part. Transactions end in reverse order of their beginning; committing an
/// outer one first throws ORQBasFailure (Usage).
class ORQ_EXPORT ORQSimTransaction {
  public:
    /// Throws Usage on a null or closed database and on one opened for reading.
    explicit ORQSimTransaction(ORQSimContextID context);
    explicit ORQSimTransaction(const ORQSimPosition& position);
    ~ORQSimTransaction();
    ORQSimTransaction(const ORQSimTransaction&) = delete;
    ORQSimTransaction& operator=(const ORQSimTransaction&) = delete;

    ORQSimContextID ContextID() const { return m_context; }
    /// Costs two syncs of the disk where bulk data was written, one for other changes, none without
    /// any. Throws ORQBasFailure when the changes could not be made durable: Io, Damaged, or
    /// Refused after an earlier failure. They are undone then, or unknown where the handle refuses
    /// from then on; see docs/commit-and-recovery.md.
    void Commit();

  private:
    ORQSimContextID m_context;
    int m_level = 0;  // 0 once it has ended
};
